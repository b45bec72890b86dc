#pragma once

// Signals that are read from a descriptor, so that nothing runs inside a signal handler.
//
// They are blocked for the thread that makes this, and for all that it starts from then on: make it
// before any of those. What nobody has read when it goes is dropped, since the program is ending
// then, and the thread's own mask is put back.

#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <span>
#include <system_error>

class tvr_signal_descriptor {
public:
    // Throws std::system_error when the system has no descriptor left.
    explicit tvr_signal_descriptor(std::span<const int> watched) {
        sigemptyset(&set);
        for (const int signal : watched) sigaddset(&set, signal);
        fd = ::signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
        if (fd < 0) throw std::system_error(errno, std::generic_category(), "signalfd");
        pthread_sigmask(SIG_BLOCK, &set, &before);
    }
    ~tvr_signal_descriptor() {
        while (next() != 0) {
        }
        restore();
        ::close(fd);
    }
    tvr_signal_descriptor(const tvr_signal_descriptor&) = delete;
    tvr_signal_descriptor& operator=(const tvr_signal_descriptor&) = delete;

    // For poll(): readable when one has come.
    int descriptor() const { return fd; }

    // One that has come, 0 for none. Does not wait.
    int next() const {
        signalfd_siginfo info{};
        return ::read(fd, &info, sizeof info) == ssize_t(sizeof info) ? int(info.ssi_signo) : 0;
    }

    // From here on they act as they do by default: on the maker's thread as before all this, or on
    // the calling thread, whatever held there before.
    void restore() const { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    void let_through() const { pthread_sigmask(SIG_UNBLOCK, &set, nullptr); }

private:
    sigset_t set{}, before{};
    int fd = -1;
};
