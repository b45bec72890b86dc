#pragma once

// One drawn column of a waveform: the peak of everything that it stands for, and its cells.
//
// A three-band waveform has three layers, the tallest behind; all others have one. A cell can
// show two colours, so the split of its eight steps that loses least is taken. Pure functions.

#include <array>
#include <cstdint>

#include "host/monitor/canvas.h"
#include "track/waveform.h"

namespace monitor {

struct wave_layer {
    double height = 0;  // 0 to 1
    color tint;
};

struct wave_bar {
    std::array<wave_layer, 3> layers;  // the tallest first
    int count = 0;                     // 0 when there is nothing to draw

    // Height of the whole bar, 0 to 1.
    double height() const { return count > 0 ? layers[0].height : 0; }
};

// The peak of the columns `from` up to but not including `to`. No column between them is passed
// over; those outside the waveform do not count.
wave_bar peak_bar(const deckbus::waveform& w, int64_t from, int64_t to);

// The bar with everything but its outline's colour left out, for a terminal without colours.
wave_bar single_layer(const wave_bar& bar);

// The bar dimmed, as for what has been played already.
wave_bar dimmed(wave_bar bar, color ground, double share);

// Draws it into column x of the area, growing upward from its last row.
void draw_bar_up(const area& on, int x, const wave_bar& bar, color ground);

// Draws it growing up and down from the middle of the area, whose height is even.
void draw_bar_mirrored(const area& on, int x, const wave_bar& bar, color ground);

}  // namespace monitor
