#pragma once

// The bridge's microsecond clock, mapped to the host's.
//
// A line can be late but never early. So the smallest offset of the last 30 seconds belongs to
// the line that travelled fastest, and it alone counts.
//
// Locking: none inside; callers hold session::mutex.

#include <cstdint>
#include <deque>

namespace deckbus {

struct clock_sync {
    static constexpr double window_s = 30.0;         // how long a sample counts
    static constexpr int64_t max_step_us = 1000000;  // lines may arrive out of order by this much

    struct sample {
        double host;    // s, steady clock
        double offset;  // s, host minus bridge
    };

    // Takes one line's pair of times. True if the bridge's clock fell back by more than a
    // second, which means that the bridge restarted.
    bool update(double host, int64_t us);

    // Host time in s of a bridge time. Needs a sample: update() first.
    double to_host(int64_t us) const;

    // Forgets the samples but not last_us: a bridge that comes back from a break with a lower
    // clock shows up as restarted on its first line.
    void reset() { samples.clear(); }

    std::deque<sample> samples;  // offsets strictly rising, the smallest in front
    int64_t last_us = -1;        // highest bridge time seen; -1 before the first
};

}  // namespace deckbus
