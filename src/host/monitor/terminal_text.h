#pragma once

// Text from strangers made fit for a terminal.
//
// Titles and comments come from other people's files: they may be no UTF-8, hold escape sequences
// or turn the writing direction round. Here they become glyphs of known width and nothing else.
// Pure functions, any thread.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace monitor {

inline constexpr char32_t replacement = 0xFFFD;  // stands for bytes that are no UTF-8

// What one or two cells of a screen show.
struct glyph {
    char32_t base = U' ';
    char32_t mark = 0;  // a combining mark on the base, 0 for none
    int width = 1;      // cells: 1 or 2
};

// The next code point, taken off the front of `rest`, which is not empty. Bytes that are no UTF-8
// give `replacement`, one for each of them; at least one byte is taken.
char32_t take_code_point(std::string_view& rest);

// Cells of a code point: 0, 1 or 2; -1 for one that must not reach a terminal, such as an escape.
int code_point_width(char32_t c);

// The text as glyphs. What must not reach a terminal is left out, but a tab or line end becomes
// a blank.
std::vector<glyph> glyphs_of(std::string_view text);

// Cells that the text takes.
int text_width(std::string_view text);

// The text in at most `width` cells; where something is cut off, an ellipsis ends it.
std::string fit_text(std::string_view text, int width);

// The text as one safe line of UTF-8.
std::string safe_text(std::string_view text);

}  // namespace monitor
