#pragma once

// All tasks of one interpreter, and who of them waits for a time. Script thread.

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "runtime/task/task.h"
#include "runtime/task/task_mail.h"

class tvr_task_list {
public:
    static constexpr int64_t never = std::numeric_limits<int64_t>::max();

    tvr_task_list() = default;
    ~tvr_task_list();  // tasks that others still hold know of no interpreter any more
    tvr_task_list(const tvr_task_list&) = delete;
    tvr_task_list& operator=(const tvr_task_list&) = delete;

    // For tvr_task: enters and leaves.
    void add(tvr_task& task);
    void remove(tvr_task& task);

    // Tasks with a time, by that time, then in the order in which they asked.
    void schedule(tvr_task& task);
    void unschedule(tvr_task& task);
    // The next task whose time is not behind `latest_ms`; null when there is none.
    tvrptr_strong<tvr_task> pop(int64_t latest_ms);
    int64_t next_wake_ms() const;  // never when no task has a time

    // Resumes the tasks that results of foreign threads have come for.
    void deliver();

    // All of them, the newest first, so that children stand before their parents.
    std::vector<tvrptr_strong<tvr_task>> newest_first();

    const std::shared_ptr<tvr_task_mail> mail = std::make_shared<tvr_task_mail>();
    size_t alive = 0;  // tasks that have begun to wait or run and have not ended

private:
    using place = std::pair<int64_t, uint64_t>;  // time in ms, order

    std::map<place, tvr_task*> timed;  // these keep themselves alive
    uint64_t last_order = 0;
    tvr_task* newest = nullptr;
};
