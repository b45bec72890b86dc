#pragma once

// Phrases: the large sections of a track, and their stored form.
//
// A phrase comes from the analysis stored with the track (decode_phrases), or is worked out from
// grid and waveform (track/sections.h). Pure functions, any thread.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace deckbus {

struct phrase {
    int32_t beat = 0;       // first beat, counted from 1
    int32_t end_beat = 0;   // first beat behind the phrase
    std::string name;       // for display, such as "Verse 1"
    std::string group;      // "intro", "verse", "buildup", "break", "drop" or "outro"
    bool detected = false;  // worked out here, not stored with the track
};

// A whole PSSI tag, big-endian, its body plain or masked. Sorted by beat; each phrase ends where
// the next begins. Empty, with `mood` untouched, when the data is no acceptable tag; otherwise
// `mood` is 1 high, 2 mid or 3 low.
std::vector<phrase> decode_phrases(std::span<const uint8_t> data, int32_t& mood);

}  // namespace deckbus
