// The whole picture: nothing overlaps, nothing is lost, whatever the size and the input.

#include "host/monitor/screen.h"

#include <gtest/gtest.h>
#include <png.h>

#include <cstdio>
#include <limits>

#include "fixture.h"
#include "host/monitor/format.h"
#include "host/monitor/layout.h"
#include "host/monitor/poster.h"
#include "host/monitor/terminal_text.h"

namespace {

using namespace monitor;
using namespace monitor::test;

constexpr panel_choice panels[] = {panel_choice::both, panel_choice::events, panel_choice::history,
                                   panel_choice::none};

// Counts how often each cell is claimed; a claim outside the screen fails.
class claims {
public:
    claims(int w, int h) : width(w), height(h), taken(size_t(w) * size_t(h)) {}

    bool claim(rect r) {
        if (r.width <= 0 || r.height <= 0) return true;
        if (r.x < 0 || r.y < 0 || r.x + r.width > width || r.y + r.height > height) return false;
        for (int y = r.y; y < r.y + r.height; ++y) {
            for (int x = r.x; x < r.x + r.width; ++x) {
                if (taken[size_t(y * width + x)]++ != 0) return false;
            }
        }
        return true;
    }

private:
    int width, height;
    std::vector<int> taken;
};

void check_layout(int width, int height, int decks, panel_choice panel) {
    const int shown = decks_that_fit(decks, width);
    const screen_layout l = lay_out(width, height, decks == 0 ? 0 : shown, decks, panel);
    ASSERT_FALSE(l.too_small);
    claims screen(width, height);
    ASSERT_TRUE(screen.claim(l.status) && screen.claim(l.footer));
    for (const rect& r : l.cards) {
        ASSERT_TRUE(screen.claim(r));
        ASSERT_TRUE(r.width >= least_card && r.height >= 8);
    }
    for (const rect& r : l.details) ASSERT_TRUE(screen.claim(r) && r.height >= 3);
    ASSERT_TRUE(screen.claim(l.events) && screen.claim(l.history));
}

TEST(layout, holds_at_every_size) {
    for (int width = least_width; width <= 400; width += 9) {
        for (int height = least_height; height <= 120; ++height) {
            for (int decks = 0; decks <= 4; ++decks) {
                for (panel_choice panel : panels) {
                    check_layout(width, height, decks, panel);
                    if (testing::Test::HasFatalFailure()) {
                        FAIL() << width << "x" << height << ", " << decks << " decks";
                    }
                }
            }
        }
    }
}

TEST(layout, below_the_minimum_it_says_so) {
    EXPECT_TRUE(lay_out(least_width - 1, 50, 2, 2, panel_choice::both).too_small);
    EXPECT_TRUE(lay_out(100, least_height - 1, 2, 2, panel_choice::both).too_small);
    for (int width = 0; width < least_width; ++width) {
        draw_screen(some_set(2), {}, width, width / 4);  // must not fail, however small
    }
    EXPECT_TRUE(shows(draw_screen(some_set(2), {}, 38, 9), "38x9, needs 40x10"));
}

TEST(screen, shows_what_matters_at_usual_sizes) {
    const struct { int width, height; } sizes[] = {{80, 24}, {120, 35}, {160, 48}, {220, 60}};
    for (const auto& size : sizes) {
        SCOPED_TRACE(size.width);
        const canvas picture = draw_screen(some_set(2), {}, size.width, size.height);
        for (const char* words : {"Night Bus", "Am", " MASTER ", " ON AIR ", "0:20.0", "-0:40.0",
                                  "CUE 03.0", "Verse 1  24 beats ▸ Outro", "A Dröp", "quit"}) {
            EXPECT_TRUE(shows(picture, words)) << words;
        }
    }
}

TEST(screen, decks_stand_as_on_a_mixer) {
    struct row {
        int decks;
        std::vector<int> order;
    };
    const row rows[] = {{2, {1, 2}}, {3, {3, 1, 2}}, {4, {3, 1, 2, 4}}, {6, {5, 3, 1, 2, 4, 6}}};
    for (const row& r : rows) {
        const std::string heads = row_text(draw_screen(some_set(r.decks), {}, 200, 40), 1);
        size_t from = 0;
        for (int n : r.order) {
            const size_t at = heads.find(formatted(" %d  PLAYER", n), from);
            ASSERT_NE(at, std::string::npos) << "deck " << n << " in " << heads;
            from = at + 1;
        }
    }
}

TEST(screen, a_deck_that_is_not_heard_is_dim_if_that_is_known) {
    set_picture set = some_set(2);
    set.decks[1].on_air = false;
    auto brightness = [](const canvas& picture, int x) {
        const color ink = picture.at(x, 2).ink;
        return ink.r + ink.g + ink.b;
    };
    canvas picture = draw_screen(set, {}, 100, 30);
    EXPECT_LT(brightness(picture, 53), brightness(picture, 2) * 0.7);
    set.air_known = false;
    picture = draw_screen(set, {}, 100, 30);
    EXPECT_EQ(brightness(picture, 53), brightness(picture, 2));
}

TEST(screen, phase_is_measured_the_short_way_round) {
    struct row {
        double deck, master, ahead;
    };
    for (const row& r : {row{0.3, 0.2, 0.1}, row{0.05, 0.95, 0.1}, row{0.95, 0.05, -0.1}}) {
        set_picture set = some_set(2);
        set.master_phase = r.master;
        set.decks[1].beat_phase = r.deck;
        double ahead = 0;
        EXPECT_TRUE(phase_against_master(set.decks[1], set, ahead));
        EXPECT_NEAR(ahead, r.ahead, 1e-9);
    }
}

// A deck as a hostile or broken bridge could make it.
deck_picture absurd_deck() {
    deck_picture d = some_deck(64);
    auto track = some_track();
    track->title = "\x1b]0;owned\x07\xff\xfe漢字漢字漢字漢字漢字漢字漢字漢字漢字漢字漢字漢字漢字";
    track->cues.push_back({"hot", 255, 4000000000, 1, std::string(5000, 'x'), {}, false});
    track->cues.push_back({"loop", 0, 0, 4294967295, "", {}, false});
    track->phrases.push_back({65535, 1, "", "", false});
    track->phrases.push_back({-5, 2000000000, "\x1b[31m", "?", true});
    std::swap(track->grid.time_ms.front(), track->grid.time_ms.back());
    d.track = track;
    d.beat = std::numeric_limits<int>::max();
    d.beat_in_bar = -7;
    d.beats_to_cue = std::numeric_limits<int>::max();
    d.position_ms = 3.6e8;
    d.duration_ms = 1;
    d.name = std::string(300, 'n');
    return d;
}

TEST(screen, no_input_breaks_it_and_no_control_reaches_a_cell) {
    set_picture set = some_set(1);
    set.decks.push_back(absurd_deck());
    set.decks.push_back(deck_picture{});
    set.link.status = "\x1b[2J";
    for (int width = least_width; width <= 240; width += 13) {
        for (int height = least_height; height <= 60; height += 3) {
            view how;
            how.zoom = (width + height) % (view::max_zoom + 1);
            how.help = height % 2 == 0;
            const canvas picture = draw_screen(set, how, width, height);
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < width; ++x) {
                    const char32_t c = picture.at(x, y).glyph;
                    ASSERT_TRUE(c == 0 || code_point_width(c) > 0) << uint32_t(c);
                }
            }
        }
    }
    draw_poster(set);
}

