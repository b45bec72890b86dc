#include "frontend/source/utf8.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr uint32_t surrogate_first = 0xD800, surrogate_last = 0xDFFF, highest = 0x10FFFF;

struct span_of_points {
    uint32_t first, last;
};

// The blocks that scripts, comments and strings of our users hold; in order.
constexpr span_of_points combining[] = {
    {0x0300, 0x036F},   {0x0483, 0x0489},   {0x0591, 0x05BD}, {0x0610, 0x061A}, {0x064B, 0x065F},
    {0x0900, 0x0902},   {0x093C, 0x093C},   {0x0941, 0x0948}, {0x0E31, 0x0E31}, {0x0E34, 0x0E3A},
    {0x0E47, 0x0E4E},   {0x1AB0, 0x1AFF},   {0x1DC0, 0x1DFF}, {0x200B, 0x200F}, {0x20D0, 0x20FF},
    {0x302A, 0x302D},   {0x3099, 0x309A},   {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF},
    {0x1F3FB, 0x1F3FF}, {0xE0100, 0xE01EF},
};
constexpr span_of_points wide[] = {
    {0x1100, 0x115F},   {0x231A, 0x231B},   {0x2E80, 0x303E},   {0x3041, 0x33FF},
    {0x3400, 0x4DBF},   {0x4E00, 0x9FFF},   {0xA000, 0xA4CF},   {0xA960, 0xA97C},
    {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},
    {0xFFE0, 0xFFE6},   {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF}, {0x1F900, 0x1F9FF},
    {0x20000, 0x3FFFD},
};

bool is_in(const span_of_points* first, const span_of_points* last, uint32_t point) {
    const auto* found = std::lower_bound(
        first, last, point, [](const span_of_points& s, uint32_t p) { return s.last < p; });
    return found != last && found->first <= point;
}

}  // namespace

tvr_code_point tvr_decode_utf8(std::string_view text) {
    if (text.empty()) return {0, 0, false};
    const auto byte = [&](size_t i) { return i < text.size() ? uint8_t(text[i]) : uint8_t(0); };
    const uint32_t lead = byte(0);
    if (lead < 0x80) return {lead, 1, true};
    const uint32_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    constexpr uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (lead < 0xC2 || lead > 0xF4) return {lead, 1, false};
    uint32_t value = lead & (0x7F >> length);
    for (uint32_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return {lead, 1, false};
        value = value << 6 | (byte(i) & 0x3F);
    }
    const bool bad = value < smallest[length] || value > highest ||
                     (value >= surrogate_first && value <= surrogate_last);
    if (bad) return {lead, 1, false};
    return {value, length, true};
}

void tvr_append_utf8(std::string& out, uint32_t value) {
    const auto put = [&](uint32_t byte) { out += char(uint8_t(byte)); };
    if (value < 0x80) return put(value);
    if (value < 0x800) {
        put(0xC0 | value >> 6);
    } else if (value < 0x10000) {
        put(0xE0 | value >> 12);
        put(0x80 | (value >> 6 & 0x3F));
    } else {
        put(0xF0 | value >> 18);
        put(0x80 | (value >> 12 & 0x3F));
        put(0x80 | (value >> 6 & 0x3F));
    }
    put(0x80 | (value & 0x3F));
}

int tvr_display_width(uint32_t code_point) {
    if (code_point < 0x300) return 1;
    if (is_in(std::begin(combining), std::end(combining), code_point)) return 0;
    return is_in(std::begin(wide), std::end(wide), code_point) ? 2 : 1;
}
