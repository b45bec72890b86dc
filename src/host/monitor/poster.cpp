#include "host/monitor/poster.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "host/monitor/cue_marks.h"
#include "host/monitor/format.h"
#include "host/monitor/preview_strip.h"
#include "host/monitor/wave_bar.h"

namespace monitor {

namespace {

constexpr int margin = 24, gap = 12;
constexpr int small = 2, medium = 3, large = 6;  // text scales
constexpr int head_height = 68, detail_height = 128, marks_height = 18, preview_height = 72,
              ruler_height = 18, strip_height = 24;
constexpr int deck_height = gap + head_height + gap + detail_height + gap + marks_height +
                            preview_height + ruler_height + strip_height + gap;
constexpr color ground = theme::panel;
constexpr int inside_width = poster_width - 2 * margin - 2 * gap;

class deck_drawing {
public:
    deck_drawing(raster& r, const deck_picture& d, int top_y)
        : on(r), deck(d), left(margin + gap), top(top_y) {}

    void draw() {
        on.fill({margin, top, poster_width - 2 * margin, deck_height}, ground);
        int y = top + gap;
        draw_head(y);
        y += head_height + gap;
        draw_detail(y);
        y += detail_height + gap;
        if (!deck.track) return;
        draw_cues(y);
        y += marks_height;
        draw_preview(y);
        y += preview_height;
        draw_minutes(y);
        draw_phrases(y + ruler_height);
    }

private:
    void draw_head(int y) {
        constexpr int badge = 56;
        on.fill({left, y, badge, badge}, deck.playing ? theme::playing : theme::stopped);
        const std::string number = std::to_string(deck.number);
        on.text(left + (badge - pixel_width(number, large)) / 2, y + 7, number, large,
                theme::ground);
        const int x = left + badge + 2 * gap, end = draw_tempo(y);
        const bool named = deck.track && !deck.track->title.empty();
        on.text(x, y, named ? deck.track->title : deck.track_id, medium, theme::ink, end - x);
        if (deck.track) on.text(x, y + 30, deck.track->artist, small, theme::soft, end - x);
        draw_marks(x, y + 52);
    }

    // Tempo, pitch and times at the right. The x where they begin.
    int draw_tempo(int y) {
        const int right = left + inside_width;
        const color ink = deck.master ? theme::master : theme::bright;
        int x = on.text_right(right, y, tempo_text(deck.effective_bpm), large, ink);
        const std::string key = deck.track ? deck.track->key : std::string();
        on.text_right(right, y + 52, tempo_text(deck.bpm) + " " + pitch_text(deck.pitch), small,
                      theme::soft);
        x -= 2 * gap;
        const double remaining =
            deck.position_ms >= 0 ? std::max(deck.duration_ms - deck.position_ms, 0.0) : -1;
        const int times =
            on.text_right(x, y, time_text_tenths(deck.position_ms), medium, theme::ink);
        on.text_right(x, y + 30, formatted("-%s", time_text_tenths(remaining).c_str()), small,
                      theme::soft);
        on.text_right(x, y + 52, key, small, theme::good);
        return times - 2 * gap;
    }

    void draw_marks(int x, int y) {
        struct mark {
            const char* name;
            bool on;
            color tint;
        };
        const mark marks[] = {{"MASTER", deck.master, theme::master},
                              {"SYNC", deck.sync, theme::sync},
                              {"ON AIR", deck.on_air, theme::on_air}};
        for (const mark& m : marks) {
            x = on.text(x, y, m.name, small, m.on ? m.tint : theme::rule) + gap;
        }
        for (int i = 0; i < 4; ++i) {
            const color tint = i == 0 ? theme::downbeat : theme::beat;
            const bool lit = deck.beat_in_bar == i + 1;
            on.fill({x + i * 30, y, 24, 14}, lit ? tint : mix(ground, tint, 0.15));
        }
    }

    // A bar in the pixel column x: from the foot upward, or both ways from the middle.
    void draw_bar(int x, int foot, int height, const wave_bar& bar, bool mirrored) {
        for (int i = 0; i < bar.count; ++i) {
            const wave_layer& layer = bar.layers[size_t(i)];
            const int h = int(std::lround(layer.height * height));
            on.fill({x, foot - h, 1, mirrored ? 2 * h : h}, layer.tint);
        }
    }

    // One pixel is one column of the detail; the playhead stands in the middle.
    void draw_detail(int y) {
        on.fill({left, y, inside_width, detail_height}, theme::ground);
        const int middle = y + detail_height / 2;
        if (deck.track) {
            const int64_t first = detail_first();
            for (int x = 0; x < inside_width; ++x) {
                const wave_bar bar = peak_bar(deck.track->detail, first + x, first + x + 1);
                draw_bar(left + x, middle, detail_height / 2 - 6, bar, true);
            }
            draw_beats(y, first);
            draw_detail_cues(y, first);
        }
        on.fill({left + inside_width / 2 - 1, y, 3, detail_height}, theme::playhead);
    }

    int64_t detail_first() const {
        return deckbus::detail_column(std::max(deck.position_ms, 0.0)) - inside_width / 2;
    }

