#pragma once

// The one clock of the house: seconds on the steady clock, as double.
//
// Lives in base because decks, network and engine measure the same time and must be able to
// compare their readings. Thread: any.

#include <chrono>

inline double tvr_now_s() {
    using namespace std::chrono;
    constexpr double ns_per_s = 1000000000.0;
    return double(duration_cast<nanoseconds>(steady_clock::now().time_since_epoch()).count()) /
           ns_per_s;
}
