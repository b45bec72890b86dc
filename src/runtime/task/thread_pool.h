#pragma once

// The workers of one interpreter: they run script tasks under the global lock, and any other work
// without it.
//
// Threads are named "pworker_" and a number. Script tasks go before other jobs. A worker knows its
// interpreter (pools, log, files, errors) without owning it: it is a script thread only while it
// holds the lock. Any thread that belongs to the interpreter.

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <thread>
#include <vector>

#include "base/sync.h"

class tvr_task;
class tvrscript;

class tvr_thread_pool {
public:
    static constexpr size_t max_jobs = 1024;
    static constexpr double warning_rest_s = 1.0;  // between two warnings of an overload

    explicit tvr_thread_pool(tvrscript& owner) : script(owner) {}
    ~tvr_thread_pool() { shutdown(); }
    tvr_thread_pool(const tvr_thread_pool&) = delete;
    tvr_thread_pool& operator=(const tvr_thread_pool&) = delete;

    // Starts or ends workers until there are n, or as many as the system gives, with a warning.
    // Owner thread; waits for those that end.
    void set_thread_count(size_t n) TVR_EXCLUDES(mutex);
    size_t thread_count() const TVR_EXCLUDES(mutex);
    void wait_for_init() TVR_EXCLUDES(mutex);  // until every worker has taken up its work

    // Gives a task its next turn on a worker. With all of them busy the owner waits for one with
    // the lock given back; a worker leaves the task in the queue, lest all wait for each other.
    // Without workers the task is scheduled to run where it is asked for. Global lock.
    void run_task(tvr_task& task) TVR_EXCLUDES(mutex);

    // Runs a job that holds no lock. With max_jobs in the queue the caller waits for a place, and a
    // worker, or anybody in a pool without workers, does the job itself.
    void run(std::function<void()> job) TVR_EXCLUDES(mutex);
    // The same without ever waiting: false when there is no worker or no place, with nothing done.
    bool try_run(std::function<void()> job) TVR_EXCLUDES(mutex);

    // Takes the tasks that no worker has taken up yet out of the queue, and waits with the lock
    // given back for the turns of the others. Who calls has asked them to stop.
    void finish_tasks() TVR_EXCLUDES(mutex);

    // Ends and joins all workers, with what is in the queue done but for tasks. Not from a worker;
    // the caller holds no global lock.
    void shutdown() TVR_EXCLUDES(mutex);

private:
    struct work {
        tvr_task* task = nullptr;  // keeps itself alive
        std::function<void()> job;
    };

    bool start_worker() TVR_EXCLUDES(mutex);
    void worker_loop(size_t index) TVR_EXCLUDES(mutex);
    void bind_worker(size_t index);
    bool take(size_t index, work& taken) TVR_REQUIRES(mutex);
    void perform(work& taken) TVR_EXCLUDES(mutex);
    void turn_of(tvr_task& task);
    bool wait_for_free_worker() TVR_EXCLUDES(mutex);
    bool wait_and_hand_over(std::function<void()>& job) TVR_EXCLUDES(mutex);
    bool has_free_worker() const TVR_REQUIRES(mutex) { return tasks.size() < free_workers; }
    bool on_worker() const;

    tvrscript& script;
    mutable tvr_mutex mutex;  // the global lock before this one, never behind it
    std::condition_variable_any changed;
    std::deque<tvr_task*> tasks TVR_GUARDED_BY(mutex);
    std::deque<std::function<void()>> jobs TVR_GUARDED_BY(mutex);
    std::vector<std::thread> threads;  // owner thread
    size_t wanted TVR_GUARDED_BY(mutex) = 0;
    size_t ready TVR_GUARDED_BY(mutex) = 0;
    size_t free_workers TVR_GUARDED_BY(mutex) = 0;
    size_t tasks_running TVR_GUARDED_BY(mutex) = 0;
    double next_warning TVR_GUARDED_BY(mutex) = 0;  // s
};
