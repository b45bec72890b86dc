#pragma once

// What a target holds true of its subject. Anything else ends the process, which the fuzzer reports
// together with the input.

#include <cstdlib>

inline void require(bool held) {
    if (!held) std::abort();
}
