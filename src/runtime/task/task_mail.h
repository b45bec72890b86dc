#pragma once

// What foreign threads have brought for the tasks of an interpreter.
//
// Each task holds the mail too, so that a thread that comes late finds it closed instead of gone.
// Locking: its own mutex, under which nothing is called but the owner's bell.

#include <condition_variable>
#include <cstddef>
#include <deque>

#include "base/sync.h"
#include "runtime/memory/pointer.h"
#include "runtime/value/value.h"

class tvr_task;
struct tvr_thread_local;

class tvr_task_mail {
public:
    // Results that may be outstanding; who comes with another one waits.
    static constexpr size_t max_letters = 16384;

    struct letter {
        tvr_task* task = nullptr;  // null when it has gone meanwhile
        bool ok = true;
        tvrptr_strong<tvrobject_base> object;
        tvrvar_shared result;
    };

    // Takes a letter, for a task that lives now, and wakes the owner. Any thread; waits while
    // max_letters are outstanding. Once the mail is closed the letter leaks: what it holds can be
    // ended only where its interpreter runs.
    void post(letter brought) TVR_EXCLUDES(mutex);

    // Script thread.
    void open(tvr_thread_local& reader) TVR_EXCLUDES(mutex);  // whom to wake
    void close() TVR_EXCLUDES(mutex);                         // nobody waits for a place any more
    bool take(letter& oldest) TVR_EXCLUDES(mutex);            // false when there is none
    size_t size() const TVR_EXCLUDES(mutex);
    void forget(const tvr_task& task) TVR_EXCLUDES(mutex);  // it goes: its letters are nobody's

private:
    mutable tvr_mutex mutex;
    std::condition_variable_any taken;
    std::deque<letter> letters TVR_GUARDED_BY(mutex);
    tvr_thread_local* owner TVR_GUARDED_BY(mutex) = nullptr;
    bool closed TVR_GUARDED_BY(mutex) = false;
};
