#include "host/monitor/detail_scroller.h"

#include <algorithm>
#include <cmath>

#include "host/monitor/blocks.h"
#include "host/monitor/cue_marks.h"
#include "host/monitor/format.h"
#include "host/monitor/wave_bar.h"

namespace monitor {

namespace {

constexpr double columns_per_ms = deckbus::detail_columns_per_s / 1000.0;
constexpr int closest_lines = 4;  // cells between two beat lines, else only larger steps show
constexpr color loop_ground{44, 30, 12};

int64_t floor_div(int64_t a, int64_t b) {
    return a >= 0 ? a / b : -((-a + b - 1) / b);
}

class detail_drawing {
public:
    detail_drawing(const area& a, const deck_picture& d, const view& v)
        : marks(a.row(0)),
          wave(a.row(1, a.height() > 2 ? (a.height() - 1) / 2 * 2 : a.height() - 1)),
          deck(d),
          track(*d.track),
          how(v),
          scale(v.columns_per_cell()),
          center(a.width() / 2),
          first(floor_div(int64_t(std::max(d.position_ms, 0.0) * columns_per_ms), scale) - center) {
    }

    void draw() const {
        draw_loops();
        for (int x = 0; x < wave.width(); ++x) draw_column(x);
        draw_beats();
        draw_cues();
        draw_playhead();
    }

private:
    // The cell of a time; it may lie outside the area.
    int64_t cell_of(double ms) const {
        return floor_div(int64_t(std::floor(ms * columns_per_ms + 0.5)), scale) - first;
    }

    bool visible(int64_t x) const { return x >= 0 && x < wave.width(); }

    void draw_loops() const {
        for (const deckbus::cue& c : track.cues) {
            if (c.end_ms <= c.ms) continue;
            const int64_t from = std::max<int64_t>(cell_of(double(c.ms)), 0);
            const int64_t to = std::min<int64_t>(cell_of(double(c.end_ms)), wave.width() - 1);
            for (int64_t x = from; x <= to; ++x) {
                for (int y = 0; y < wave.height(); ++y) wave.find(int(x), y)->ground = loop_ground;
            }
        }
    }

    void draw_column(int x) const {
        wave_bar bar = peak_bar(track.detail, (first + x) * scale, (first + x + 1) * scale);
        if (bar.count == 0 || wave.height() < 1) return;
        if (how.depth == color_depth::none) bar = single_layer(bar);
        const color ground = wave.find(x, 0)->ground;
        if (wave.height() % 2 == 0) {
            draw_bar_mirrored(wave, x, bar, ground);
        } else {
            draw_bar_up(wave, x, bar, ground);
        }
    }

    // Beats between two lines: 1, a bar, four bars, and so on, as the zoom leaves room.
    int line_step() const {
        const double bpm = deck.bpm > 0 ? deck.bpm : 120.0;
        const double cells_per_beat = 60000.0 / bpm * columns_per_ms / double(scale);
        int step = 1;
        while (step < 1024 && cells_per_beat * step < closest_lines) step *= 4;
        return step;
    }

    void draw_beats() const {
        const int step = line_step();
        const deckbus::beat_grid& grid = track.grid;
        int bar = 0;
        for (size_t i = 0; i < grid.beats(); ++i) {
            const bool down = grid.bar_beat[i] == 1;
            bar += down ? 1 : 0;
            if (step > 1 && (!down || (bar - 1) % (step / 4) != 0)) continue;
            const int64_t x = cell_of(grid.time_ms[i]);
            if (visible(x)) draw_beat(int(x), down ? theme::downbeat : theme::beat);
        }
    }

    // Bright ends at the edges, and a quiet line between them where the waveform leaves room.
    void draw_beat(int x, color tint) const {
        const int last = wave.height() - 1;
        for (int y = 0; y <= last; ++y) {
            cell& c = *wave.find(x, y);
            if (y == 0 || y == last) {
                overlay(c, y == 0 ? U'╷' : U'╵', tint);
            } else if (c.glyph == U' ') {
                overlay(c, U'│', mix(c.ground, tint, 0.3));
            }
        }
    }

    // A thin glyph over what is drawn: what filled the cell becomes its ground.
    static void overlay(cell& c, char32_t glyph, color tint) {
        const color ground = c.glyph == full_block ? mix(c.ink, theme::ground, 0.35) : c.ground;
        c = {glyph, 0, tint, ground, style_bold};
    }

    void draw_cues() const {
        // The last first, so that a comment ends where the next mark stands.
        for (auto it = track.cues.rbegin(); it != track.cues.rend(); ++it) {
            const deckbus::cue& c = *it;
            const int64_t x = cell_of(double(c.ms));
            const int64_t end = c.end_ms > c.ms ? cell_of(double(c.end_ms)) : x;
            if (end < 0 || x >= wave.width()) continue;
            draw_cue_span(marks, x, end, c);
            if (visible(x)) {
                draw_cue_line(int(x), cue_color(c));
                draw_cue_name(marks, int(x), c);
            }
        }
    }

    void draw_cue_line(int x, color tint) const {
        for (int y = 0; y < wave.height(); ++y) {
            cell& c = *wave.find(x, y);
            if (c.glyph != U' ' && c.glyph != U'│' && c.glyph != U'╷' && c.glyph != U'╵') continue;
            c.glyph = U'┃';
            c.ink = tint;
        }
    }

    void draw_playhead() const {
        for (int y = 0; y < wave.height(); ++y) {
            if (cell* c = wave.find(center, y)) overlay(*c, U'┃', theme::playhead);
        }
    }

    const area marks, wave;
    const deck_picture& deck;
    const track_picture& track;
    const view& how;
    const int64_t scale;  // columns in a cell
    const int center;     // where the playhead stands
    const int64_t first;  // the left edge, in cells from the start of the track
};

}  // namespace

void draw_detail(const area& on, const deck_picture& deck, const view& how) {
    if (on.height() < 2 || on.width() < 1) return;
    const paint badge{theme::ground, deck.playing ? theme::playing : theme::stopped,
                      style_bold | style_badge};
    if (deck.track) {
        detail_drawing(on, deck, how).draw();
        if (deck.track->detail.columns < 1) {
            on.put(4, 0, "no waveform yet", {theme::faint, theme::ground, style_plain});
        }
    }
    on.put(0, 0, formatted(" %d ", deck.number), badge);
}

}  // namespace monitor
