#pragma once

// Signals as something to read, so that nothing unsafe runs in a handler.
//
// Made before any other thread: threads inherit the blocked set, so every one of these signals
// waits in the descriptor for the monitor's own loop. The old set comes back at the end.

#include <csignal>
#include <vector>

namespace monitor {

class signal_watch {
public:
    // Throws std::system_error when the system has no descriptor left.
    signal_watch();
    ~signal_watch();
    signal_watch(const signal_watch&) = delete;
    signal_watch& operator=(const signal_watch&) = delete;

    int descriptor() const { return fd; }

    // The signals that came since the last call; does not block.
    std::vector<int> take() const;

    // Waits up to timeout_s for a signal, and returns as take() does.
    std::vector<int> wait(double timeout_s) const;

    // Lets them act as they do by default, so that a second Ctrl-C ends a program that is stuck.
    void release() const;

    // True for the signals that ask the program to end.
    static bool asks_to_end(int signal);

private:
    int fd = -1;
    sigset_t before{};
};

}  // namespace monitor
