#include "track/waveform.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "base/byte_order.h"

namespace deckbus {
namespace {

// How a column becomes colour and bands.
//
// Everything is relative: each band to its own peak over the track, heights and stacked bands to
// the loudest column. So each layout makes two passes: peaks first, then output. All that depends
// on one byte of a column comes from a table that is filled between the two, where the roundings
// stand once: quotients are float, their product with 255 is double, and halves go up.

using column_span = std::span<const uint8_t>;
using byte_table = std::array<uint8_t, 256>;

constexpr float highest_height = 31.0f;
constexpr uint8_t height_bits = 0x1F;

// A fraction of a peak as a byte. It is 0 to 1 and a float, so its product with 255 is exact and
// so is the sum with one half: this is round().
uint8_t byte_of(float fraction) {
    return uint8_t(double(fraction) * 255.0 + 0.5);
}

// Each byte up to `peak` as a fraction of it.
byte_table fractions_of(uint8_t peak) {
    byte_table table{};
    for (int value = 1; value <= peak; ++value)
        table[size_t(value)] = byte_of(float(value) / float(peak));
    return table;
}

// Red, green, blue, alpha in the order of memory.
constexpr uint32_t pixel(uint32_t red, uint32_t green, uint32_t blue, uint32_t alpha) {
    return red | green << 8 | blue << 16 | alpha << 24;
}

void store_pixel(uint8_t* at, uint32_t value) {
    std::memcpy(at, &value, sizeof value);
}

// The highest byte of each of N interleaved channels.
template <size_t N>
std::array<uint8_t, N> channel_peaks(column_span in) {
    constexpr size_t lanes = 16 * N;  // so that the compiler fills whole registers
    std::array<uint8_t, lanes> highest{};
    size_t at = 0;
    for (; at + lanes <= in.size(); at += lanes)
        for (size_t i = 0; i < lanes; ++i) highest[i] = std::max(highest[i], in[at + i]);
    for (size_t i = 0; at < in.size(); ++at, ++i) highest[i] = std::max(highest[i], in[at]);

    std::array<uint8_t, N> peaks{};
    for (size_t i = 0; i < lanes; ++i) peaks[i % N] = std::max(peaks[i % N], highest[i]);
    return peaks;
}

struct height_table {
    std::array<uint8_t, 32> level{};  // of the highest height that occurs
    std::array<uint8_t, 32> alpha{};  // of the highest height that can occur
};

height_table make_height_table(uint8_t peak) {
    height_table table;
    const float peak_level = float(peak) / highest_height;
    for (size_t height = 0; height < table.alpha.size(); ++height) {
        const float level = float(height) / highest_height;
        table.alpha[height] = byte_of(level);
        if (height != 0 && height <= peak) table.level[height] = byte_of(level / peak_level);
    }
    return table;
}

void decode_blue_preview(column_span in, waveform& out) {
    constexpr uint8_t white_bits = 0x07;
    constexpr int first_pale = 5;
    constexpr uint32_t blue = pixel(0x2B, 0x59, 0xFF, 0), pale = pixel(0x74, 0xF6, 0xF4, 0);
    uint8_t peak = 0;
    for (size_t at = 0; at < in.size(); at += 2)
        peak = std::max<uint8_t>(peak, in[at] & height_bits);
    const height_table heights = make_height_table(peak);
    for (size_t i = 0; i < size_t(out.columns); ++i) {
        const uint8_t height = in[2 * i] & height_bits;
        const uint32_t color = (in[2 * i + 1] & white_bits) < first_pale ? blue : pale;
        store_pixel(&out.rgba[4 * i], color | uint32_t(heights.alpha[height]) << 24);
        std::fill_n(&out.bands[3 * i], 3, heights.level[height]);
    }
}

constexpr std::array<uint32_t, 8> blue_colors = {
    pixel(0x00, 0x68, 0x90, 0), pixel(0x00, 0x88, 0xB0, 0), pixel(0x00, 0xA8, 0xE8, 0),
    pixel(0x00, 0xB8, 0xD8, 0), pixel(0x78, 0xB8, 0xD8, 0), pixel(0x88, 0xC0, 0xE8, 0),
    pixel(0x88, 0xC0, 0xE8, 0), pixel(0xC8, 0xE0, 0xE8, 0)};

void decode_blue_detail(column_span in, waveform& out) {
    uint8_t peak = 0;
    for (const uint8_t column : in) peak = std::max<uint8_t>(peak, column & height_bits);
    const height_table heights = make_height_table(peak);
    for (size_t i = 0; i < in.size(); ++i) {
        const uint8_t height = in[i] & height_bits;
        store_pixel(&out.rgba[4 * i], blue_colors[in[i] >> 5] | uint32_t(heights.alpha[height])
                                                                    << 24);
        std::fill_n(&out.bands[3 * i], 3, heights.level[height]);
    }
}

void decode_rgb_preview(column_span in, waveform& out) {
    const std::array<uint8_t, 6> peaks = channel_peaks<6>(in);
    const byte_table first = fractions_of(peaks[3]), second = fractions_of(peaks[4]),
                     third = fractions_of(peaks[5]);
    const byte_table alpha = fractions_of(std::max({peaks[3], peaks[4], peaks[5]}));
    for (size_t i = 0; i < size_t(out.columns); ++i) {
        const uint8_t* value = &in[6 * i + 3];
        const uint32_t highest = std::max({value[0], value[1], value[2]});
        const uint32_t whole = std::max(highest, 1u);  // a silent column stays black
        store_pixel(&out.rgba[4 * i], pixel(value[0] * 255 / whole, value[1] * 255 / whole,
                                            value[2] * 255 / whole, alpha[highest]));
        out.bands[3 * i] = first[value[0]];
        out.bands[3 * i + 1] = second[value[1]];
        out.bands[3 * i + 2] = third[value[2]];
    }
}

// A column of the rgb detail: three values of three bits and a height of five.
struct rgb_word {
    explicit rgb_word(uint32_t word)
        : first(word >> 13 & 7),
          second(word >> 10 & 7),
          third(word >> 7 & 7),
          height(word >> 2 & height_bits) {}
    uint8_t first, second, third, height;
};

// A band of the rgb detail is a value scaled by the column's height: 256 levels are possible, and
// they are numbered by value and height.
constexpr size_t level_index(uint8_t value, uint8_t height) {
    return size_t(value) << 5 | height;
}

float rgb_level(size_t index) {
    return float(index >> 5) / 7.0f * (float(index & height_bits) / highest_height);
}

byte_table level_table(const std::array<bool, 256>& seen) {
    float peak = 0;
    for (size_t i = 0; i < seen.size(); ++i)
        if (seen[i]) peak = std::max(peak, rgb_level(i));
    byte_table table{};
    for (size_t i = 0; i < seen.size(); ++i)
        if (seen[i] && peak > 0) table[i] = byte_of(rgb_level(i) / peak);
    return table;
}

void decode_rgb_detail(column_span in, waveform& out) {
    std::array<std::array<bool, 256>, 3> seen{};
    for (size_t at = 0; at < in.size(); at += 2) {
        const rgb_word column(read_u16_be(in, at));
        seen[0][level_index(column.first, column.height)] = true;
        seen[1][level_index(column.second, column.height)] = true;
        seen[2][level_index(column.third, column.height)] = true;
    }
    const byte_table low = level_table(seen[0]), mid = level_table(seen[1]),
                     high = level_table(seen[2]);
    const height_table heights = make_height_table(0);
    for (size_t i = 0; i < size_t(out.columns); ++i) {
        const rgb_word column(read_u16_be(in, 2 * i));
        // The second value is blue and the third green, though they are mid and high band.
        store_pixel(&out.rgba[4 * i],
                    pixel(column.first * 255u / 7, column.third * 255u / 7,
                          column.second * 255u / 7, heights.alpha[column.height]));
        out.bands[3 * i] = low[level_index(column.first, column.height)];
        out.bands[3 * i + 1] = mid[level_index(column.second, column.height)];
        out.bands[3 * i + 2] = high[level_index(column.third, column.height)];
    }
}

struct band_weights {
    double low, mid, high;
};

constexpr band_weights preview_weights = {0.49, 0.32, 0.25};
constexpr band_weights detail_weights = {0.4, 0.3, 0.06};

// The weighted bands of a column, stacked up.
struct band_stack {
    band_stack(const uint8_t* column, const band_weights& weight)
        : low(weight.low * column[2]),
          mid(low + weight.mid * column[0]),
          high(mid + weight.high * column[1]) {}
    double low, mid, high;
};

void decode_three_band(column_span in, waveform& out) {
    const band_weights& weight = out.is_detail ? detail_weights : preview_weights;
    const std::array<uint8_t, 3> peaks = channel_peaks<3>(in);  // mid, high, low
    double peak = 0;
    for (size_t at = 0; at < in.size(); at += 3)
        peak = std::max(peak, band_stack(&in[at], weight).high);
    if (!(peak > 0)) peak = 1.0;

    const byte_table low = fractions_of(peaks[2]), mid = fractions_of(peaks[0]),
                     high = fractions_of(peaks[1]);
    for (size_t i = 0; i < size_t(out.columns); ++i) {
        const uint8_t* column = &in[3 * i];
        const band_stack stack(column, weight);
        store_pixel(&out.rgba[4 * i],
                    pixel(byte_of(float(stack.low / peak)), byte_of(float(stack.mid / peak)),
                          byte_of(float(stack.high / peak)), 255));
        out.bands[3 * i] = low[column[2]];
        out.bands[3 * i + 1] = mid[column[0]];
        out.bands[3 * i + 2] = high[column[1]];
    }
}

struct layout {
    std::string_view fmt;
    bool detail;
    waveform_style style;
    size_t header_bytes;  // skipped unread
    size_t column_bytes;
    void (*decode)(column_span in, waveform& out);  // `in` holds whole columns only
};

constexpr std::array<layout, 6> layouts = {{
    {"blue", false, style_blue, 0, 2, decode_blue_preview},
    {"blue", true, style_blue, 19, 1, decode_blue_detail},
    {"rgb", false, style_rgb, 28, 6, decode_rgb_preview},
    {"rgb", true, style_rgb, 28, 2, decode_rgb_detail},
    {"3band", false, style_three_band, 28, 3, decode_three_band},
    {"3band", true, style_three_band, 28, 3, decode_three_band},
}};

}  // namespace

waveform decode_waveform(std::span<const uint8_t> data, std::string_view fmt, bool detail) {
    waveform out;
    out.is_detail = detail;
    const auto found = std::find_if(layouts.begin(), layouts.end(), [&](const layout& known) {
        return known.fmt == fmt && known.detail == detail;
    });
    if (found == layouts.end()) return out;
    out.style = found->style;
    if (data.size() < found->header_bytes + found->column_bytes) return out;

    const size_t columns = (data.size() - found->header_bytes) / found->column_bytes;
    out.columns = int32_t(columns);
    out.rgba.resize(columns * 4);
    out.bands.resize(columns * 3);
    found->decode(data.subspan(found->header_bytes, columns * found->column_bytes), out);
    return out;
}

const char* waveform::style_name() const {
    switch (style) {
    case style_blue: return "blue";
    case style_rgb: return "rgb";
    case style_three_band: return "3band";
    default: return "";
    }
}

void waveform::levels(int center, int radius, std::span<float, 3> out) const {
    std::array<uint8_t, 3> highest{};
    const int64_t first = std::max<int64_t>(int64_t(center) - radius, 0);
    const int64_t last = std::min<int64_t>(int64_t(center) + radius, int64_t(columns) - 1);
    for (int64_t column = first; column <= last; ++column)
        for (size_t band = 0; band < 3; ++band)
            highest[band] = std::max(highest[band], bands[size_t(column) * 3 + band]);
    for (size_t band = 0; band < 3; ++band) out[band] = float(highest[band]) / 255.0f;
}

}  // namespace deckbus
