#include "host/monitor/big_digits.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "host/monitor/blocks.h"

namespace monitor {

namespace {

constexpr int pixel_rows = 5;

// Each row of a digit is three pixels, the left one in the highest bit.
struct big_glyph {
    char sign;
    uint8_t width;
    std::array<uint8_t, pixel_rows> rows;
};

constexpr big_glyph glyphs[] = {
    {'0', 3, {7, 5, 5, 5, 7}}, {'1', 3, {2, 6, 2, 2, 7}}, {'2', 3, {7, 1, 7, 4, 7}},
    {'3', 3, {7, 1, 7, 1, 7}}, {'4', 3, {5, 5, 7, 1, 1}}, {'5', 3, {7, 4, 7, 1, 7}},
    {'6', 3, {7, 4, 7, 5, 7}}, {'7', 3, {7, 1, 1, 1, 1}}, {'8', 3, {7, 5, 7, 5, 7}},
    {'9', 3, {7, 5, 7, 1, 7}}, {'-', 3, {0, 0, 7, 0, 0}}, {'.', 1, {0, 0, 0, 0, 1}},
    {' ', 1, {0, 0, 0, 0, 0}},
};

const big_glyph* find_glyph(char sign) {
    for (const big_glyph& g : glyphs) {
        if (g.sign == sign) return &g;
    }
    return nullptr;
}

bool pixel(const big_glyph& g, int x, int y) {
    return y < pixel_rows && (g.rows[size_t(y)] >> (g.width - 1 - x) & 1) != 0;
}

void draw_glyph(const area& on, int x, const big_glyph& g, color ink) {
    for (int row = 0; row < big_digit_rows; ++row) {
        for (int i = 0; i < g.width; ++i) {
            cell* c = on.find(x + i, row);
            const bool top = pixel(g, i, 2 * row), bottom = pixel(g, i, 2 * row + 1);
            if (c == nullptr || (!top && !bottom)) continue;
            c->glyph = top && bottom ? full_block : top ? upper_half : lower_block(4);
            c->ink = ink;
        }
    }
}

}  // namespace

int big_width(std::string_view text) {
    int width = 0;
    for (char sign : text) {
        if (const big_glyph* g = find_glyph(sign)) width += g->width + 1;
    }
    return std::max(width - 1, 0);
}

int draw_big(const area& on, int x, std::string_view text, color ink, color behind) {
    for (char sign : text) {
        const big_glyph* g = find_glyph(sign);
        if (g == nullptr) continue;
        if (sign == '.') ink = behind;
        draw_glyph(on, x, *g, ink);
        x += g->width + 1;
    }
    return x - 1;
}

}  // namespace monitor
