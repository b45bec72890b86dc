#pragma once

// SIGINT, SIGTERM and SIGHUP as a readable descriptor. Blocked for the process from then on, so
// make it before any thread.

#include <csignal>

#include <sys/signalfd.h>
#include <unistd.h>

namespace bridge_sim {

class stop_signals {
public:
    stop_signals() {
        sigset_t set;
        sigemptyset(&set);
        for (int s : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&set, s);
        sigprocmask(SIG_BLOCK, &set, nullptr);
        descriptor = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    }
    ~stop_signals() {
        if (descriptor >= 0) ::close(descriptor);
    }
    stop_signals(const stop_signals&) = delete;
    stop_signals& operator=(const stop_signals&) = delete;

    // One of them has come.
    bool came() const {
        signalfd_siginfo info;
        return ::read(descriptor, &info, sizeof info) == ssize_t(sizeof info);
    }

    int descriptor = -1;
};

}  // namespace bridge_sim
