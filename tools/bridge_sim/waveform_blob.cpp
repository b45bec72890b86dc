#include "bridge_sim/waveform_blob.h"

#include <algorithm>

#include "bridge_sim/portable_math.h"

namespace bridge_sim {

namespace {

constexpr int64_t columns_per_s = 150;

double loudest(const band_levels& c) {
    return std::max({c.low, c.mid, c.high});
}

// 28 bytes before the columns of the rgb and three-band styles.
void put_header(bytes& out, std::string_view tag, size_t column_bytes, size_t count) {
    const uint32_t length = uint32_t(column_bytes * count + 24);
    put_u32_le(out, length);
    put_text(out, tag);
    put_u32_be(out, 24);
    put_u32_be(out, length);
    put_u32_be(out, uint32_t(column_bytes));
    put_u32_be(out, uint32_t(count));
    put_u32_be(out, 0);
}

// Five bits of height; the whiter, the brighter the sound.
int blue_height(const band_levels& c) {
    return scale_to(loudest(c), 31);
}

int blue_whiteness(const band_levels& c) {
    const double all = c.low + c.mid + c.high;
    return all > 0 ? scale_to(1.6 * (c.mid * 0.4 + c.high) / all, 7) : 0;
}

void put_three_band(bytes& out, const band_levels& c) {
    constexpr int top = 127;
    out.push_back(uint8_t(scale_to(c.mid, top)));
    out.push_back(uint8_t(scale_to(c.high, top)));
    out.push_back(uint8_t(scale_to(c.low, top)));
}

void put_rgb_word(bytes& out, const band_levels& c) {
    const double top = loudest(c);
    const double unit = top > 0 ? 1.0 / top : 0.0;
    const int first = scale_to(c.low * unit, 7), second = scale_to(c.mid * unit, 7),
              third = scale_to(c.high * unit, 7);
    put_u16_be(out, uint32_t(first << 13 | second << 10 | third << 7 | scale_to(top, 31) << 2));
}

// Three bytes that only the players' own displays use, then the three bands.
void put_rgb_preview(bytes& out, const band_levels& c) {
    constexpr int top = 127;
    out.push_back(uint8_t(scale_to(loudest(c), top)));
    out.push_back(uint8_t(scale_to(c.low, top)));
    out.push_back(uint8_t(scale_to((c.mid + c.high) * 0.5, top)));
    out.push_back(uint8_t(scale_to(c.low, top)));
    out.push_back(uint8_t(scale_to(c.mid, top)));
    out.push_back(uint8_t(scale_to(c.high, top)));
}

// Half peak, half mean: a preview shows the shape and not every kick.
band_levels gather(std::span<const band_levels> columns) {
    band_levels peak{}, sum{};
    for (const band_levels& c : columns) {
        peak = {std::max(peak.low, c.low), std::max(peak.mid, c.mid), std::max(peak.high, c.high)};
        sum = {sum.low + c.low, sum.mid + c.mid, sum.high + c.high};
    }
    const double part = columns.empty() ? 0.0 : 0.5 / double(columns.size());
    return {peak.low * 0.5 + sum.low * part, peak.mid * 0.5 + sum.mid * part,
            peak.high * 0.5 + sum.high * part};
}

std::vector<band_levels> gather_to(std::span<const band_levels> columns, size_t count) {
    std::vector<band_levels> out;
    for (size_t i = 0; i < count; i++) {
        const size_t begin = i * columns.size() / count, end = (i + 1) * columns.size() / count;
        out.push_back(gather(columns.subspan(begin, std::max<size_t>(end - begin, 1))));
    }
    return out;
}

}  // namespace

std::string_view wave_word(wave_style style) {
    switch (style) {
    case wave_style::blue: return "blue";
    case wave_style::rgb: return "rgb";
    case wave_style::three_band: return "3band";
    }
    return "";
}

std::vector<band_levels> detail_columns(const track_model& track) {
    std::vector<band_levels> columns(size_t(track.length_us * columns_per_s / 1'000'000));
    for (size_t i = 0; i < columns.size(); i++) {
        columns[i] = track.levels_at(int64_t(i) * 1'000'000 / columns_per_s);
    }
    return columns;
}

bytes encode_detail(std::span<const band_levels> columns, wave_style style) {
    constexpr size_t blue_header_bytes = 19;
    bytes out;
    out.reserve(columns.size() * 3 + 28);
    if (style == wave_style::blue) {
        put_u32_le(out, uint32_t(columns.size()));
        put_zeros(out, blue_header_bytes - sizeof(uint32_t));
        for (const band_levels& c : columns) {
            out.push_back(uint8_t(blue_whiteness(c) << 5 | blue_height(c)));
        }
    } else if (style == wave_style::rgb) {
        put_header(out, "PWV5", 2, columns.size());
        for (const band_levels& c : columns) put_rgb_word(out, c);
    } else {
        put_header(out, "PWV7", 3, columns.size());
        for (const band_levels& c : columns) put_three_band(out, c);
    }
    return out;
}

bytes encode_preview(std::span<const band_levels> columns, wave_style style) {
    constexpr size_t blue_columns = 400, color_columns = 1200;
    bytes out;
    if (columns.empty()) return out;
    if (style == wave_style::blue) {
        for (const band_levels& c : gather_to(columns, blue_columns)) {
            out.push_back(uint8_t(blue_height(c)));
            out.push_back(uint8_t(blue_whiteness(c)));
        }
    } else if (style == wave_style::rgb) {
        put_header(out, "PWV4", 6, color_columns);
        for (const band_levels& c : gather_to(columns, color_columns)) put_rgb_preview(out, c);
    } else {
        put_header(out, "PWV6", 3, color_columns);
        for (const band_levels& c : gather_to(columns, color_columns)) put_three_band(out, c);
    }
    return out;
}

}  // namespace bridge_sim
