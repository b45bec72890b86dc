#pragma once

// Who may run script code of an interpreter: its owner thread, or a worker that holds the lock.
//
// tvr_global_lock does nothing on the owner, so a lock costs nothing where nothing is shared. While
// other threads run script code or free elements, the owner takes the mutex itself around all that
// it does with its pools and values (tvrscript::update), and says so in holds_global_lock, so that
// tvr_scoped_unlock finds it.

#include <thread>

#include "base/sync.h"

// What an interpreter lends to its threads. Outlives every one of them.
struct tvr_interpreter_lock {
    tvr_mutex mutex;
    std::thread::id owner;  // set at init, read by all
};

// Locks for a scope, unless the calling thread owns the interpreter or holds the lock already.
// Marks the thread as a script thread meanwhile. Without an interpreter it does nothing. May block.
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

// Gives the lock back for a scope, for code on a worker that blocks. Does nothing on a thread
// that does not hold it.
class tvr_scoped_unlock {
public:
    tvr_scoped_unlock() TVR_NO_THREAD_CHECK;
    ~tvr_scoped_unlock() TVR_NO_THREAD_CHECK;
    tvr_scoped_unlock(const tvr_scoped_unlock&) = delete;
    tvr_scoped_unlock& operator=(const tvr_scoped_unlock&) = delete;

private:
    tvr_interpreter_lock* given = nullptr;  // null: nothing to take again
};
