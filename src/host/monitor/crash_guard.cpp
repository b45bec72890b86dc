#include "host/monitor/crash_guard.h"

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstddef>
#include <iterator>

namespace monitor::crash_guard {

namespace {

constexpr int deadly[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

struct guarded_terminal {
    int out_fd = -1;
    int keys_fd = -1;
    const char* restoring = nullptr;
    size_t restoring_size = 0;
    termios settings{};
    struct sigaction before[std::size(deadly)]{};
};

// Written by arm() and disarm() while `armed` is false, read by the handler while it is true.
constinit guarded_terminal held;
constinit std::atomic<bool> armed{false};

void on_deadly(int number) {
    if (armed.exchange(false)) {
        // Nothing can be done about a failure here, and nobody is left to tell.
        if (write(held.out_fd, held.restoring, held.restoring_size) < 0) held.out_fd = -1;
        if (held.keys_fd >= 0) tcsetattr(held.keys_fd, TCSANOW, &held.settings);
    }
    for (size_t i = 0; i < std::size(deadly); ++i) {
        if (deadly[i] == number) sigaction(number, &held.before[i], nullptr);
    }
    raise(number);  // blocked until the handler returns; then its old way is taken
}

}  // namespace

void arm(int out_fd, std::string_view restoring, int keys_fd, const termios& settings) {
    disarm();
    held.out_fd = out_fd;
    held.keys_fd = keys_fd;
    held.restoring = restoring.data();
    held.restoring_size = restoring.size();
    held.settings = settings;
    struct sigaction guard {};
    guard.sa_handler = on_deadly;
    sigemptyset(&guard.sa_mask);
    for (size_t i = 0; i < std::size(deadly); ++i) sigaction(deadly[i], &guard, &held.before[i]);
    armed = true;
}

void disarm() {
    if (!armed.exchange(false)) return;
    for (size_t i = 0; i < std::size(deadly); ++i) sigaction(deadly[i], &held.before[i], nullptr);
}

}  // namespace monitor::crash_guard
