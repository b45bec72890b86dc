#include "track/waveform.h"

#include "blob_writer.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>

using namespace deckbus;
using namespace deckbus::test;

namespace {

struct layout {
    const char* fmt;
    bool detail;
    size_t header, column;
    int32_t style;
};

constexpr layout layouts[] = {
    {"blue", false, 0, 2, style_blue},         {"blue", true, 19, 1, style_blue},
    {"rgb", false, 28, 6, style_rgb},          {"rgb", true, 28, 2, style_rgb},
    {"3band", false, 28, 3, style_three_band}, {"3band", true, 28, 3, style_three_band},
};

TEST(waveform, sizes) {
    for (const layout& l : layouts) {
        SCOPED_TRACE(std::string(l.fmt) + (l.detail ? " detail" : " preview"));
        for (size_t length = 0; length < l.header + 3 * l.column; ++length) {
            const waveform wave = decode_waveform(bytes(length, 0xFF), l.fmt, l.detail);
            const size_t columns = length < l.header ? 0 : (length - l.header) / l.column;
            EXPECT_EQ(size_t(wave.columns), columns) << length;
            EXPECT_EQ(wave.rgba.size(), columns * 4);
            EXPECT_EQ(wave.bands.size(), columns * 3);
            EXPECT_EQ(wave.style, l.style);
            EXPECT_STREQ(wave.style_name(), l.fmt);
        }
    }
}

TEST(waveform, unknown_words) {
    for (const char* fmt : {"", "RGB", "Blue", "3band ", "3ban", "png"}) {
        const waveform wave = decode_waveform(bytes(100, 0xFF), fmt, true);
        EXPECT_EQ(wave.style, style_none) << fmt;
        EXPECT_EQ(wave.columns, 0) << fmt;
        EXPECT_STREQ(wave.style_name(), "");
    }
}

TEST(waveform, columns) {
    struct row {
        const char* what;
        const char* fmt;
        bool detail;
        bytes columns, rgba, bands;
    };
    const row rows[] = {
        {"blue preview: whiteness turns at 5, other bits are ignored",
         "blue",
         false,
         {0xFF, 0xFC, 0x1F, 0x05, 0x00, 0x04, 0xEA, 0x07},
         {0x2B, 0x59, 0xFF, 255, 0x74, 0xF6, 0xF4, 255, 0x2B, 0x59, 0xFF, 0, 0x74, 0xF6, 0xF4, 82},
         {255, 255, 255, 255, 255, 255, 0, 0, 0, 82, 82, 82}},
        {"blue detail: bands by the peak, alpha by the scale",
         "blue",
         true,
         {0x05, 0x2A, 0xE0, 0x80},
         {0, 0x68, 0x90, 41, 0, 0x88, 0xB0, 82, 0xC8, 0xE0, 0xE8, 0, 0x78, 0xB8, 0xD8, 0},
         {128, 128, 128, 255, 255, 255, 0, 0, 0, 0, 0, 0}},
        {"rgb preview: colour by the column, alpha by the track",
         "rgb",
         false,
         {9, 9, 9, 100, 50, 33, 9, 9, 9, 0, 0, 0, 9, 9, 9, 20, 200, 3},
         {255, 127, 84, 128, 0, 0, 0, 0, 25, 255, 3, 255},
         {255, 64, 255, 0, 0, 0, 51, 255, 23}},
        {"rgb detail: green and blue change places",
         "rgb",
         true,
         {0xE0, 0x7C, 0x1C, 0x7F, 0x03, 0xC0, 0x00, 0x00},
         {255, 0, 0, 255, 0, 0, 255, 255, 0, 255, 0, 132, 0, 0, 0, 0},
         {255, 0, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0}},
        {"rgb detail: bands are scaled by the height",
         "rgb",
         true,
         {0xE0, 0x7C, 0xE0, 0x3C, 0x60, 0x7C},
         {255, 0, 0, 255, 255, 0, 0, 123, 109, 0, 0, 255},
         {255, 0, 0, 123, 0, 0, 109, 0, 0}},
        {"3band preview: mid, high, low",
         "3band",
         false,
         {0, 0, 200, 100, 0, 0, 0, 40, 0, 200, 40, 100},
         {203, 203, 203, 255, 0, 66, 66, 255, 0, 0, 21, 255, 102, 234, 255, 255},
         {255, 0, 0, 0, 128, 0, 0, 0, 255, 128, 255, 255}},
        {"3band detail: other weights",
         "3band",
         true,
         {0, 0, 255, 255, 255, 255},
         {134, 134, 134, 255, 134, 235, 255, 255},
         {255, 0, 0, 255, 255, 255}},
        {"silence in rgb preview", "rgb", false, bytes(6), bytes(4), bytes(3)},
        {"silence in rgb detail", "rgb", true, bytes(2), bytes(4), bytes(3)},
        {"silence in 3band", "3band", true, bytes(3), {0, 0, 0, 255}, bytes(3)},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        for (const layout& l : layouts) {
            if (std::string(r.fmt) != l.fmt || r.detail != l.detail) continue;
            bytes data(l.header, 0xFF);
            data.insert(data.end(), r.columns.begin(), r.columns.end());
            const waveform wave = decode_waveform(data, l.fmt, l.detail);
            EXPECT_EQ(wave.rgba, r.rgba);
            EXPECT_EQ(wave.bands, r.bands);
            EXPECT_EQ(wave.is_detail, l.detail);
        }
    }
}

// The layouts once more, column by column and by the book, without tables and passes.
struct plain_decoder {
    std::vector<std::array<float, 3>> raw;
    std::vector<std::array<uint8_t, 4>> rgba;

