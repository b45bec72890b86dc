#pragma once

// A time that comes again. Times are ms on the clock that the node is given. Any thread.

#include <cstdint>

struct tvrnet_timer {
    uint64_t last = 0;
    uint64_t interval = 0;

    // A clock that jumped back makes nothing wait longer than its interval.
    bool passed(uint64_t now_ms) {
        if (now_ms < last) last = now_ms;
        return now_ms - last >= interval;
    }

    // True, and begun anew, when the interval has passed.
    bool fires(uint64_t now_ms) {
        if (!passed(now_ms)) return false;
        last = now_ms;
        return true;
    }
};
