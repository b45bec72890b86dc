#pragma once

// UTF-8, one code point at a time, and the columns that it takes in a terminal. Pure functions,
// any thread.

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>

struct tvr_code_point {
    uint32_t value = 0;  // the byte itself when malformed
    uint32_t bytes = 1;  // how many it takes; 0 at the end of the text
    bool well_formed = true;
};

// The code point at the front of a text. A malformed sequence counts as single bytes.
inline tvr_code_point tvr_decode_utf8(std::string_view text) {
    if (text.empty()) return {0, 0, false};
    const auto byte = [&](size_t i) { return i < text.size() ? uint8_t(text[i]) : uint8_t(0); };
    const uint32_t lead = byte(0);
    if (lead < 0x80) return {lead, 1, true};
    const tvr_code_point malformed{lead, 1, false};
    if (lead < 0xC2 || lead > 0xF4) return malformed;
    const uint32_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    uint32_t value = lead & (0x7F >> length);
    for (uint32_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return malformed;
        value = value << 6 | (byte(i) & 0x3F);
    }
    constexpr uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000}, highest = 0x10FFFF;
    const bool is_surrogate = value >= 0xD800 && value <= 0xDFFF;
    if (value < smallest[length] || value > highest || is_surrogate) return malformed;
    return {value, length, true};
}

// Appends a code point up to 0x10FFFF; a lone surrogate becomes three bytes like any other of its
// size.
inline void tvr_append_utf8(std::string& out, uint32_t value) {
    if (value < 0x80) {
        out += char(value);
        return;
    }
    const int more = value < 0x800 ? 1 : value < 0x10000 ? 2 : 3;
    constexpr uint32_t lead[] = {0, 0xC0, 0xE0, 0xF0};
    out += char(uint8_t(lead[more] | value >> (6 * more)));
    for (int i = more - 1; i >= 0; --i) out += char(uint8_t(0x80 | (value >> (6 * i) & 0x3F)));
}

// The beginning of a text that takes at most so many bytes and ends with a whole character.
inline std::string_view tvr_cut_utf8(std::string_view text, size_t most) {
    if (text.size() <= most) return text;
    while (most > 0 && (uint8_t(text[most]) & 0xC0) == 0x80) --most;
    return text.substr(0, most);
}

struct tvr_code_range {
    uint32_t first, last;
};

// Whether a code point lies in one of the ranges, which stand in order.
template <size_t N>
bool tvr_is_among(uint32_t value, const tvr_code_range (&ranges)[N]) {
    const auto* behind =
        std::upper_bound(std::begin(ranges), std::end(ranges), value,
                         [](uint32_t x, const tvr_code_range& r) { return x < r.first; });
    return behind != std::begin(ranges) && value <= std::prev(behind)->last;
}

// Columns that a code point takes in a terminal: 0 for combining marks and joiners, 2 for wide
// characters, else 1. The tables hold the blocks that titles and scripts are written in.
inline int tvr_display_width(uint32_t value) {
    constexpr uint32_t first_mark = 0x300;
    static constexpr tvr_code_range marks[] = {
        {0x0300, 0x036F},   {0x0483, 0x0489},   {0x0591, 0x05BD}, {0x0610, 0x061A},
        {0x064B, 0x065F},   {0x0900, 0x0902},   {0x093C, 0x093C}, {0x0941, 0x0948},
        {0x0E31, 0x0E31},   {0x0E34, 0x0E3A},   {0x0E47, 0x0E4E}, {0x1AB0, 0x1AFF},
        {0x1DC0, 0x1DFF},   {0x200B, 0x200F},   {0x20D0, 0x20FF}, {0x302A, 0x302D},
        {0x3099, 0x309A},   {0xFE00, 0xFE0F},   {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF},
        {0x1F3FB, 0x1F3FF}, {0xE0100, 0xE01EF},
    };
    static constexpr tvr_code_range wide[] = {
        {0x1100, 0x115F},   {0x231A, 0x231B},   {0x2E80, 0x303E},   {0x3041, 0x33FF},
        {0x3400, 0x4DBF},   {0x4E00, 0x9FFF},   {0xA000, 0xA4CF},   {0xA960, 0xA97C},
        {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},
        {0xFFE0, 0xFFE6},   {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF}, {0x1F900, 0x1F9FF},
        {0x20000, 0x3FFFD},
    };
    if (value < first_mark) return 1;
    if (tvr_is_among(value, marks)) return 0;
    return tvr_is_among(value, wide) ? 2 : 1;
}