    static uint8_t level(float quotient) {
        return uint8_t(std::clamp(std::round(double(quotient) * 255.0), 0.0, 255.0));
    }

    void rgb_detail(const bytes& in, size_t at) {
        const int word = in[at] << 8 | in[at + 1];
        const int first = word >> 13 & 7, second = word >> 10 & 7, third = word >> 7 & 7;
        const float h = float(word >> 2 & 31) / 31.0f;
        raw.push_back({float(first) / 7.0f * h, float(second) / 7.0f * h, float(third) / 7.0f * h});
        rgba.push_back({uint8_t(first * 255 / 7), uint8_t(third * 255 / 7),
                        uint8_t(second * 255 / 7), level(h)});
    }

    void three_band(const bytes& in, size_t at, double peak) {
        const double a = 0.4 * in[at + 2], b = a + 0.3 * in[at], c = b + 0.06 * in[at + 1];
        raw.push_back({float(in[at + 2]), float(in[at]), float(in[at + 1])});
        rgba.push_back(
            {level(float(a / peak)), level(float(b / peak)), level(float(c / peak)), 255});
    }

    std::array<uint8_t, 3> bands(size_t column) const {
        std::array<uint8_t, 3> out{};
        for (size_t band = 0; band < 3; ++band) {
            float peak = 0;
            for (const auto& column_levels : raw) peak = std::max(peak, column_levels[band]);
            if (peak > 0) out[band] = level(raw[column][band] / peak);
        }
        return out;
    }
};

void expect_equal(const waveform& wave, const plain_decoder& plain) {
    ASSERT_EQ(size_t(wave.columns), plain.raw.size());
    for (size_t i = 0; i < plain.raw.size(); ++i) {
        const auto bands = plain.bands(i);
        for (size_t band = 0; band < 3; ++band) ASSERT_EQ(wave.bands[3 * i + band], bands[band]);
        for (size_t k = 0; k < 4; ++k) ASSERT_EQ(wave.rgba[4 * i + k], plain.rgba[i][k]) << i;
    }
}

TEST(waveform, fast_details_agree_with_plain_ones) {
    std::mt19937 random(7);
    for (int loudest = 8; loudest <= 256; loudest *= 2) {
        for (const size_t columns : {1, 17, 700}) {
            bytes in(28 + columns * 3);
            for (uint8_t& b : in) b = uint8_t(random() % uint32_t(loudest));
            double peak = 0;
            for (size_t at = 28; at < in.size(); at += 3)
                peak = std::max(peak, 0.4 * in[at + 2] + 0.3 * in[at] + 0.06 * in[at + 1]);
            plain_decoder bands, words;
            for (size_t at = 28; at < in.size(); at += 3)
                bands.three_band(in, at, peak > 0 ? peak : 1.0);
            for (size_t at = 28; at + 2 <= in.size(); at += 2) words.rgb_detail(in, at);
            expect_equal(decode_waveform(in, "3band", true), bands);
            expect_equal(decode_waveform(in, "rgb", true), words);
        }
    }
}

TEST(waveform, levels) {
    waveform wave;
    wave.columns = 3;
    wave.bands = {10, 0, 255, 51, 0, 0, 20, 102, 0};
    struct row {
        int center, radius;
        std::array<float, 3> levels;
    };
    const float low = 51 / 255.0f, mid = 102 / 255.0f;
    const row rows[] = {
        {0, 0, {10 / 255.0f, 0, 1}},
        {1, 1, {low, mid, 1}},
        {-1, 1, {10 / 255.0f, 0, 1}},
        {4, 2, {20 / 255.0f, mid, 0}},
        {4, 1, {0, 0, 0}},
        {-2, 1, {0, 0, 0}},
        {1, -1, {0, 0, 0}},
        {2147483647, 2147483647, {low, mid, 1}},
        {-2147483647, 2147483647, {10 / 255.0f, 0, 1}},
    };
    for (const row& r : rows) {
        std::array<float, 3> out = {7, 7, 7};
        wave.levels(r.center, r.radius, out);
        EXPECT_EQ(out, r.levels) << r.center << " +- " << r.radius;
        waveform().levels(r.center, r.radius, out);
        EXPECT_EQ(out, (std::array<float, 3>{}));
    }
}

}  // namespace
