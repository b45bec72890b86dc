// `tavro texture`: a texture's columns as bars, its marks as lines.

#include "host/texture_picture.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "../support/scratch.h"
#include "../support/tavro_process.h"
#include "host/monitor/theme.h"

using monitor::color;

namespace {

constexpr int width = 4096, stripe = 124, middle = 48, below = 96;

// Two rows of detail, their marks, a preview and its marks.
class texture_picture : public testing::Test {
protected:
    void put(int row, int x, std::array<uint8_t, 4> pixel) {
        std::copy(pixel.begin(), pixel.end(), &pixels[size_t(row * width + x) * 4]);
    }
    monitor::raster draw(int32_t detail, int32_t preview) const {
        return host::draw_texture(pixels, {width, 6, 2, width + 10, 1200}, detail, preview);
    }

    std::vector<uint8_t> pixels = std::vector<uint8_t>(size_t(width) * 6 * 4);
};

TEST_F(texture_picture, bars_are_as_high_as_the_style_says) {
    put(0, 5, {200, 10, 10, 255});
    put(1, 9, {10, 200, 10, 128});
    put(1, 10, {10, 200, 10, 255});  // behind the last column
    put(4, 7, {51, 102, 204, 255});
    const auto picture = draw(deckbus::style_rgb, deckbus::style_three_band);
    const color ground = picture.at(width - 1, 3 * stripe - 1);
    EXPECT_EQ(picture.width(), width);
    EXPECT_EQ(picture.height(), 3 * stripe);
    EXPECT_EQ(picture.at(5, 0), (color{200, 10, 10}));
    EXPECT_EQ(picture.at(9, stripe + middle), (color{10, 200, 10}));
    EXPECT_EQ(picture.at(9, stripe + 20), ground);
    EXPECT_EQ(picture.at(10, stripe + middle), ground);
    const int preview = 2 * stripe;
    EXPECT_EQ(picture.at(7, preview + middle), monitor::theme::low);
    EXPECT_EQ(picture.at(7, preview + middle - 15), monitor::theme::mid);
    EXPECT_EQ(picture.at(7, preview + middle - 30), monitor::theme::high);
    EXPECT_EQ(picture.at(7, preview + 2), ground);
}

TEST_F(texture_picture, marks_stand_below_and_points_across) {
    put(2, 20, {0, 0, 0, deckbus::marker_beat});
    put(2, 40, {0, 0, 0, deckbus::marker_beat | deckbus::marker_downbeat});
    put(3, 3, {9, 8, 7, deckbus::marker_point | deckbus::marker_loop});
    const auto picture = draw(deckbus::style_rgb, deckbus::style_rgb);
    const color ground = picture.at(0, 0);
    EXPECT_NE(picture.at(20, below), ground);
    EXPECT_EQ(picture.at(20, below + 8), ground);
    EXPECT_NE(picture.at(40, below + 8), ground);
    EXPECT_EQ(picture.at(3, stripe + 1), (color{9, 8, 7}));
    EXPECT_EQ(picture.at(3, 1), ground);
}

TEST(texture, is_written_or_told_why_not) {
    const test_support::scratch folder;
    const std::string file = folder.path("texture.png");
    const auto found =
        host::test::run({"texture", EXAMPLE_RECORDING, "--deck", "1", "--at", "20", "-o", file});
    EXPECT_EQ(found.out, "deck 1, 1:3:101, 4096 x 496 pixels\n");
    EXPECT_GT(std::filesystem::file_size(file), 1000u);
    EXPECT_EQ(host::test::run({"texture", EXAMPLE_RECORDING, "--at", "0", "-o", file}).err,
              "tavro: No waveform there and then\n");
    EXPECT_EQ(host::test::run({"texture", EXAMPLE_RECORDING, "-o", "/nowhere/x.png"}).status, 1);
}

}  // namespace
