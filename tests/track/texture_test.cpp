#include <gtest/gtest.h>

#include "track/track.h"

using namespace deckbus;

namespace {

waveform make_wave(int32_t columns) {
    waveform out;
    out.style = style_rgb;
    out.columns = columns;
    out.bands.resize(size_t(columns) * 3);
    out.rgba.resize(size_t(columns) * 4);
    for (size_t i = 0; i < out.rgba.size(); ++i) out.rgba[i] = uint8_t(i * 7 + i / 256);
    return out;
}

using pixel = std::array<uint8_t, 4>;

struct image {
    explicit image(const deck_layout& size) : data(size_t(size.width * size.height) * 4) {}

    void put(size_t row, size_t x, pixel value) {
        std::copy(value.begin(), value.end(), data.begin() + long((row * 4096 + x) * 4));
    }

    bytes data;
};

pixel pixel_at(const bytes& texture, size_t row, size_t x) {
    pixel out{};
    std::copy_n(texture.begin() + long((row * 4096 + x) * 4), 4, out.begin());
    return out;
}

void add_beat(track& t, uint8_t bar_beat, uint32_t ms) {
    t.grid.bar_beat.push_back(bar_beat);
    t.grid.bpm_x100.push_back(12000);
    t.grid.time_ms.push_back(ms);
}

TEST(texture, layout) {
    struct row {
        int32_t detail, preview, rows, height, preview_count;
    };
    const row rows[] = {
        {0, 1200, 1, 4, 1200},       {1, 0, 1, 4, 0},
        {4096, 4096, 1, 4, 4096},    {4097, 4097, 2, 6, 4096},
        {54000, 5000, 14, 30, 4096},
    };
    for (const row& r : rows) {
        track t;
        t.detail = make_wave(r.detail);
        t.preview = make_wave(r.preview);
        const deck_layout size = t.layout();
        EXPECT_EQ(size.width, 4096);
        EXPECT_EQ(size.rows, r.rows);
        EXPECT_EQ(size.height, r.height);
        EXPECT_EQ(size.detail_count, r.detail);
        EXPECT_EQ(size.preview_count, r.preview_count);
        EXPECT_EQ(t.texture().size(), size_t(4096 * r.height) * 4);
    }
}

// The whole image of a small track, pixel by pixel: 4100 columns are 27333 ms.
TEST(texture, whole_image) {
    track t;
    t.detail = make_wave(4100);
    t.preview = make_wave(100);
    add_beat(t, 1, 0);
    add_beat(t, 2, 10);     // 1.5 columns, rounded up
    add_beat(t, 3, 27306);  // column 4096, in the second row
    add_beat(t, 1, 27330);  // column 4100, behind the last
    t.cues = {{"memory", 0, 0, -1, {}, {}, false},
              {"hotloop", 1, 27300, 99000, {}, {1, 2, 3}, true}};

    image expected(t.layout());
    std::copy(t.detail.rgba.begin(), t.detail.rgba.end(), expected.data.begin());
    expected.put(2, 0, {0xE6, 0x28, 0x28, 0xE0});
    expected.put(2, 2, {0, 0, 0, 0x80});
    expected.put(2, 4095, {1, 2, 3, 0x30});
    expected.put(3, 0, {0, 0, 0, 0x90});
    expected.put(3, 1, {0, 0, 0, 0x10});
    expected.put(3, 2, {0, 0, 0, 0x10});
    expected.put(3, 3, {1, 2, 3, 0x30});
    std::copy(t.preview.rgba.begin(), t.preview.rgba.end(), expected.data.begin() + 4 * 4096 * 4);
    expected.put(5, 0, {0xE6, 0x28, 0x28, 0x20});
    expected.put(5, 99, {1, 2, 3, 0x30});
    EXPECT_EQ(t.texture(), expected.data);
}

TEST(texture, loops) {
    struct row {
        const char* what;
        std::vector<std::pair<int64_t, int64_t>> loops;  // ms, end_ms
        std::string marks;  // a column each: . none, l loop, p point, b both
    };
    const row rows[] = {
        {"one", {{0, 20}}, "bllb......"},
        {"two apart", {{0, 10}, {40, 50}}, "blb...blb."},
        {"overlapping", {{0, 30}, {20, 50}}, "bllblbllb."},
        {"inner", {{0, 50}, {20, 30}}, "bllblbllb."},
        {"not sorted", {{40, 50}, {0, 50}}, "blllllblb."},
        {"to the end and beyond", {{40, 5000}}, "......bllb"},
        {"wholly behind", {{400, 500}}, ".........p"},
        {"before the start", {{-20, 20}}, "lllb......"},
        {"end before the start", {{40, 30}}, "......p..."},
        {"no loop", {{40, -1}}, "......p..."},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        track t;
        t.detail = make_wave(10);
        for (const auto& [ms, end_ms] : r.loops)
            t.cues.push_back({"loop", 0, ms, end_ms, {}, {}, false});
        const bytes texture = t.texture();
        std::string marks;
        for (size_t x = 0; x < 10; ++x) marks += ".lpb"[pixel_at(texture, 1, x)[3] >> 4];
        EXPECT_EQ(marks, r.marks);
    }
}

TEST(texture, preview_shows_the_best_of_its_columns) {
    track t;
    t.preview = make_wave(5000);
    std::fill(t.preview.rgba.begin(), t.preview.rgba.end(), uint8_t(0));
    const auto set = [&](size_t column, pixel value) {
        std::copy(value.begin(), value.end(), t.preview.rgba.begin() + long(column * 4));
    };
    // Pixel x shows column x * 5000 / 4096 and, where that leaves one out, the next as well.
    set(3, {1, 1, 1, 1});
    set(4, {2, 2, 2, 200});
    set(5, {3, 3, 3, 100});  // less alpha, more blue: takes the place
    set(10, {4, 4, 50, 100});
    set(11, {5, 5, 40, 101});  // more alpha, less blue: takes it too
    set(15, {6, 6, 50, 100});
    set(16, {7, 7, 50, 100});  // no better
    const bytes texture = t.texture();
    EXPECT_EQ(pixel_at(texture, 2, 3), (pixel{1, 1, 1, 1}));
    EXPECT_EQ(pixel_at(texture, 2, 4), (pixel{3, 3, 3, 100}));
    EXPECT_EQ(pixel_at(texture, 2, 9), (pixel{5, 5, 40, 101}));
    EXPECT_EQ(pixel_at(texture, 2, 13), (pixel{6, 6, 50, 100}));
}

TEST(texture, preview_markers_need_a_duration) {
    track t;
    t.preview = make_wave(100);
    t.cues = {{"hotloop", 1, 5000, 7000, {}, {}, false}};
    struct row {
        json dur;
        std::string marks;  // of pixels 0, 49, 50, 51, 70, 71, 99
    };
    const row rows[] = {
        {nullptr, "......."}, {"10", "......."},   {0, "......."},     {-1, "......."},
        {10, "..bll.."},      {1e-300, "......."}, {1e300, "b......"}, {6, "......l"},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.dur.dump());
        t.meta = {{"dur", r.dur}};
        const bytes texture = t.texture();
        std::string marks;
        for (const size_t x : {0, 49, 50, 51, 70, 71, 99})
            marks += ".lpb"[pixel_at(texture, 3, x)[3] >> 4];
        EXPECT_EQ(marks, r.marks);
    }
}

}  // namespace
