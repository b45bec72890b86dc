#include "track/cue.h"

#include <algorithm>
#include <cstdio>
#include <tuple>

#include "base/byte_order.h"
#include "base/utf8.h"

namespace deckbus {
namespace {

using record_bytes = std::span<const uint8_t>;

// By the colour index of a memory point or loop; index 0 means that it has none.
constexpr std::array<rgb_color, 9> memory_colors = {{{0x00, 0x00, 0x00},
                                                     {0xED, 0x40, 0xB3},
                                                     {0xE6, 0x28, 0x28},
                                                     {0xF5, 0x8C, 0x14},
                                                     {0xF0, 0xDC, 0x28},
                                                     {0x3C, 0xC8, 0x46},
                                                     {0x28, 0xC8, 0xD2},
                                                     {0x28, 0x5A, 0xE6},
                                                     {0x96, 0x46, 0xDC}}};

constexpr rgb_color loop_color = {0xF5, 0x8C, 0x14};
constexpr rgb_color hot_color = {0x28, 0xE2, 0x14};
constexpr rgb_color memory_color = {0xE6, 0x28, 0x28};

const char* kind_name(bool hot, bool loop) {
    if (hot) return loop ? "hotloop" : "hot";
    return loop ? "loop" : "memory";
}

int64_t ms_of_frames(uint32_t frames) {
    return int64_t(frames) * 100 / 15;  // a frame is 1/150 s
}

void read_nexus(record_bytes data, std::vector<cue>& cues) {
    constexpr size_t length = 36;
    cues.reserve(data.size() / length);
    for (; data.size() >= length; data = data.subspan(length)) {
        const bool loop = data[0] != 0, used = data[1] != 0;
        const uint8_t hot = data[2];
        if (!used && hot == 0) continue;
        cue& point = cues.emplace_back();
        point.kind = kind_name(hot != 0, loop);
        point.hot = hot;
        point.ms = ms_of_frames(read_u32_le(data, 12));
        if (loop) point.end_ms = ms_of_frames(read_u32_le(data, 16));
    }
}

// A lone surrogate stays one, so the text may be no valid UTF-8.
std::string utf8_of_utf16(record_bytes units) {
    std::string out;
    for (; units.size() >= 2; units = units.subspan(2)) {
        uint32_t code = read_u16_le(units, 0);
        if (code == 0) break;
        if (code >> 10 == 0x36 && units.size() >= 4) {
            const uint32_t low = read_u16_le(units, 2);
            if (low >> 10 == 0x37) {
                code = 0x10000 + ((code & 0x3FF) << 10 | (low & 0x3FF));
                units = units.subspan(2);
            }
        }
        tvr_append_utf8(out, code);
    }
    return out;
}

// Offsets in a record of an "ext" list.
constexpr size_t ext_smallest = 20;
constexpr size_t ext_color_index = 34;
constexpr size_t ext_comment_length = 72;
constexpr size_t ext_comment = 74;
constexpr uint8_t ext_loop = 2;

size_t comment_bytes(record_bytes record) {
    return record.size() < ext_comment ? 0 : read_u16_le(record, ext_comment_length);
}

std::string ext_comment_text(record_bytes record) {
    constexpr size_t terminator = 2;
    const size_t length = comment_bytes(record);
    if (length <= terminator || record.size() < ext_comment_length + length) return {};
    std::string out = utf8_of_utf16(record.subspan(ext_comment, length - terminator));
    out.erase(out.find_last_not_of(" \t") + 1);
    return out;
}

// Memory points and loops name a colour of the table, hot cues bring their own.
void read_ext_color(record_bytes record, cue& point) {
    if (point.hot == 0) {
        const uint8_t index = record.size() > ext_color_index ? record[ext_color_index] : 0;
        if (index < 1 || index >= memory_colors.size()) return;
        point.rgb = memory_colors[index];
        point.has_color = true;
        return;
    }
    const size_t at = comment_bytes(record) + 79;
    if (record.size() < at + 3) return;
    point.rgb = {record[at], record[at + 1], record[at + 2]};
    point.has_color = point.rgb != rgb_color{};
}

void read_ext_record(record_bytes record, std::vector<cue>& cues) {
    const uint8_t hot = record[4], status = record[6];
    if (hot == 0 && status == 0) return;
    const bool loop = status == ext_loop;
    cue& point = cues.emplace_back();
    point.kind = kind_name(hot != 0, loop);
    point.hot = hot;
    point.ms = read_u32_le(record, 12);
    if (loop) point.end_ms = read_u32_le(record, 16);
    point.comment = ext_comment_text(record);
    read_ext_color(record, point);
}

void read_ext(record_bytes data, int count, std::vector<cue>& cues) {
    for (int read = 0; data.size() >= ext_smallest && (count < 1 || read < count); ++read) {
        const size_t length = read_u32_le(data, 0);
        if (length < ext_smallest || length > data.size()) return;
        read_ext_record(data.first(length), cues);
        data = data.subspan(length);
    }
}

}  // namespace

rgb_color cue::display_color() const {
    if (has_color) return rgb;
    if (kind == "hotloop" || kind == "loop") return loop_color;
    return hot != 0 ? hot_color : memory_color;
}

json cue::to_json() const {
    const rgb_color color = display_color();
    char color_text[8];
    std::snprintf(color_text, sizeof color_text, "#%02x%02x%02x", color[0], color[1], color[2]);
    return {{"kind", kind},       {"hot", hot == 0 ? json() : json(std::string(1, char(64 + hot)))},
            {"ms", ms},           {"endMs", end_ms < 0 ? json() : json(end_ms)},
            {"comment", comment}, {"color", color_text}};
}

std::vector<cue> decode_cues(std::span<const uint8_t> data, std::string_view fmt, int count) {
    std::vector<cue> cues;
    if (fmt == "nexus") read_nexus(data, cues);
    if (fmt == "ext") read_ext(data, count, cues);
    // Stable, so that equal keys keep the order of the list on every machine.
    std::stable_sort(cues.begin(), cues.end(), [](const cue& a, const cue& b) {
        return std::tie(a.ms, a.hot) < std::tie(b.ms, b.hot);
    });
    return cues;
}

}  // namespace deckbus
