#include "host/monitor/phrase_strip.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "host/monitor/format.h"
#include "host/monitor/preview_strip.h"
#include "host/monitor/terminal_text.h"

namespace monitor {

namespace {

constexpr double quiet_share = 0.62;  // how far the other phrases sink into the ground

// Left end of a beat in the strip. A beat behind the last one ends the track.
int beat_cell(const deck_picture& deck, int beat, int width) {
    const deckbus::beat_grid& grid = deck.track->grid;
    if (grid.beats() == 0) return -1;
    if (beat <= 1) return 0;
    if (size_t(beat) > grid.beats()) return width;
    return strip_cell(grid.time_of(beat), deck.duration_ms, width);
}

// The name, or its first word, or nothing: a name cut anywhere else reads badly.
std::string_view fitting_name(std::string_view name, int room) {
    if (text_width(name) <= room) return name;
    const std::string_view word = name.substr(0, name.find(' '));
    return text_width(word) <= room ? word : std::string_view();
}

void draw_phrase(const area& row, int from, int to, const deckbus::phrase& p, bool present,
                 color ground) {
    const color tint = theme::phrase_color(p.group);
    const paint how{present ? theme::ground : mix(tint, theme::bright, 0.45),
                    present ? tint : mix(tint, ground, quiet_share),
                    uint8_t(present ? style_bold | style_badge : style_plain)};
    // The last cell stays free, so that equal neighbours do not run together.
    const int end = to - from > 2 ? to - 1 : to;
    for (int x = from; x < end; ++x) row.put(x, 0, " ", how, 1);
    row.put(from, 0, fitting_name(p.name, end - from), how);
}

}  // namespace

void draw_phrases(const area& row, const deck_picture& deck) {
    if (!deck.track || row.width() < 1 || row.height() < 1) return;
    const color ground = row.find(0, 0)->ground;
    const phrase_place place = find_phrase(deck);
    for (const deckbus::phrase& p : deck.track->phrases) {
        const int from = beat_cell(deck, p.beat, row.width());
        const int to = beat_cell(deck, p.end_beat, row.width());
        if (from >= 0) draw_phrase(row, from, std::max(to, from + 1), p, &p == place.now, ground);
    }
}

void draw_phrase_words(const area& row, const deck_picture& deck) {
    if (row.width() < 1 || row.height() < 1) return;
    const color ground = row.find(0, 0)->ground;
    const phrase_place place = find_phrase(deck);
    if (place.now == nullptr) return;
    int x =
        row.put(0, 0, place.now->name, {theme::phrase_color(place.now->group), ground, style_bold});
    const std::string left = formatted("  %d ", place.beats_left);
    x = row.put(x, 0, left, {theme::ink, ground, style_plain});
    x = row.put(x, 0, place.beats_left == 1 ? "beat" : "beats", {theme::soft, ground, style_plain});
    if (place.next != nullptr) {
        x = row.put(x, 0, " ▸ ", {theme::soft, ground, style_plain});
        x = row.put(x, 0, place.next->name,
                    {theme::phrase_color(place.next->group), ground, style_plain});
    }
    const bool detected = place.now->detected && deck.track->phrases_from == "waveform";
    if (detected && row.width() - x > 12) {
        row.put_right(row.width(), 0, "detected", {theme::faint, ground, style_plain});
    }
}

}  // namespace monitor
