#include "host/monitor/screen_writer.h"

#include <gtest/gtest.h>

#include <random>

#include "emulated_screen.h"

namespace {

using namespace monitor;

struct depth_row {
    const char* what;
    color_depth depth;
};

constexpr depth_row depths[] = {{"none", color_depth::none},
                                {"16", color_depth::ansi16},
                                {"256", color_depth::ansi256},
                                {"truecolor", color_depth::truecolor}};

// Words in all sorts of glyphs thrown at random places; wide ones may overwrite each other.
void scribble(canvas& on, std::mt19937& random) {
    const char* words[] = {"deck", "漢字 かな", "e\xCC\x81tude", "█▇▆▅", "  ", "x"};
    auto below = [&random](int n) { return int(random() % unsigned(n)); };
    for (int i = 0; i < 12; ++i) {
        const color ink{uint8_t(below(256)), uint8_t(below(256)), uint8_t(below(256))};
        const color ground{uint8_t(below(256)), uint8_t(below(64)), uint8_t(below(64))};
        area(on).put(below(on.width()), below(on.height()), words[below(6)],
                     {ink, ground, uint8_t(below(8))});
    }
}

TEST(screen_writer, updates_give_the_same_screen_as_drawing_it_whole) {
    for (const depth_row& row : depths) {
        SCOPED_TRACE(row.what);
        std::mt19937 random(7);
        canvas shown;
        emulated_screen followed(24, 6);
        for (int step = 0; step < 200; ++step) {
            canvas next = step % 50 == 0 ? canvas(24, 6) : shown;
            scribble(next, random);
            ASSERT_TRUE(followed.apply(screen_update(shown, next, row.depth)));
            emulated_screen fresh(24, 6);
            ASSERT_TRUE(fresh.apply(screen_update(canvas(), next, row.depth)));
            for (int i = 0; i < 24 * 6; ++i) {
                ASSERT_EQ(followed.at(i % 24, i / 24), fresh.at(i % 24, i / 24))
                    << "step " << step << ", column " << i % 24 << ", row " << i / 24;
            }
            shown = next;
        }
    }
}

TEST(screen_writer, writes_nothing_that_the_eye_would_not_see) {
    canvas before(20, 3), after(20, 3);
    area(before).put(2, 1, "tempo", {{200, 10, 10}, theme::ground, style_plain});
    area(after).put(2, 1, "tempo", {{201, 10, 10}, theme::ground, style_plain});
    EXPECT_EQ(screen_update(before, before, color_depth::truecolor), "");
    EXPECT_EQ(screen_update(before, after, color_depth::ansi256), "");
    EXPECT_EQ(screen_update(before, after, color_depth::ansi16), "");
    EXPECT_NE(screen_update(before, after, color_depth::truecolor), "");
}

TEST(screen_writer, writes_changed_cells_only) {
    canvas before(200, 50);
    canvas after = before;
    area(after).put(190, 49, "1:07", {});
    emulated_screen screen(200, 50);
    ASSERT_TRUE(screen.apply(screen_update(before, after, color_depth::truecolor)));
    EXPECT_EQ(screen.glyphs_written, 4);
    EXPECT_EQ(screen.at(193, 49).text, "7");
}

TEST(screen_writer, without_colors_no_color_is_sent_and_badges_stay_visible) {
    canvas picture(10, 1);
    area(picture).put(0, 0, "1", {theme::ground, theme::playing, style_badge});
    emulated_screen screen(10, 1);
    ASSERT_TRUE(screen.apply(screen_update(canvas(), picture, color_depth::none)));
    EXPECT_TRUE(screen.at(0, 0).reverse);
    EXPECT_EQ(screen.at(0, 0).ink + screen.at(0, 0).ground, "");
}

TEST(screen_writer, quiet_ink_stays_legible_in_16_colors) {
    canvas picture(4, 1);
    area(picture).put(0, 0, "e", {{40, 40, 44}, theme::ground, style_plain});
    emulated_screen screen(4, 1);
    ASSERT_TRUE(screen.apply(screen_update(canvas(), picture, color_depth::ansi16)));
    EXPECT_EQ(screen.at(0, 0).ground, "40");
    EXPECT_EQ(screen.at(0, 0).ink, "90");
}

}  // namespace
