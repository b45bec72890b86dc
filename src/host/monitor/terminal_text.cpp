#include "host/monitor/terminal_text.h"

#include "base/utf8.h"

namespace monitor {

namespace {

// Controls, joiners, direction marks, variation selectors, surrogates, and what is no character.
constexpr tvr_code_range forbidden_ranges[] = {
    {0x0000, 0x001F},   {0x007F, 0x009F},   {0x00AD, 0x00AD},       {0x061C, 0x061C},
    {0x200B, 0x200F},   {0x2028, 0x202E},   {0x2060, 0x206F},       {0xD800, 0xDFFF},
    {0xFE00, 0xFE0F},   {0xFEFF, 0xFEFF},   {0xFFF9, 0xFFFB},       {0xFFFE, 0xFFFF},
    {0x1F3FB, 0x1F3FF}, {0xE0000, 0xE0FFF}, {0x110000, 0xFFFFFFFF},
};

bool is_blank(char32_t c) {
    return c == U'\t' || c == U'\n' || c == U'\r' || c == 0x00A0;
}

}  // namespace

char32_t take_code_point(std::string_view& rest) {
    const tvr_code_point point = tvr_decode_utf8(rest);
    rest.remove_prefix(point.bytes);
    return point.well_formed ? char32_t(point.value) : replacement;
}

int code_point_width(char32_t c) {
    if (c >= 0x20 && c < 0x7F) return 1;
    if (tvr_is_among(c, forbidden_ranges)) return -1;
    return tvr_display_width(c);
}

std::vector<glyph> glyphs_of(std::string_view text) {
    std::vector<glyph> result;
    result.reserve(text.size());
    while (!text.empty()) {
        char32_t c = take_code_point(text);
        if (is_blank(c)) c = U' ';
        const int width = code_point_width(c);
        if (width > 0) result.push_back({c, 0, width});
        if (width == 0 && !result.empty() && result.back().mark == 0) result.back().mark = c;
    }
    return result;
}

int text_width(std::string_view text) {
    int width = 0;
    for (const glyph& g : glyphs_of(text)) width += g.width;
    return width;
}

std::string fit_text(std::string_view text, int width) {
    const std::vector<glyph> all = glyphs_of(text);
    int needed = 0;
    for (const glyph& g : all) needed += g.width;

    const int room = needed > width ? width - 1 : width;
    std::string result;
    int used = 0;
    for (const glyph& g : all) {
        if (used + g.width > room) break;
        tvr_append_utf8(result, g.base);
        if (g.mark != 0) tvr_append_utf8(result, g.mark);
        used += g.width;
    }
    if (needed > width && width > 0) result += "…";
    return result;
}

std::string safe_text(std::string_view text) {
    std::string result;
    for (const glyph& g : glyphs_of(text)) {
        tvr_append_utf8(result, g.base);
        if (g.mark != 0) tvr_append_utf8(result, g.mark);
    }
    return result;
}

}  // namespace monitor
