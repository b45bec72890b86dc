#include "host/monitor/canvas.h"

#include <algorithm>

#include "host/monitor/terminal_text.h"

namespace monitor {

area area::part(rect r) const {
    const int left = std::clamp(r.x, 0, frame.width);
    const int top = std::clamp(r.y, 0, frame.height);
    const int right = std::clamp(r.x + std::max(r.width, 0), left, frame.width);
    const int bottom = std::clamp(r.y + std::max(r.height, 0), top, frame.height);
    area result = *this;
    result.frame = {frame.x + left, frame.y + top, right - left, bottom - top};
    return result;
}

cell* area::find(int x, int y) const {
    if (x < 0 || y < 0 || x >= frame.width || y >= frame.height) return nullptr;
    return &on->at(frame.x + x, frame.y + y);
}

void area::set(int x, int y, const cell& c) const {
    cell* place = find(x, y);
    if (place == nullptr) return;
    // Half of a wide glyph cannot stay without the other half.
    const int column = frame.x + x, line = frame.y + y;
    if (place->glyph == 0 && c.glyph != 0 && column > 0) on->at(column - 1, line).glyph = U' ';
    if (column + 1 < on->width() && on->at(column + 1, line).glyph == 0) {
        on->at(column + 1, line).glyph = U' ';
    }
    *place = c;
}

int area::put(int x, int y, std::string_view text, paint how, int width) const {
    const int room = std::min(width, frame.width - x);
    if (room <= 0) return x;
    const std::string fitting = fit_text(text, room);
    for (const glyph& g : glyphs_of(fitting)) {
        set(x, y, {g.base, g.mark, how.ink, how.ground, how.style});
        if (g.width == 2) set(x + 1, y, {0, 0, how.ink, how.ground, how.style});
        x += g.width;
    }
    return x;
}

int area::put_right(int end, int y, std::string_view text, paint how) const {
    const int x = std::max(end - text_width(text), 0);
    put(x, y, text, how, end - x);
    return x;
}

void area::fill(color ground) const {
    for (int y = 0; y < frame.height; ++y) {
        for (int x = 0; x < frame.width; ++x) set(x, y, {U' ', 0, theme::ink, ground, 0});
    }
}

void area::fade(double share) const {
    for (int y = 0; y < frame.height; ++y) {
        for (int x = 0; x < frame.width; ++x) {
            cell& c = *find(x, y);
            c.ink = mix(c.ink, theme::ground, share);
            c.ground = mix(c.ground, theme::ground, share);
        }
    }
}

}  // namespace monitor
