#pragma once

// The beat grid: every beat of a track with its time, the base of all beat and bar positions.
//
// Pure functions, any thread.

#include <cstdint>
#include <span>
#include <vector>

namespace deckbus {

// Three parallel vectors, one element a beat. Beats count from 1: beat b stands at index b - 1.
struct beat_grid {
    size_t beats() const { return time_ms.size(); }

    // Time of a beat in ms. A beat past the end has the last beat's time; -1 for a beat below 1
    // and for an empty grid.
    double time_of(int64_t beat) const;

    std::vector<uint8_t> bar_beat;   // position in the bar, 1 is a downbeat
    std::vector<uint16_t> bpm_x100;  // tempo at this beat, hundredths of a beat a minute
    std::vector<uint32_t> time_ms;   // from the start of the track
};

// A header of 20 bytes, then 16 bytes a beat, little-endian. What holds no whole beat gives an
// empty grid.
beat_grid decode_grid(std::span<const uint8_t> data);

}  // namespace deckbus
