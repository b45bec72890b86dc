#pragma once

// Plain threads behind tvrk_spawn, for tests, benchmarks and whoever has no pool of his own.
//
// Threads: submit from any; the destructor runs what is queued and joins.

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "kernel/spawn.h"

class tvrk_worker_pool {
public:
    // Without workers every submission is refused.
    explicit tvrk_worker_pool(size_t workers);
    ~tvrk_worker_pool();
    tvrk_worker_pool(const tvrk_worker_pool&) = delete;
    tvrk_worker_pool& operator=(const tvrk_worker_pool&) = delete;

    // False if the queue is full.
    bool submit(std::function<void()> task);

    // The function for launches and builds; the pool must outlive them.
    tvrk_spawn spawn();

    size_t size() const { return threads.size(); }

private:
    static constexpr size_t max_queued = 1024;

    void work();

    std::mutex mutex;
    std::condition_variable arrived;
    std::deque<std::function<void()>> queue;  // under mutex
    bool stopping = false;                    // under mutex
    std::vector<std::thread> threads;
};
