#pragma once

// Cue points and loops of a track, from the two list layouts of the DJ network.
//
// Pure functions, any thread.

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "track/json.h"

namespace deckbus {

using rgb_color = std::array<uint8_t, 3>;

struct cue {
    // The colour wherever this cue is shown: its own, or one by its kind.
    rgb_color display_color() const;

    json to_json() const;

    std::string kind;     // "memory", "loop", "hot" or "hotloop"
    int32_t hot = 0;      // hot cue number, 1 is A; 0 for memory points and loops
    int64_t ms = 0;       // position
    int64_t end_ms = -1;  // end of a loop, negative when this is none
    std::string comment;  // UTF-8
    rgb_color rgb{};      // own colour
    bool has_color = false;
};

// fmt is "nexus" (records of 36 bytes) or "ext" (records that tell their own length); any other
// word gives no cues. At most `count` records of an "ext" list are read, skipped ones included,
// without limit when it is below 1. Sorted by ms, then by hot. A list that ends early gives what
// stood before that point.
std::vector<cue> decode_cues(std::span<const uint8_t> data, std::string_view fmt, int count);

}  // namespace deckbus
