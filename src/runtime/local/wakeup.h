#pragma once

// The event on which a thread sleeps until there is something to do.
//
// Like a bell with a memory: a wakeup() that finds nobody asleep lets the next
// wait_for_wakeup() through at once, and many of them count as one. So what was queued before the
// bell rang is never slept over.
//
// One word in the kernel's keeping (a futex) and no lock, so that signal handlers may ring too.
// Needs no constructor and no destructor to run, so that it can stand in the thread's record.

#include <atomic>
#include <cstdint>

class tvr_wakeup {
public:
    constexpr tvr_wakeup() = default;
    tvr_wakeup(const tvr_wakeup&) = delete;
    tvr_wakeup& operator=(const tvr_wakeup&) = delete;

    // Rings. Any thread, signal handlers too.
    void wakeup();

    // Sleeps until the bell rings or the steady clock reaches `until` in s; infinity means no
    // limit. True if it rang. One thread at a time.
    bool wait_for_wakeup(double until);

private:
    // 1 once it rang; set by whoever rings, taken by the one who waits.
    std::atomic<uint32_t> rung{0};
    static_assert(std::atomic<uint32_t>::is_always_lock_free, "the kernel reads this word");
};
