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
// the loudest column. So each layout makes two passes: peaks first, then output. What depends on
// a few bits of a column comes from tables that are filled between the two, and there the
// rounding stands once: quotients are float, their product with 255 is double, and halves go up.

using column_span = std::span<const uint8_t>;

constexpr float highest_height = 31.0f;
constexpr uint8_t height_bits = 0x1F;

// A fraction of a peak as a byte. It is 0 to 1 and a float, so its product with 255 is exact and
// so is the sum with one half: this is round().
uint32_t byte_of(float fraction) {
    // NOLINTNEXTLINE(bugprone-incorrect-roundings)
    return uint32_t(int32_t(double(fraction) * 255.0 + 0.5));
}

// Red, green, blue and alpha in the order of memory.
constexpr uint32_t pixel(uint32_t red, uint32_t green, uint32_t blue, uint32_t alpha) {
    return red | green << 8 | blue << 16 | alpha << 24;
}

// Low, mid and high the same way; the fourth byte is nothing.
constexpr uint32_t three_bands(uint32_t low, uint32_t mid, uint32_t high) {
    return low | mid << 8 | high << 16;
}

struct column {
    uint32_t rgba, bands;
};

// Writes column after column. Each is stored as two words, so the bands spill a byte into the
// next column, or past the last one: there must be room for it.
struct column_writer {
    void put(const column& c) {
        std::memcpy(rgba, &c.rgba, 4);
        std::memcpy(bands, &c.bands, 4);
        rgba += 4;
        bands += 3;
    }
    uint8_t* rgba;
    uint8_t* bands;
};

// The highest byte of each of N interleaved channels.
template <size_t N>
std::array<uint8_t, N> channel_peaks(column_span in) {
    constexpr size_t lanes = 64 * N;  // enough for the compiler to use whole registers
    std::array<uint8_t, lanes> highest{};
    for (; in.size() >= lanes; in = in.subspan(lanes))
        for (size_t i = 0; i < lanes; ++i) highest[i] = std::max(highest[i], in[i]);
    for (size_t i = 0; i < in.size(); ++i) highest[i] = std::max(highest[i], in[i]);

    std::array<uint8_t, N> peaks{};
    for (size_t i = 0; i < lanes; ++i) peaks[i % N] = std::max(peaks[i % N], highest[i]);
    return peaks;
}

// Each byte up to `peak` as a fraction of it, moved to its place in a word.
using byte_table = std::array<uint32_t, 256>;

byte_table fractions_of(uint8_t peak, int shift) {
    byte_table table{};
    for (int value = 1; value <= peak; ++value)
        table[size_t(value)] = byte_of(float(value) / float(peak)) << shift;
    return table;
}

// Blue: a height of five bits for all three bands.

uint32_t height_alpha(uint32_t height) {
    return byte_of(float(height) / highest_height) << 24;
}

uint32_t height_bands(uint32_t height, uint8_t peak) {
    if (height == 0 || height > peak) return 0;
    const uint32_t level = byte_of(float(height) / highest_height / (float(peak) / highest_height));
    return three_bands(level, level, level);
}

void decode_blue_preview(column_span in, column_writer out) {
    constexpr uint8_t white_bits = 0x07;
    constexpr int first_pale = 5;
    constexpr uint32_t blue = pixel(0x2B, 0x59, 0xFF, 0), pale = pixel(0x74, 0xF6, 0xF4, 0);
    uint8_t peak = 0;
    for (size_t at = 0; at < in.size(); at += 2)
        peak = std::max<uint8_t>(peak, in[at] & height_bits);
    for (size_t at = 0; at < in.size(); at += 2) {
        const uint32_t height = in[at] & height_bits;
        const uint32_t color = (in[at + 1] & white_bits) < first_pale ? blue : pale;
        out.put({color | height_alpha(height), height_bands(height, peak)});
    }
}