std::vector<uint8_t> read_png(const std::string& path, int width, int height) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) return {};
    image.format = PNG_FORMAT_RGB;
    std::vector<uint8_t> pixels(PNG_IMAGE_SIZE(image));
    png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr);
    const bool expected = int(image.width) == width && int(image.height) == height;
    return expected ? pixels : std::vector<uint8_t>();
}

TEST(poster, shows_the_waveform_and_comes_back_from_its_file) {
    const raster picture = draw_poster(some_set(2));
    int high = 0;
    for (int y = 100; y < 240; ++y) {
        for (int x = 0; x < 700; ++x) high += picture.at(x, y) == theme::high ? 1 : 0;
    }
    EXPECT_EQ(high, 0) << "silence before the playhead";
    set_picture set = some_set(2);
    for (deck_picture& d : set.decks) d.position_ms = 20200;
    const raster later = draw_poster(set);
    for (int y = 100; y < 240; ++y) {
        for (int x = 0; x < 800; ++x) high += later.at(x, y) == theme::low ? 1 : 0;
    }
    EXPECT_GT(high, 50) << "the loud column has passed it";

    const std::string path = testing::TempDir() + "tavro_poster_test.png";
    std::string error;
    ASSERT_TRUE(write_png(picture, path, error)) << error;
    EXPECT_EQ(read_png(path, picture.width(), picture.height()), picture.bytes());
    std::remove(path.c_str());
    EXPECT_FALSE(write_png(picture, "/nonexistent/x.png", error));
    EXPECT_NE(error.find("/nonexistent/x.png"), std::string::npos);
}

}  // namespace
