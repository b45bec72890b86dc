#pragma once

// How a person wants to see the decks: what the keys change, and what the terminal can show.

#include <deque>
#include <string>

#include "host/monitor/color.h"

namespace monitor {

// Which lists stand below the waveforms.
enum class panel_choice { both, events, history, none };

struct event_line {
    std::string time;  // "21:45:03", local
    std::string kind;
    std::string words;
};

struct view {
    static constexpr int max_zoom = 7;
    static constexpr int usual_zoom = 2;
    static constexpr size_t max_lines = 200;

    // Columns of the detail waveform in a cell.
    int columns_per_cell() const { return 1 << zoom; }

    int zoom = usual_zoom;  // 0 to max_zoom, a power of two
    int focus = 0;          // the deck whose detail is shown alone, 0 for all
    panel_choice panel = panel_choice::both;
    bool help = false;
    color_depth depth = color_depth::truecolor;
    std::deque<event_line> lines;  // oldest first
    std::string clock;             // "21:45", local
};

}  // namespace monitor
