#pragma once

// The three standard streams as a program has to find them.
//
// Whoever starts a program may have closed some of them. The next file, socket or port that it
// opens would take their place, and what was meant for a reader would be written into it.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <initializer_list>

// Puts something into the places that are empty. It is opened the wrong way round, so that reading
// and writing fail there as they would without it. At the beginning of main(), before anything is
// opened.
inline void tvr_hold_standard_streams() {
    for (const int place : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(place, F_GETFD) >= 0 || errno != EBADF) continue;
        // The lowest free number is this one. Without a null device there is nobody to tell.
        if (::open("/dev/null", place == STDIN_FILENO ? O_WRONLY : O_RDONLY) < 0) return;
    }
}
