#include "host/monitor/utf8.h"

#include <algorithm>
#include <iterator>

namespace monitor {

namespace {

struct code_range {
    char32_t first, last;
};

constexpr code_range wide_ranges[] = {
    {0x1100, 0x115F},   {0x2E80, 0x303E},   {0x3041, 0xA4CF},   {0xA960, 0xA97F},
    {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},
    {0xFFE0, 0xFFE6},   {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF}, {0x1F900, 0x1F9FF},
    {0x20000, 0x3FFFD},
};

constexpr code_range mark_ranges[] = {
    {0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x0610, 0x061A},
    {0x064B, 0x065F}, {0x0E31, 0x0E31}, {0x0E34, 0x0E3A}, {0x0E47, 0x0E4E},
    {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF}, {0x20D0, 0x20FF}, {0xFE20, 0xFE2F},
};

// Controls, joiners, direction marks, variation selectors, surrogates, and what is no character.
constexpr code_range forbidden_ranges[] = {
    {0x0000, 0x001F},   {0x007F, 0x009F},   {0x00AD, 0x00AD},       {0x061C, 0x061C},
    {0x200B, 0x200F},   {0x2028, 0x202E},   {0x2060, 0x206F},       {0xD800, 0xDFFF},
    {0xFE00, 0xFE0F},   {0xFEFF, 0xFEFF},   {0xFFF9, 0xFFFB},       {0xFFFE, 0xFFFF},
    {0x1F3FB, 0x1F3FF}, {0xE0000, 0xE0FFF}, {0x110000, 0xFFFFFFFF},
};

template <size_t N>
bool among(char32_t c, const code_range (&ranges)[N]) {
    auto behind = std::upper_bound(std::begin(ranges), std::end(ranges), c,
                                   [](char32_t x, const code_range& r) { return x < r.first; });
    return behind != std::begin(ranges) && c <= std::prev(behind)->last;
}

bool is_blank(char32_t c) {
    return c == U'\t' || c == U'\n' || c == U'\r' || c == 0x00A0;
}

// Bytes that the lead byte asks for behind it; -1 for a byte that leads nothing.
int bytes_behind(uint8_t lead) {
    if (lead < 0x80) return 0;
    if (lead >= 0xC2 && lead < 0xE0) return 1;
    if (lead >= 0xE0 && lead < 0xF0) return 2;
    if (lead >= 0xF0 && lead < 0xF5) return 3;
    return -1;
}

}  // namespace

char32_t take_code_point(std::string_view& rest) {
    const uint8_t lead = uint8_t(rest.front());
    rest.remove_prefix(1);
    const int more = bytes_behind(lead);
    if (more == 0) return lead;
    if (more < 0 || rest.size() < size_t(more)) return replacement;

    constexpr char32_t lead_bits[] = {0x7F, 0x1F, 0x0F, 0x07};
    constexpr char32_t smallest[] = {0, 0x80, 0x800, 0x10000};
    char32_t c = lead & lead_bits[more];
    for (int i = 0; i < more; ++i) {
        const uint8_t byte = uint8_t(rest[size_t(i)]);
        if ((byte & 0xC0) != 0x80) return replacement;
        c = c << 6 | (byte & 0x3F);
    }
    if (c < smallest[more] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) return replacement;
    rest.remove_prefix(size_t(more));
    return c;
}

void append_utf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += char(c);
        return;
    }
    const int more = c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    constexpr char32_t lead[] = {0, 0xC0, 0xE0, 0xF0};
    out += char(lead[more] | c >> (6 * more));
    for (int i = more - 1; i >= 0; --i) out += char(0x80 | (c >> (6 * i) & 0x3F));
}

int code_point_width(char32_t c) {
    if (c >= 0x20 && c < 0x7F) return 1;
    if (among(c, forbidden_ranges)) return -1;
    if (among(c, mark_ranges)) return 0;
    return among(c, wide_ranges) ? 2 : 1;
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
        append_utf8(result, g.base);
        if (g.mark != 0) append_utf8(result, g.mark);
        used += g.width;
    }
    if (needed > width && width > 0) result += "…";
    return result;
}

std::string safe_text(std::string_view text) {
    std::string result;
    for (const glyph& g : glyphs_of(text)) {
        append_utf8(result, g.base);
        if (g.mark != 0) append_utf8(result, g.mark);
    }
    return result;
}

}  // namespace monitor
