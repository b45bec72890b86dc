#pragma once

// Gives the terminal back even when the program crashes.
//
// While armed, SIGSEGV, SIGBUS, SIGFPE, SIGILL and SIGABRT (and so an uncaught exception on any
// thread) first write the terminal's restoring bytes and settings; then the signal takes the way
// that it had before. The handlers call nothing but async-signal-safe functions. Process-wide
// state, listed in docs/monitor.md; arm and disarm from one thread.

#include <termios.h>

#include <string_view>

namespace monitor::crash_guard {

// `restoring` must live for ever. keys_fd is -1 when there are no settings to put back.
void arm(int out_fd, std::string_view restoring, int keys_fd, const termios& settings);

void disarm();

}  // namespace monitor::crash_guard
