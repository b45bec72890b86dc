#pragma once

// The signals that the monitor obeys in its own loop: those that end it, stop it or resize its
// window. SIGPIPE is ignored from here on: a closed pipe is told by write().

#include <vector>

#include "base/signal_descriptor.h"

namespace monitor {

class signal_watch {
public:
    // Throws std::system_error when the system has no descriptor left.
    signal_watch();

    int descriptor() const { return watched.descriptor(); }

    // The signals that came since the last call; does not block.
    std::vector<int> take() const;

    // Waits up to timeout_s for a signal, and returns as take() does.
    std::vector<int> wait(double timeout_s) const;

    // Lets them act as they do by default, so that a second Ctrl-C ends a program that is stuck.
    void release() const { watched.restore(); }

    // True for the signals that ask the program to end.
    static bool asks_to_end(int signal);

private:
    const tvr_signal_descriptor watched;
};

}  // namespace monitor
