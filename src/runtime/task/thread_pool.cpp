#include "runtime/task/thread_pool.h"

#include <exception>
#include <string>
#include <system_error>
#include <utility>

#include "base/clock.h"
#include "runtime/local/global_lock.h"
#include "runtime/log/log.h"
#include "runtime/script/script.h"
#include "runtime/task/task.h"

namespace {

// The pool that the calling thread works for; null for all other threads.
inline const tvr_thread_pool*& pool_of_worker() {
    static constinit thread_local const tvr_thread_pool* pool = nullptr;
    return pool;
}

}  // namespace

bool tvr_thread_pool::on_worker() const {
    return pool_of_worker() == this;
}

void tvr_thread_pool::set_thread_count(size_t n) {
    const tvr_scoped_unlock others_may_run;
    {
        tvr_lock hold(mutex);
        wanted = n;
        changed.notify_all();
    }
    for (; threads.size() > n; threads.pop_back()) threads.back().join();
    while (threads.size() < n && start_worker()) {
    }
}

// A system that gives no more threads leaves the pool with those it has; none at all will do.
bool tvr_thread_pool::start_worker() {
    try {
        threads.emplace_back([this, i = threads.size()] { worker_loop(i); });
        return true;
    } catch (const std::system_error& refused) {
        tvr_log().warn("Cannot start more worker threads than ", threads.size(), ": ",
                       refused.what());
    }
    tvr_lock hold(mutex);
    wanted = threads.size();
    changed.notify_all();
    return false;
}

size_t tvr_thread_pool::thread_count() const {
    tvr_lock hold(mutex);
    return wanted;
}

void tvr_thread_pool::wait_for_init() {
    const tvr_scoped_unlock others_may_run;
    tvr_lock hold(mutex);
    while (ready < wanted) changed.wait(mutex);
}

void tvr_thread_pool::run_task(tvr_task& task) {
    if (task.on_worker || task.ended()) return;
    task.threaded = true;
    if (!on_worker() && !wait_for_free_worker()) return task.task_schedule(0);
    if (task.on_worker || task.ended()) return;  // meanwhile
    task.queue_for_worker();
    tvr_lock hold(mutex);
    tasks.push_back(&task);
    changed.notify_all();
}

bool tvr_thread_pool::wait_for_free_worker() {
    bool tells = false;
    {
        tvr_lock hold(mutex);
        if (wanted == 0) return false;
        if (has_free_worker() || ready < wanted) return true;
        const double now = tvr_now_s();
        tells = now >= next_warning;
        if (tells) next_warning = now + warning_rest_s;
    }
    if (tells) tvr_log().warn("Thread pool overload, waiting for free worker threads...");
    const tvr_scoped_unlock others_may_run;
    tvr_lock hold(mutex);
    while (wanted > 0 && !has_free_worker()) changed.wait(mutex);
    return wanted > 0;
}

bool tvr_thread_pool::wait_and_hand_over(std::function<void()>& job) {
    const tvr_scoped_unlock others_may_run;
    tvr_lock hold(mutex);
    while (wanted > 0 && jobs.size() >= max_jobs) changed.wait(mutex);
    if (wanted == 0) return false;
    jobs.push_back(std::move(job));
    changed.notify_all();
    return true;
}

void tvr_thread_pool::run(std::function<void()> job) {
    if (on_worker() ? try_run(job) : wait_and_hand_over(job)) return;
    work mine{nullptr, std::move(job)};
    perform(mine);
}

bool tvr_thread_pool::try_run(std::function<void()> job) {
    tvr_lock hold(mutex);
    if (wanted == 0 || jobs.size() >= max_jobs) return false;
    jobs.push_back(std::move(job));
    changed.notify_all();
    return true;
}

void tvr_thread_pool::finish_tasks() {
    std::deque<tvr_task*> dropped;
    {
        tvr_lock hold(mutex);
        dropped.swap(tasks);
    }
    for (tvr_task* task : dropped) task->on_worker = false;
    const tvr_scoped_unlock others_may_run;
    tvr_lock hold(mutex);
    while (tasks_running > 0) changed.wait(mutex);
}

void tvr_thread_pool::shutdown() {
    set_thread_count(0);
}

bool tvr_thread_pool::take(size_t index, work& taken) {
    while (true) {
        if (!tasks.empty() && index < wanted) {
            taken.task = tasks.front();
            tasks.pop_front();
            ++tasks_running;
            return true;
        }
        // Whoever leaves does the jobs that are still there, for their callers wait for them.
        if (!jobs.empty()) {
            taken.job = std::move(jobs.front());
            jobs.pop_front();
            return true;
        }
        if (index >= wanted) return false;
        changed.wait(mutex);
    }
}

void tvr_thread_pool::perform(work& taken) {
    try {
        if (taken.task != nullptr) {
            turn_of(*taken.task);
        } else {
            taken.job();
        }
    } catch (const std::exception& error) {
        tvr_log().err("A job of a worker thread failed: ", error.what());
    } catch (...) {
        tvr_log().err("A job of a worker thread failed.");
    }
    taken.job = nullptr;
}

void tvr_thread_pool::turn_of(tvr_task& task) {
    const tvr_global_lock hold;
    const tvrptr_strong<tvr_task> held(&task);
    task.on_worker = false;
    task.task_continue();
    script.wake();  // the owner may have been waiting for the last task
}

void tvr_thread_pool::bind_worker(size_t index) {
    tvr_thread_local& local = tvr_local();
    script.lend_to_thread(local);
    local.set_thread_name("pworker_" + std::to_string(index));
    pool_of_worker() = this;
}

void tvr_thread_pool::worker_loop(size_t index) {
    bind_worker(index);
    tvr_lock hold(mutex);
    ++ready;
    ++free_workers;
    changed.notify_all();
    for (work next; take(index, next); next = {}) {
        --free_workers;
        changed.notify_all();
        mutex.unlock();
        perform(next);
        mutex.lock();
        ++free_workers;
        if (next.task != nullptr) --tasks_running;
        changed.notify_all();
    }
    --ready;
    --free_workers;
}
