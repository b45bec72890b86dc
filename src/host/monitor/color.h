#pragma once

// Colours as the widgets mix them, and as a terminal of fewer colours can show them.
//
// Widgets work in 24 bits whatever the terminal can do; only the screen writer converts.
// Pure functions, any thread.

#include <cstdint>

namespace monitor {

struct color {
    uint8_t r = 0, g = 0, b = 0;
    bool operator==(const color&) const = default;
};

enum class color_depth { none, ansi16, ansi256, truecolor };

// What the terminal can show, from the environment variables NO_COLOR, COLORTERM and TERM; null
// for one that is not set. Any non-empty NO_COLOR turns colours off.
color_depth depth_of(const char* no_color, const char* colorterm, const char* term);

// `share` of b, 0 to 1, in a.
color mix(color a, color b, double share);

// The nearest entry of the usual palettes: 16 to 255 of the 256 colours, which every terminal
// shows alike, and 0 to 15 of the 16.
int nearest_256(color c);
int nearest_16(color c);

// The colour that nearest_256() and nearest_16() stand for.
color palette_color(int index);

}  // namespace monitor
