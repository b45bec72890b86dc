#include "kernel/worker_pool.h"

tvrk_worker_pool::tvrk_worker_pool(size_t workers) {
    threads.reserve(workers);
    for (size_t i = 0; i < workers; ++i) threads.emplace_back([this] { work(); });
}

tvrk_worker_pool::~tvrk_worker_pool() {
    {
        const std::lock_guard hold(mutex);
        stopping = true;
    }
    arrived.notify_all();
    for (std::thread& thread : threads) thread.join();
}

bool tvrk_worker_pool::submit(std::function<void()> task) {
    if (threads.empty()) return false;
    {
        const std::lock_guard hold(mutex);
        if (stopping || queue.size() >= max_queued) return false;
        queue.push_back(std::move(task));
    }
    arrived.notify_one();
    return true;
}

tvrk_spawn tvrk_worker_pool::spawn() {
    return [this](std::function<void()> task) { return submit(std::move(task)); };
}

void tvrk_worker_pool::work() {
    std::unique_lock hold(mutex);
    for (;;) {
        arrived.wait(hold, [this] { return stopping || !queue.empty(); });
        if (queue.empty()) return;
        std::function<void()> task = std::move(queue.front());
        queue.pop_front();
        hold.unlock();
        task();
        task = nullptr;  // what it held goes without the lock
        hold.lock();
    }
}
