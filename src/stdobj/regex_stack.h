#pragma once

// A thread with a stack of 512 MB, for work that calls itself very deeply.
//
// The stack is an address range that gets memory where it is touched, and gives most of it back
// after work that went deep; below it lies a guard. The thread is started by the first run and ends
// with this object.
//
// Locking: one caller at a time.

#include <pthread.h>

#include <condition_variable>
#include <functional>

#include "base/sync.h"

class tvr_deep_stack {
public:
    tvr_deep_stack() = default;
    ~tvr_deep_stack();
    tvr_deep_stack(const tvr_deep_stack&) = delete;
    tvr_deep_stack& operator=(const tvr_deep_stack&) = delete;

    // Runs the work there and waits for its end. The work throws nothing. False, with nothing done,
    // when the thread cannot be started.
    bool run(const std::function<void()>& work) TVR_EXCLUDES(mutex);

private:
    bool start();
    void loop() TVR_EXCLUDES(mutex);

    pthread_t thread{};
    bool started = false;  // caller
    tvr_mutex mutex;
    std::condition_variable_any changed;
    const std::function<void()>* waiting TVR_GUARDED_BY(mutex) = nullptr;  // borrowed until done
    bool ends TVR_GUARDED_BY(mutex) = false;
};
