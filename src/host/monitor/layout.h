#pragma once

// Where everything stands on a screen of a given size.
//
// Cards side by side on top, the detail waveforms across the whole width below them, then the
// lists. What does not fit is left out in the order of its worth. Pure.

#include <vector>

#include "host/monitor/canvas.h"
#include "host/monitor/view.h"

namespace monitor {

inline constexpr int least_width = 40, least_height = 10;
inline constexpr int least_card = 9;  // cells; decks beyond that are left out

// A height or width of 0 means that the part is not shown.
struct screen_layout {
    bool too_small = false;
    rect status, footer;
    std::vector<rect> cards;    // one for each deck shown, from left to right
    std::vector<rect> details;  // from top to bottom
    rect events, history;
};

// How many of `decks` cards fit side by side.
int decks_that_fit(int decks, int width);

// `decks` fit; `details` of them, at most all, show their detail waveform.
screen_layout lay_out(int width, int height, int decks, int details, panel_choice panel);

}  // namespace monitor
