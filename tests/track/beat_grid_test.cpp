#include "track/beat_grid.h"

#include "blob_writer.h"

#include <gtest/gtest.h>

using namespace deckbus;
using namespace deckbus::test;

namespace {

TEST(beat_grid, sizes) {
    struct row {
        size_t length, beats;
    };
    for (const row& r : {row{0, 0}, {19, 0}, {20, 0}, {35, 0}, {36, 1}, {51, 1}, {52, 2}}) {
        const beat_grid grid = decode_grid(bytes(r.length));
        EXPECT_EQ(grid.beats(), r.beats) << r.length;
        EXPECT_EQ(grid.bar_beat.size(), r.beats);
        EXPECT_EQ(grid.bpm_x100.size(), r.beats);
    }
}

TEST(beat_grid, fields_and_times) {
    blob_writer blob;
    blob.zeros(20);
    blob.u16_le(0x0304).u16_le(12850).u32_le(25).zeros(8);
    blob.u16_le(0x0301).u16_le(65535).u32_le(0xFFFFFFFF).zeros(8);
    const beat_grid grid = decode_grid(blob.data);
    EXPECT_EQ(grid.bar_beat, (std::vector<uint8_t>{4, 1}));
    EXPECT_EQ(grid.bpm_x100, (std::vector<uint16_t>{12850, 65535}));

    struct row {
        int64_t beat;
        double ms;
    };
    const row rows[] = {{-3, -1.0},        {0, -1.0},         {1, 25.0},
                        {2, 4294967295.0}, {3, 4294967295.0}, {int64_t(1) << 40, 4294967295.0}};
    for (const row& r : rows) EXPECT_EQ(grid.time_of(r.beat), r.ms) << r.beat;
    EXPECT_EQ(beat_grid().time_of(1), -1.0);
}

}  // namespace
