#pragma once

// A thread with what an interpreter would bind to it: a lock, pools, and a log that remembers.

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "runtime/local/global_lock.h"
#include "runtime/local/pool_set.h"
#include "runtime/local/thread_local.h"
#include "runtime/log/log.h"

namespace tavro::test {

// Keeps errors and warnings.
class remembering_log : public tvr_log_base {
public:
    void on_error(std::string_view text) override { keep(text); }
    void on_warn(std::string_view text) override { keep(text); }

    void forget() {
        const std::lock_guard hold(lines_mutex);
        said.clear();
    }

    std::vector<std::string> lines() {
        const std::lock_guard hold(lines_mutex);
        return said;
    }

private:
    void keep(std::string_view text) {
        const std::lock_guard hold(lines_mutex);
        said.emplace_back(text);
    }

    std::mutex lines_mutex;
    std::vector<std::string> said;
};

// The calling thread as the owner of an interpreter, for a scope.
class bound_thread {
public:
    bound_thread() {
        bind_guest();
        tvr_local().owns_interpreter = true;
    }
    ~bound_thread() {
        tvr_local().pools = nullptr;
        tvr_local().lock = nullptr;
        tvr_local().log = nullptr;
        tvr_local().owns_interpreter = false;
    }
    bound_thread(const bound_thread&) = delete;
    bound_thread& operator=(const bound_thread&) = delete;

    // Makes the calling thread one that knows the interpreter but may not run its scripts.
    void bind_guest() {
        tvr_local().pools = &pools;
        tvr_local().lock = &lock;
        tvr_local().log = &log;
    }

    tvr_interpreter_lock lock;
    remembering_log log;
    tvr_pool_set pools{lock};
};

}  // namespace tavro::test
