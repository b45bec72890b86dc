#include "host/monitor/preview_strip.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "host/monitor/blocks.h"
#include "host/monitor/cue_marks.h"
#include "host/monitor/wave_bar.h"

namespace monitor {

namespace {

constexpr double ms_per_minute = 60000.0;
constexpr double played_fade = 0.68;
constexpr int room_for_number = 6;  // cells between two numbered minutes

// Where no preview has come but the detail has, the detail serves.
const deckbus::waveform& strip_wave(const track_picture& track) {
    return track.preview.columns > 0 ? track.preview : track.detail;
}

void draw_position(const area& on, int x) {
    for (int y = 0; y < on.height(); ++y) {
        cell* c = on.find(x, y);
        if (c == nullptr) return;
        const color ground = c->glyph == full_block ? mix(c->ink, theme::ground, 0.5) : c->ground;
        *c = {U'│', 0, theme::playhead, ground, style_bold};
    }
}

}  // namespace

int strip_cell(double ms, double duration_ms, int width) {
    if (!(ms >= 0) || !(duration_ms > 0) || width < 1) return -1;
    return int(std::min(ms / duration_ms, 1.0) * width);
}

void draw_preview(const area& on, const deck_picture& deck, const view& how) {
    if (!deck.track || on.width() < 1 || on.height() < 1) return;
    const deckbus::waveform& wave = strip_wave(*deck.track);
    const int now = strip_cell(deck.position_ms, deck.duration_ms, on.width());
    const color ground = on.find(0, 0)->ground;
    for (int x = 0; x < on.width() && wave.columns > 0; ++x) {
        const int64_t from = int64_t(x) * wave.columns / on.width();
        const int64_t to = std::max<int64_t>(from + 1, (x + 1LL) * wave.columns / on.width());
        wave_bar bar = peak_bar(wave, from, to);
        if (how.depth == color_depth::none) bar = single_layer(bar);
        if (x < now) bar = dimmed(bar, ground, played_fade);
        draw_bar_up(on, x, bar, ground);
    }
    if (now >= 0) draw_position(on, std::min(now, on.width() - 1));
}

void draw_preview_cues(const area& row, const deck_picture& deck) {
    if (!deck.track) return;
    for (const deckbus::cue& c : deck.track->cues) {
        const int x = strip_cell(double(c.ms), deck.duration_ms, row.width());
        if (x < 0 || x >= row.width()) continue;
        if (c.end_ms > c.ms) {
            draw_cue_span(row, x, strip_cell(double(c.end_ms), deck.duration_ms, row.width()), c);
        }
        draw_cue_mark(row, x, c);
    }
}

void draw_minutes(const area& row, const deck_picture& deck) {
    const double minutes = deck.duration_ms / ms_per_minute;
    if (!(minutes > 0) || minutes > 1000 || row.width() < 1) return;
    const double cells_per_minute = row.width() / minutes;
    int step = 1;
    while (cells_per_minute * step < room_for_number) step *= 2;
    const paint quiet{theme::faint, row.find(0, 0)->ground, style_plain};
    for (int minute = 0; minute <= int(minutes); ++minute) {
        if (cells_per_minute < 2 && minute % step != 0) continue;
        const int x = strip_cell(minute * ms_per_minute, deck.duration_ms, row.width());
        row.put(x, 0, "╵", quiet, 1);
        if (minute > 0 && minute % step == 0 && x + 3 < row.width()) {
            row.put(x + 1, 0, std::to_string(minute), quiet, row.width() - x - 1);
        }
    }
}

}  // namespace monitor
