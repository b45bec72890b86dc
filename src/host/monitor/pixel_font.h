#pragma once

// A small font of our own for pictures: 5 by 7 pixels, ASCII.
//
// Accented letters show their base letter, everything else that is not ASCII a box. Pure.

#include <array>
#include <cstdint>

namespace monitor {

inline constexpr int font_width = 5, font_height = 7;
inline constexpr int font_advance = font_width + 1;

// Seven rows from top to bottom; the left pixel of a row is bit 4.
using font_glyph = std::array<uint8_t, font_height>;

const font_glyph& font_glyph_of(char32_t c);

// The ASCII letter that c is drawn as, or 0 for a box.
char ascii_base(char32_t c);

}  // namespace monitor
