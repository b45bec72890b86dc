#pragma once

// The thread as the owner of an interpreter, for the length of a benchmark.

#include "runtime/local/global_lock.h"
#include "runtime/local/pool_set.h"
#include "runtime/local/thread_local.h"

class bench_thread {
public:
    bench_thread() {
        tvr_local().pools = &pools;
        tvr_local().lock = &lock;
        tvr_local().owns_interpreter = true;
    }
    ~bench_thread() {
        tvr_local().pools = nullptr;
        tvr_local().lock = nullptr;
        tvr_local().owns_interpreter = false;
    }
    bench_thread(const bench_thread&) = delete;
    bench_thread& operator=(const bench_thread&) = delete;

private:
    tvr_interpreter_lock lock;
    tvr_pool_set pools{lock};
};
