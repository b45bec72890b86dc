#pragma once

// Who may run script code of an interpreter and touch its values: whoever holds its lock.
//
// Only one thread at a time: the interpreter's owner inside tvrscript::update(), a worker that
// runs a script task, or host code that touches values between updates. The lock is fair: it is
// handed on in the order in which it was asked for, so that a busy worker cannot keep the owner
// out. Who has to wait sleeps, and raises tvr_signal_lock_wanted, upon which the running machine
// gives way between two statements (tvr_yield_lock()).
//
// The owner of an interpreter without workers need not take it: nobody else is there.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "base/sync.h"

struct tvr_vm_signals;

// A mutex that serves its waiters in order. Not recursive.
class TVR_CAPABILITY("mutex") tvr_fair_mutex {
public:
    tvr_fair_mutex() = default;
    tvr_fair_mutex(const tvr_fair_mutex&) = delete;
    tvr_fair_mutex& operator=(const tvr_fair_mutex&) = delete;

    void lock() TVR_ACQUIRE();
    void unlock() TVR_RELEASE();

    // For its holder: hands the mutex on if somebody waits and it was held for as long as
    // shortest_turn_s, and waits for it again.
    void yield() TVR_REQUIRES(this);

    // For asserts: whether somebody holds it at this moment. Any thread.
    bool is_taken() const;

    // Threads that stand in line. Any thread; may be out of date when it comes back.
    uint32_t waiters() const { return waiting.load(std::memory_order_relaxed); }

    static constexpr double shortest_turn_s = 0.001;

    // Raised while somebody waits; null for nobody to tell. Set before a second thread comes.
    tvr_vm_signals* signals = nullptr;

private:
    struct waiter {
        std::condition_variable called;
        waiter* next = nullptr;
        bool served = false;
    };

    void hand_on();  // with `guard`
    void wait_in_line(std::unique_lock<std::mutex>& hold);

    mutable std::mutex guard;  // of the fields below, held for a few instructions
    waiter* first = nullptr;
    waiter* last = nullptr;
    bool taken = false;
    std::atomic<uint32_t> waiting{0};  // written with `guard`
    double taken_at = 0;               // s, steady clock; the holder's
};

// What an interpreter lends to its threads. Outlives every one of them.
struct tvr_interpreter_lock {
    tvr_fair_mutex mutex;
};

// Locks for a scope, unless the calling thread holds the lock already. Marks the thread as a
// script thread meanwhile. Without an interpreter it does nothing. May block.
class tvr_global_lock {
public:
    tvr_global_lock();  // that of the thread's interpreter
    explicit tvr_global_lock(tvr_interpreter_lock* wanted) TVR_NO_THREAD_CHECK;
    ~tvr_global_lock() TVR_NO_THREAD_CHECK;
    tvr_global_lock(const tvr_global_lock&) = delete;
    tvr_global_lock& operator=(const tvr_global_lock&) = delete;

private:
    tvr_interpreter_lock* held = nullptr;   // null: nothing to give back
    tvr_interpreter_lock* outer = nullptr;  // what the thread's record said before
    bool outer_held = false;
};

// For asserts of what only a script thread may do: false when another thread is at it.
bool tvr_is_alone_with_interpreter();

// Gives the lock back for a scope, for code that blocks. Until the end of the scope the thread is
// no script thread, even if it owns the interpreter. Does nothing on a thread that does not hold
// the lock.
class tvr_scoped_unlock {
public:
    tvr_scoped_unlock() TVR_NO_THREAD_CHECK;
    ~tvr_scoped_unlock() TVR_NO_THREAD_CHECK;
    tvr_scoped_unlock(const tvr_scoped_unlock&) = delete;
    tvr_scoped_unlock& operator=(const tvr_scoped_unlock&) = delete;

private:
    tvr_interpreter_lock* given = nullptr;  // null: nothing to take again
    bool owner = false;
    uint32_t raised = 0;  // signals of the task that runs here, not of those that run meanwhile
};

// For the machine, when tvr_signal_lock_wanted is raised and it stands between two statements:
// lets the threads that wait have their turn. On a thread that does not hold the lock it only
// lowers the signal. May block.
void tvr_yield_lock() TVR_NO_THREAD_CHECK;
