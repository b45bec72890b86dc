#pragma once

// A time that comes again. Times are ms on the clock that the node is given. Any thread.

#include <cstdint>

struct tvrnet_timer {
    // A timer that was never started has passed. After a clock that jumped back nothing waits
    // longer than its interval.
    bool passed(uint64_t now_ms) {
        if (!begun) return true;
        if (now_ms < last) last = now_ms;
        return now_ms - last >= interval;
    }

    void start(uint64_t now_ms) {
        last = now_ms;
        begun = true;
    }

    // True, and started anew, when the interval has passed.
    bool fires(uint64_t now_ms) {
        if (!passed(now_ms)) return false;
        start(now_ms);
        return true;
    }

    uint64_t due() const { return begun ? last + interval : 0; }

    uint64_t interval = 0;
    uint64_t last = 0;
    bool begun = false;
};
