#pragma once

// The event on which a thread sleeps until there is something to do.
//
// Like a bell with a memory: a wakeup() that finds nobody asleep lets the next
// wait_for_wakeup() through at once, and many of them count as one. So what was queued before the
// bell rang is never slept over.
//
// Needs no constructor and no destructor to run, so that it can stand in the thread's record.
// Locking: its own mutex, held for a few instructions.

#include <pthread.h>

class tvr_wakeup {
public:
    constexpr tvr_wakeup() = default;
    tvr_wakeup(const tvr_wakeup&) = delete;
    tvr_wakeup& operator=(const tvr_wakeup&) = delete;

    // Rings. Any thread.
    void wakeup();

    // Sleeps until the bell rings or the steady clock reaches `until` in s; infinity means no
    // limit. True if it rang.
    bool wait_for_wakeup(double until);

private:
    // Not the standard's types: its condition variable has no constant initialiser.
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t rung = PTHREAD_COND_INITIALIZER;
    bool woken = false;  // with mutex
};