constexpr std::array<uint32_t, 8> blue_colors = {
    pixel(0x00, 0x68, 0x90, 0), pixel(0x00, 0x88, 0xB0, 0), pixel(0x00, 0xA8, 0xE8, 0),
    pixel(0x00, 0xB8, 0xD8, 0), pixel(0x78, 0xB8, 0xD8, 0), pixel(0x88, 0xC0, 0xE8, 0),
    pixel(0x88, 0xC0, 0xE8, 0), pixel(0xC8, 0xE0, 0xE8, 0)};

void decode_blue_detail(column_span in, column_writer out) {
    uint8_t peak = 0;
    for (const uint8_t byte : in) peak = std::max<uint8_t>(peak, byte & height_bits);
    std::array<column, 256> columns;
    for (uint32_t byte = 0; byte < columns.size(); ++byte) {
        const uint32_t height = byte & height_bits;
        columns[byte] = {blue_colors[byte >> 5] | height_alpha(height), height_bands(height, peak)};
    }
    for (const uint8_t byte : in) out.put(columns[byte]);
}

// Rgb: three values, in the detail scaled by a common height.

void decode_rgb_preview(column_span in, column_writer out) {
    constexpr size_t column_bytes = 6, values_at = 3;
    const std::array<uint8_t, column_bytes> peaks = channel_peaks<column_bytes>(in);
    const byte_table low = fractions_of(peaks[3], 0), mid = fractions_of(peaks[4], 8),
                     high = fractions_of(peaks[5], 16),
                     alpha = fractions_of(std::max({peaks[3], peaks[4], peaks[5]}), 24);
    for (; !in.empty(); in = in.subspan(column_bytes)) {
        const uint8_t* value = &in[values_at];
        const uint32_t highest = std::max({value[0], value[1], value[2]});
        const uint32_t whole = std::max(highest, 1u);  // a silent column stays black
        const uint32_t color =
            pixel(value[0] * 255 / whole, value[1] * 255 / whole, value[2] * 255 / whole, 0);
        out.put({color | alpha[highest], low[value[0]] | mid[value[1]] | high[value[2]]});
    }
}

// A word of the rgb detail without its two unused bits: the values have three bits each, first
// to third, then comes the height with five.
constexpr size_t rgb_words = 1 << 14;
constexpr uint32_t value_bits = 0x07;

uint32_t rgb_word(column_span in, size_t i) {
    return uint32_t(read_u16_be(in, 2 * i)) >> 2;
}

// A value and a height make the level of a band; 256 levels exist, numbered by both.
constexpr uint32_t level_number(uint32_t value, uint32_t height) {
    return value << 5 | height;
}

float rgb_level(size_t number) {
    return float(number >> 5) / 7.0f * (float(number & height_bits) / highest_height);
}

using level_set = std::array<bool, 256>;

// As bytes by level number. Levels that do not occur may lie above the peak and are left out.
byte_table band_table(const level_set& occurring) {
    float peak = 0;
    for (size_t i = 0; i < occurring.size(); ++i)
        if (occurring[i]) peak = std::max(peak, rgb_level(i));
    byte_table table{};
    for (size_t i = 0; i < occurring.size(); ++i)
        if (occurring[i] && peak > 0) table[i] = byte_of(rgb_level(i) / peak);
    return table;
}

std::array<byte_table, 3> band_tables(column_span in) {
    std::array<bool, rgb_words> words{};
    for (size_t i = 0; i < in.size() / 2; ++i) words[rgb_word(in, i)] = true;
    std::array<level_set, 3> levels{};
    for (uint32_t word = 0; word < rgb_words; ++word) {
        if (!words[word]) continue;
        const uint32_t height = word & height_bits;
        levels[0][level_number(word >> 11, height)] = true;
        levels[1][level_number(word >> 8 & value_bits, height)] = true;
        levels[2][level_number(word >> 5 & value_bits, height)] = true;
    }
    return {band_table(levels[0]), band_table(levels[1]), band_table(levels[2])};
}

