#pragma once

// Who may run script code of an interpreter: its owner thread, or a worker that holds the lock.
//
// The owner runs without it, so a lock costs nothing where nothing is shared. While workers run
// script code the owner takes it around its frame (tvrscript::update).

#include <atomic>
#include <thread>

#include "base/sync.h"

// What an interpreter lends to its threads. Outlives every one of them.
struct tvr_interpreter_lock {
    tvr_mutex mutex;
    std::thread::id owner;  // set at init, read by all
};

// Locks for a scope, unless the calling thread owns the interpreter or holds the lock already.
// Marks the thread as a script thread meanwhile. Without an interpreter it does nothing.
class tvr_global_lock {
public:
    tvr_global_lock();
    ~tvr_global_lock();
    tvr_global_lock(const tvr_global_lock&) = delete;
    tvr_global_lock& operator=(const tvr_global_lock&) = delete;

private:
    bool locked = false;
};

// Gives the lock back for a scope, for code on a worker that blocks. Does nothing on a thread
// that does not hold it.
class tvr_scoped_unlock {
public:
    tvr_scoped_unlock();
    ~tvr_scoped_unlock();
    tvr_scoped_unlock(const tvr_scoped_unlock&) = delete;
    tvr_scoped_unlock& operator=(const tvr_scoped_unlock&) = delete;

private:
    bool unlocked = false;
};
