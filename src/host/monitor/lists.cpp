#include "host/monitor/lists.h"

#include <algorithm>
#include <string>

#include "host/monitor/format.h"

namespace monitor {

namespace {

constexpr color ground = theme::ground;

color kind_tint(const std::string& kind) {
    if (kind == "error" || kind == "disconnected") return theme::alarm;
    if (kind == "warn" || kind == "restart" || kind == "cue") return theme::warning;
    if (kind == "master") return theme::master;
    if (kind == "connected" || kind == "hello") return theme::good;
    if (kind == "track" || kind == "meta") return theme::sync;
    return theme::soft;
}

void draw_heading(const area& on, const char* title) {
    const int x = on.put(1, 0, title, {theme::faint, ground, style_bold});
    for (int i = x + 1; i < on.width() - 1; ++i) {
        on.set(i, 0, {U'─', 0, theme::rule, ground, style_plain});
    }
}

// The first of the last entries that fit under the heading.
size_t first_shown(size_t entries, int height) {
    const size_t room = size_t(std::max(height - 1, 0));
    return entries > room ? entries - room : 0;
}

}  // namespace

void draw_events(const area& on, const view& how) {
    if (on.height() < 1) return;
    draw_heading(on, "EVENTS");
    int y = 1;
    for (size_t i = first_shown(how.lines.size(), on.height()); i < how.lines.size(); ++i, ++y) {
        const event_line& line = how.lines[i];
        int x = on.put(1, y, line.time, {theme::faint, ground, style_plain});
        on.put(x + 2, y, line.kind, {kind_tint(line.kind), ground, style_plain});
        constexpr int kind_width = 12;
        x += 2 + kind_width + 1;
        on.put(x, y, line.words, {theme::ink, ground, style_plain}, on.width() - 1 - x);
    }
}

void draw_history(const area& on, const heard_list& history) {
    if (on.height() < 1) return;
    draw_heading(on, "HISTORY");
    int y = 1;
    for (size_t i = first_shown(history.size(), on.height()); i < history.size(); ++i, ++y) {
        const heard_line& h = history[i];
        int x = on.put(1, y, h.time, {theme::faint, ground, style_plain});
        x = on.put(x + 2, y, std::to_string(h.deck), {theme::soft, ground, style_bold});
        const int end = on.put_right(on.width() - 1, y, tempo_text(h.bpm),
                                     {theme::faint, ground, style_plain}) -
                        1;
        x = on.put(x + 2, y, h.title, {theme::ink, ground, style_plain}, end - x - 2);
        on.put(x + 2, y, h.artist, {theme::soft, ground, style_plain}, end - x - 2);
    }
}

}  // namespace monitor