// A column is joined from two tables that stay in the nearest cache: one by first and second
// value and height, one by third value and height. The second value is the mid band, but blue.
struct rgb_tables {
    explicit rgb_tables(const std::array<byte_table, 3>& band) {
        for (uint32_t i = 0; i < outer.size(); ++i) {
            const uint32_t first = i >> 8, second = i >> 5 & value_bits, height = i & height_bits;
            outer[i] = {pixel(first * 255 / 7, 0, second * 255 / 7, 0) | height_alpha(height),
                        three_bands(band[0][level_number(first, height)],
                                    band[1][level_number(second, height)], 0)};
        }
        for (uint32_t i = 0; i < inner.size(); ++i)
            inner[i] = {pixel(0, (i >> 5) * 255 / 7, 0, 0), three_bands(0, 0, band[2][i])};
    }

    column of(uint32_t word) const {
        const column& a = outer[word >> 8 << 5 | (word & height_bits)];
        const column& b = inner[word & 0xFF];
        return {a.rgba | b.rgba, a.bands | b.bands};
    }

    std::array<column, 2048> outer;
    std::array<column, 256> inner;
};

void decode_rgb_detail(column_span in, column_writer out) {
    const rgb_tables tables(band_tables(in));
    for (size_t i = 0; i < in.size() / 2; ++i) out.put(tables.of(rgb_word(in, i)));
}

// Three bands of a byte each: mid, high, low. Weighted, they stack up to a column's colour.

struct band_weights {
    double low, mid, high;
};

constexpr band_weights preview_weights = {0.49, 0.32, 0.25};
constexpr band_weights detail_weights = {0.4, 0.3, 0.06};

struct band_stack {
    explicit band_stack(const band_weights& weight) {
        for (size_t value = 0; value < low.size(); ++value) {
            low[value] = weight.low * double(value);
            mid[value] = weight.mid * double(value);
            high[value] = weight.high * double(value);
        }
    }
    double up_to_mid(const uint8_t* column) const { return low[column[2]] + mid[column[0]]; }
    double whole(const uint8_t* column) const { return up_to_mid(column) + high[column[1]]; }

    std::array<double, 256> low, mid, high;
};

template <const band_weights& WEIGHTS>
void decode_three_band(column_span in, column_writer out) {
    constexpr size_t column_bytes = 3;
    const band_stack stack(WEIGHTS);
    double peak = 0;
    for (size_t at = 0; at < in.size(); at += column_bytes)
        peak = std::max(peak, stack.whole(&in[at]));
    if (!(peak > 0)) peak = 1.0;

    const std::array<uint8_t, column_bytes> peaks = channel_peaks<column_bytes>(in);
    const byte_table low = fractions_of(peaks[2], 0), mid = fractions_of(peaks[0], 8),
                     high = fractions_of(peaks[1], 16);
    byte_table red;
    for (size_t value = 0; value < red.size(); ++value)
        red[value] = value <= peaks[2] ? byte_of(float(stack.low[value] / peak)) : 0;

    for (size_t at = 0; at < in.size(); at += column_bytes) {
        const uint8_t* bytes = &in[at];
        const uint32_t green = byte_of(float(stack.up_to_mid(bytes) / peak)),
                       blue = byte_of(float(stack.whole(bytes) / peak));
        out.put({pixel(red[bytes[2]], green, blue, 255),
                 low[bytes[2]] | mid[bytes[0]] | high[bytes[1]]});
    }
}

struct layout {
    std::string_view fmt;
    bool detail;
    waveform_style style;
    size_t header_bytes;  // skipped unread
    size_t column_bytes;
    void (*decode)(column_span in, column_writer out);  // `in` holds whole columns only
};

constexpr std::array<layout, 6> layouts = {{
    {"blue", false, style_blue, 0, 2, decode_blue_preview},
    {"blue", true, style_blue, 19, 1, decode_blue_detail},
    {"rgb", false, style_rgb, 28, 6, decode_rgb_preview},
    {"rgb", true, style_rgb, 28, 2, decode_rgb_detail},
    {"3band", false, style_three_band, 28, 3, decode_three_band<preview_weights>},
    {"3band", true, style_three_band, 28, 3, decode_three_band<detail_weights>},
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
    out.bands.resize(columns * 3 + 1);  // see column_writer
    found->decode(data.subspan(found->header_bytes, columns * found->column_bytes),
                  {out.rgba.data(), out.bands.data()});
    out.bands.pop_back();
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
