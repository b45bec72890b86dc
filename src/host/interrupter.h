#pragma once

// Ends a run from outside: SIGINT, SIGTERM, or because its time is over.
//
// A thread of its own waits for them, so that a script that never comes back can be stopped, and
// nothing runs inside a signal handler. Made before any thread that inherits the blocked signals,
// by the thread that makes those. Once the answer to an interruption is `let_next_kill`, signals
// act as they do by default: the next one kills the process.

#include <functional>
#include <thread>

#include "base/signal_descriptor.h"

namespace host {

class interrupter {
public:
    enum class answer { go_on, let_next_kill };

    // On the interrupter's thread, with the signal's number, or 0 when the time is over.
    using handler = std::function<answer(int signal)>;

    // for_seconds 0: without end. Throws std::system_error when the system has no descriptor left.
    interrupter(double for_seconds, handler on_interruption);
    ~interrupter();
    interrupter(const interrupter&) = delete;
    interrupter& operator=(const interrupter&) = delete;

private:
    void watch(double until);

    const handler on_interruption;
    const tvr_signal_descriptor signals;
    const int ending;  // an eventfd, readable when the object ends
    std::thread thread;
};

}  // namespace host
