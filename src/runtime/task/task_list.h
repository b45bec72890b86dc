#pragma once

// All tasks of one interpreter: who waits for a time, and what foreign threads have brought.
//
// Script thread, but for post().

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <map>
#include <utility>
#include <vector>

#include "base/sync.h"
#include "runtime/task/task.h"

class tvr_task_list {
public:
    // Results of foreign threads that may be outstanding; who comes with another one waits.
    static constexpr size_t max_mail = 16384;
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

    // A foreign thread's result for a task that waits for it.
    struct letter {
        tvr_task* task = nullptr;  // null when it has gone meanwhile
        bool ok = true;
        tvrptr_strong<tvrobject_base> object;
        tvrvar_shared result;
    };
    // Any thread; waits while max_mail are outstanding, but not once the interpreter ends.
    void post(letter result) TVR_EXCLUDES(mail_mutex);
    // Resumes the tasks that results have come for.
    void deliver() TVR_EXCLUDES(mail_mutex);
    bool has_mail() const TVR_EXCLUDES(mail_mutex);
    void close_mail() TVR_EXCLUDES(mail_mutex);  // nobody waits for a place any more

    // All of them, the newest first, so that children stand before their parents.
    std::vector<tvrptr_strong<tvr_task>> newest_first();

    size_t alive = 0;  // tasks that have begun to wait or run and have not ended

private:
    bool take_letter(letter& taken) TVR_EXCLUDES(mail_mutex);

    using place = std::pair<int64_t, uint64_t>;  // time in ms, order

    std::map<place, tvr_task*> timed;  // these keep themselves alive
    uint64_t last_order = 0;
    tvr_task* newest = nullptr;

    mutable tvr_mutex mail_mutex;
    std::condition_variable_any mail_taken;
    std::deque<letter> mail TVR_GUARDED_BY(mail_mutex);
    bool mail_closed TVR_GUARDED_BY(mail_mutex) = false;
};
