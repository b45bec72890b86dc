#pragma once

// The workers of one interpreter: they run script tasks under the global lock, and any other work
// without it.
//
// Threads are named "pworker_" and a number. Jobs wait in a bounded queue; a caller that finds
// every worker busy and the queue full waits for a place. Any thread that belongs to the
// interpreter.

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <thread>
#include <vector>

#include "base/sync.h"
#include "runtime/memory/pointer.h"

class tvr_task;
class tvrscript;

class tvr_thread_pool {
public:
    static constexpr size_t max_jobs = 1024;

    explicit tvr_thread_pool(tvrscript& owner) : script(owner) {}
    ~tvr_thread_pool() { shutdown(); }
    tvr_thread_pool(const tvr_thread_pool&) = delete;
    tvr_thread_pool& operator=(const tvr_thread_pool&) = delete;

    // Starts or ends workers until there are n.
    void set_thread_count(size_t n);
    size_t thread_count() const TVR_EXCLUDES(mutex);
    void wait_for_init();  // until every worker has taken up its work
    void run_task(tvrptr_strong<tvr_task> task);
    void run(std::function<void()> job);  // holds no lock; must not throw
    void shutdown();                      // wakes, ends and joins all of them

private:
    void worker_loop(size_t index);

    tvrscript& script;
    mutable tvr_mutex mutex;
    std::condition_variable_any changed;
    std::deque<std::function<void()>> jobs TVR_GUARDED_BY(mutex);
    std::vector<std::thread> threads TVR_GUARDED_BY(mutex);
    size_t wanted TVR_GUARDED_BY(mutex) = 0;
    size_t ready TVR_GUARDED_BY(mutex) = 0;
    size_t free_workers TVR_GUARDED_BY(mutex) = 0;
};