    void draw_beats(int y, int64_t first) {
        const deckbus::beat_grid& grid = deck.track->grid;
        for (size_t i = 0; i < grid.beats(); ++i) {
            const int64_t x = deckbus::detail_column(grid.time_ms[i]) - first;
            if (x < 0 || x >= inside_width) continue;
            const bool down = grid.bar_beat[i] == 1;
            const int length = down ? 14 : 9;
            const color tint = down ? theme::downbeat : theme::beat;
            on.fill({left + int(x), y, 2, length}, tint);
            on.fill({left + int(x), y + detail_height - length, 2, length}, tint);
        }
    }

    void draw_detail_cues(int y, int64_t first) {
        for (const deckbus::cue& c : deck.track->cues) {
            const int64_t x = deckbus::detail_column(double(c.ms)) - first;
            if (x < 0 || x >= inside_width) continue;
            on.fill({left + int(x), y, 2, detail_height}, cue_color(c));
            std::string words = cue_letter(c);
            if (!words.empty() && !c.comment.empty()) words += " ";
            words += c.comment;
            on.text(left + int(x) + 5, y + 2, words, small, cue_color(c),
                    inside_width - int(x) - 5);
        }
    }

    static std::string cue_letter(const deckbus::cue& c) {
        return c.hot >= 1 && c.hot <= 26 ? std::string(1, char('A' + c.hot - 1)) : std::string();
    }

    int place(double ms) const { return strip_cell(ms, deck.duration_ms, inside_width); }

    void draw_cues(int y) {
        for (const deckbus::cue& c : deck.track->cues) {
            const int x = place(double(c.ms));
            if (x < 0) continue;
            if (c.end_ms > c.ms) {
                on.fill({left + x, y + 12, place(double(c.end_ms)) - x, 3}, cue_color(c));
            }
            if (c.hot > 0) {
                on.fill({left + x, y, 14, 16}, cue_color(c));
                on.text(left + x + 2, y + 1, cue_letter(c), small, theme::ground);
            } else {
                for (int i = 0; i < 7; ++i) {
                    on.fill({left + x - 6 + i, y + 4 + i, 13 - 2 * i, 1}, cue_color(c));
                }
            }
        }
    }

    void draw_preview(int y) {
        const deckbus::waveform& wave =
            deck.track->preview.columns > 0 ? deck.track->preview : deck.track->detail;
        const int now = place(deck.position_ms);
        for (int64_t x = 0; x < inside_width && wave.columns > 0; ++x) {
            const int64_t from = x * wave.columns / inside_width;
            const int64_t to = std::max(from + 1, (x + 1) * wave.columns / inside_width);
            wave_bar bar = peak_bar(wave, from, to);
            if (x < now) bar = dimmed(bar, ground, 0.65);
            draw_bar(left + int(x), y + preview_height, preview_height, bar, false);
        }
        if (now >= 0) on.fill({left + now - 1, y - 2, 3, preview_height + 4}, theme::playhead);
    }

    void draw_minutes(int y) {
        constexpr double ms_per_minute = 60000.0;
        const int minutes = int(std::min(deck.duration_ms / ms_per_minute, 600.0));
        for (int minute = 0; minute <= minutes; ++minute) {
            const int x = place(minute * ms_per_minute);
            if (x < 0) return;
            on.fill({left + x, y, 2, 6}, theme::faint);
            if (minute > 0)
                on.text(left + x + 5, y + 2, std::to_string(minute), small, theme::faint);
        }
    }

    void draw_phrases(int y) {
        constexpr int least_named = 60;  // pixels of a phrase that has its name in it
        const deckbus::beat_grid& grid = deck.track->grid;
        if (grid.beats() == 0) return;
        const phrase_place present = find_phrase(deck);
        for (const deckbus::phrase& p : deck.track->phrases) {
            const int from = p.beat <= 1 ? 0 : place(grid.time_of(p.beat));
            const bool last = size_t(std::max(p.end_beat, 0)) > grid.beats();
            const int to = last ? inside_width : place(grid.time_of(p.end_beat));
            const color tint = theme::phrase_color(p.group);
            const bool now = present.now == &p;
            on.fill({left + from, y, std::max(to - from - 2, 1), strip_height},
                    now ? tint : mix(tint, ground, 0.55));
            if (to - from < least_named) continue;
            on.text(left + from + 4, y + 5, p.name, small,
                    now ? theme::ground : mix(tint, theme::bright, 0.5), to - from - 8);
        }
    }

    raster& on;
    const deck_picture& deck;
    const int left, top;
};

}  // namespace

raster draw_poster(const set_picture& set) {
    const int decks = int(set.decks.size());
    raster picture(poster_width, margin + std::max(decks, 1) * (deck_height + margin),
                   theme::ground);
    if (decks == 0) {
        picture.text(margin, margin, "no deck on the network", medium, theme::soft);
    }
    int y = margin;
    for (const deck_picture& d : set.decks) {
        deck_drawing(picture, d, y).draw();
        if (set.air_known && !d.on_air) {
            picture.fade({0, y, poster_width, deck_height}, theme::ground, theme::silent_fade);
        }
        y += deck_height + margin;
    }
    return picture;
}

}  // namespace monitor
