#include "deck/clock_sync.h"

#include <algorithm>

namespace deckbus {

bool clock_sync::update(double host, int64_t us) {
    // Unsigned, since a hostile line can put the two at opposite ends of int64.
    const bool fell =
        last_us > us && uint64_t(last_us) - uint64_t(us) > uint64_t(max_step_us) && last_us >= 0;
    if (fell) {
        samples.clear();
        last_us = us;
    } else {
        last_us = std::max(last_us, us);
    }

    const double offset = host - double(us) / 1000000.0;
    while (!samples.empty() && samples.back().offset >= offset) samples.pop_back();
    samples.push_back({host, offset});
    while (host - window_s > samples.front().host) samples.pop_front();
    return fell;
}

double clock_sync::to_host(int64_t us) const {
    return double(us) / 1000000.0 + samples.front().offset;
}

}  // namespace deckbus
