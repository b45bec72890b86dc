// What a waveform must never lose on its way into cells.

#include <gtest/gtest.h>

#include "fixture.h"
#include "host/monitor/blocks.h"
#include "host/monitor/detail_scroller.h"
#include "host/monitor/preview_strip.h"
#include "host/monitor/wave_bar.h"

namespace {

using namespace monitor;
using namespace monitor::test;

bool is_block(char32_t c) {
    return c >= lower_block(1) && c <= full_block;
}

int cells_with_blocks(const canvas& picture) {
    int count = 0;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) count += is_block(picture.at(x, y).glyph) ? 1 : 0;
    }
    return count;
}

deck_picture deck_with(const deckbus::waveform& preview, const deckbus::waveform& detail) {
    auto track = std::make_shared<track_picture>();
    track->preview = preview;
    track->detail = detail;
    deck_picture d;
    d.number = 1;
    d.position_ms = 0;
    d.duration_ms = 60000;
    d.track = track;
    return d;
}

TEST(detail, a_single_loud_column_is_seen_at_every_zoom_and_place) {
    for (int style : {deckbus::style_blue, deckbus::style_rgb, deckbus::style_three_band}) {
        deck_picture deck = deck_with({}, spiky_wave(style, 9000, {4321}));
        for (int zoom = 0; zoom <= view::max_zoom; ++zoom) {
            view how;
            how.zoom = zoom;
            // The loud column left of the playhead, wherever it falls in its cell.
            for (int ahead = how.columns_per_cell(); ahead < 3 * how.columns_per_cell(); ++ahead) {
                deck.position_ms = (4321.5 + ahead) / 0.15;
                canvas picture(60, 7);
                draw_detail(area(picture), deck, how);
                EXPECT_EQ(cells_with_blocks(picture), 6)
                    << "style " << style << ", zoom " << zoom << ", " << ahead << " columns later";
            }
        }
    }
}

TEST(detail, stands_still_between_two_cells_and_then_moves_by_one) {
    deck_picture deck = some_deck(1);
    view how;
    auto drawn = [&](double ms) {
        deck.position_ms = ms;
        canvas picture(61, 9);
        draw_detail(area(picture), deck, how);
        return picture;
    };
    const double cell_ms = how.columns_per_cell() / 0.15;
    const double at = 750 * cell_ms;
    EXPECT_EQ(drawn(at + 0.1), drawn(at + cell_ms * 0.9));
    const canvas now = drawn(at + 0.1), later = drawn(at + cell_ms + 0.1);
    for (int x = 10; x < 29; ++x) EXPECT_EQ(now.at(x + 1, 4), later.at(x, 4)) << x;
}

TEST(detail, downbeats_are_red_beats_white_and_cues_carry_their_comment) {
    const deck_picture deck = some_deck(1);
    view how;
    how.zoom = 3;  // 8 columns a cell: the 75 columns of a beat are 9 or 10 cells
    canvas picture(121, 9);
    draw_detail(area(picture), deck, how);
    const int downbeat = 60 + (3300 / 8 - 3000 / 8), beat = 60 + ((3075 + 4) / 8 - 3000 / 8);
    EXPECT_EQ(picture.at(downbeat, 1).ink, theme::downbeat);
    EXPECT_EQ(picture.at(beat, 1).ink, theme::beat);
    EXPECT_TRUE(shows(picture, "A Dröp 漢")) << row_text(picture, 0);
}

TEST(preview, the_loudest_columns_are_seen_at_every_width) {
    for (int width = 4; width <= 400; ++width) {
        deck_picture deck = deck_with(spiky_wave(deckbus::style_rgb, 1200, {0, 613, 1199}), {});
        deck.position_ms = -1;
        canvas picture(width, 2);
        draw_preview(area(picture), deck, {});
        int loud_in_the_middle = 0;
        for (int x = width / 3; x <= width * 2 / 3; ++x) {
            loud_in_the_middle += picture.at(x, 0).glyph == full_block ? 1 : 0;
        }
        EXPECT_EQ(loud_in_the_middle, 1) << "width " << width;
        EXPECT_EQ(picture.at(0, 0).glyph, full_block) << "width " << width;
        EXPECT_EQ(picture.at(width - 1, 0).glyph, full_block) << "width " << width;
    }
}

TEST(preview, what_has_been_played_is_darker) {
    deck_picture deck = some_deck(1);
    canvas picture(60, 1);
    draw_preview(area(picture), deck, {});
    const color played = picture.at(0, 0).ink, ahead = picture.at(59, 0).ink;
    EXPECT_LT(played.r + played.g + played.b, ahead.r + ahead.g + ahead.b);
}

TEST(wave_bar, bands_stack_with_the_low_one_in_front) {
    deckbus::waveform w = spiky_wave(deckbus::style_three_band, 1, {});
    w.rgba = {64, 128, 255, 255};
    canvas picture(1, 4);
    draw_bar_up(area(picture), 0, peak_bar(w, 0, 1), theme::ground);
    EXPECT_EQ(picture.at(0, 3).ink, theme::low);
    EXPECT_EQ(picture.at(0, 2).ink, theme::mid);
    EXPECT_EQ(picture.at(0, 1).ink, theme::high);
    EXPECT_EQ(picture.at(0, 0).ink, theme::high);
}

TEST(wave_bar, a_mirrored_bar_is_as_tall_below_as_above) {
    deckbus::waveform w = spiky_wave(deckbus::style_rgb, 1, {});
    for (int height = 0; height <= 255; ++height) {
        w.rgba = {255, 255, 255, uint8_t(height)};
        canvas picture(1, 4);
        draw_bar_mirrored(area(picture), 0, peak_bar(w, 0, 1), theme::ground);
        int above = 0, below = 0;  // eighths in ink
        for (int y = 0; y < 4; ++y) {
            const cell& c = picture.at(0, y);
            const int steps = c.glyph == U' ' ? 0 : int(c.glyph - 0x2580);
            (y < 2 ? above : below) += (c.style & style_reverse) != 0 ? eighths - steps : steps;
        }
        EXPECT_EQ(above, below) << height;
        EXPECT_EQ(above == 0, height == 0);
    }
}

TEST(wave_bar, ranges_outside_the_waveform_are_empty) {
    const deckbus::waveform w = spiky_wave(deckbus::style_rgb, 10, {9});
    EXPECT_EQ(peak_bar(w, 10, 20).count, 0);
    EXPECT_EQ(peak_bar(w, -20, 0).count, 0);
    EXPECT_EQ(peak_bar(w, 5, 5).count, 0);
    EXPECT_EQ(peak_bar(w, 9, 1000).height(), 1.0);
    EXPECT_EQ(peak_bar({}, 0, 10).count, 0);
}

}  // namespace
