#include "host/monitor/cue_marks.h"

#include <algorithm>

namespace monitor {

color cue_color(const deckbus::cue& c) {
    const deckbus::rgb_color shown = c.display_color();
    return {shown[0], shown[1], shown[2]};
}

void draw_cue_mark(const area& row, int x, const deckbus::cue& c) {
    constexpr int letters = 26;
    const cell* place = row.find(x, 0);
    if (place == nullptr) return;
    if (c.hot < 1) {
        row.set(x, 0, {U'▼', 0, cue_color(c), place->ground, style_plain});
        return;
    }
    const char32_t letter = c.hot <= letters ? char32_t(U'A' + c.hot - 1) : U'#';
    row.set(x, 0, {letter, 0, theme::ground, cue_color(c), style_bold | style_badge});
}

void draw_cue_name(const area& row, int x, const deckbus::cue& c) {
    draw_cue_mark(row, x, c);
    if (c.comment.empty() || row.find(x + 2, 0) == nullptr) return;
    int room = 0;
    while (row.find(x + 2 + room, 0) != nullptr && row.find(x + 2 + room, 0)->glyph == U' ') ++room;
    row.put(x + 2, 0, c.comment, {cue_color(c), row.find(x + 2, 0)->ground, style_plain}, room);
}

void draw_cue_span(const area& row, int64_t x, int64_t end, const deckbus::cue& c) {
    const int64_t from = std::max<int64_t>(x, 0);
    const int64_t to = std::min<int64_t>(end, row.width() - 1);
    if (end <= x) return;
    for (int64_t i = from; i <= to; ++i) {
        const color ground = row.find(int(i), 0)->ground;
        row.set(int(i), 0, {U'━', 0, mix(cue_color(c), ground, 0.3), ground, style_plain});
    }
}

}  // namespace monitor
