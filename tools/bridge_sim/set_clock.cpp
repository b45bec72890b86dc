#include "bridge_sim/set_clock.h"

#include <algorithm>
#include <cassert>

namespace bridge_sim {

namespace {

constexpr int64_t us_per_minute_x100 = 6'000'000'000;

}  // namespace

void set_clock::set_tempo(int64_t beat, int bpm_x100) {
    assert(beat >= steps.back().beat);
    steps.push_back({beat, us_of(beat), bpm_x100});
}

int64_t set_clock::us_of(int64_t beat) const {
    auto after = std::upper_bound(steps.begin(), steps.end(), beat,
                                  [](int64_t b, const step& s) { return b < s.beat; });
    const step& s = after == steps.begin() ? *after : *(after - 1);
    return s.us + (beat - s.beat) * us_per_minute_x100 / s.bpm_x100;
}

set_place set_clock::place_at(int64_t us) const {
    auto after = std::upper_bound(steps.begin(), steps.end(), us,
                                  [](int64_t t, const step& s) { return t < s.us; });
    const step& s = after == steps.begin() ? *after : *(after - 1);
    int64_t beat = s.beat + (us - s.us) * s.bpm_x100 / us_per_minute_x100;
    // Division rounds towards zero and us_of() rounds too: settle on the beat that contains us.
    while (us_of(beat) > us) beat--;
    while (us_of(beat + 1) <= us) beat++;
    const int64_t begin = us_of(beat), end = us_of(beat + 1);
    return {beat, double(us - begin) / double(end - begin), s.bpm_x100};
}

}  // namespace bridge_sim
