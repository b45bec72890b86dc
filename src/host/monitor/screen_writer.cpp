#include "host/monitor/screen_writer.h"

#include <algorithm>

#include "base/utf8.h"
#include "host/monitor/terminal_text.h"

namespace monitor {

namespace {

// A colour as the terminal is told it: a palette index, or a 24-bit value above this bit.
constexpr uint32_t direct_bit = 1u << 24;
constexpr uint32_t no_color = 1u << 25;

// What distinguishes two cells on a terminal of one depth.
struct shown_cell {
    char32_t glyph = 0, mark = 0;
    uint32_t ink = no_color, ground = no_color;
    uint8_t style = 0;
    bool operator==(const shown_cell&) const = default;
};

uint32_t encode(color c, color_depth depth) {
    switch (depth) {
    case color_depth::none: return no_color;
    case color_depth::ansi16: return uint32_t(nearest_16(c));
    case color_depth::ansi256: return uint32_t(nearest_256(c));
    case color_depth::truecolor: break;
    }
    return direct_bit | uint32_t(c.r) << 16 | uint32_t(c.g) << 8 | c.b;
}

// In 16 colours quiet inks fall onto their dark ground; grey on black, black on grey keeps them
// legible.
uint32_t keep_apart(uint32_t ground) {
    constexpr uint32_t black = 0, grey = 8;
    return ground == black ? grey : black;
}

shown_cell as_shown(const cell& c, color_depth depth) {
    shown_cell s{c.glyph, c.mark, encode(c.ink, depth), encode(c.ground, depth),
                 uint8_t(c.style & (style_bold | style_reverse))};
    if (depth == color_depth::none && (c.style & style_badge) != 0) s.style ^= style_reverse;
    if (depth == color_depth::ansi16 && s.ink == s.ground && c.ink != c.ground) {
        s.ink = keep_apart(s.ground);
    }
    // A blank shows its ground alone.
    if (s.glyph == U' ' && s.mark == 0 && (s.style & style_reverse) == 0) {
        s.ink = s.ground;
        s.style = style_plain;
    }
    return s;
}

class update_writer {
public:
    update_writer(const canvas& from, const canvas& to, color_depth d)
        : shown(from), next(to), depth(d), whole(!same_size()) {}

    std::string run() {
        for (int y = 0; y < next.height(); ++y) write_row(y);
        if (out.empty()) return {};
        // Terminals that know synchronised updates show the picture at once; the others overlook
        // the sequence.
        const std::string clear = whole ? "\x1b[0m\x1b[2J" : "";
        return "\x1b[?2026h" + clear + out + "\x1b[0m\x1b[?2026l";
    }

private:
    bool same_size() const {
        return shown.width() == next.width() && shown.height() == next.height();
    }

    bool changed(int x, int y) const {
        if (whole) return true;
        const cell& a = shown.at(x, y);
        const cell& b = next.at(x, y);
        return !(a == b) && !(as_shown(a, depth) == as_shown(b, depth));
    }

    void write_row(int y) {
        for (int x = 0; x < next.width(); ++x) {
            const cell& c = next.at(x, y);
            const bool wide = x + 1 < next.width() && next.at(x + 1, y).glyph == 0;
            if (c.glyph == 0) {
                // The right half comes with its left half; alone it is no more than a blank.
                const bool orphan = x == 0 || next.at(x - 1, y).glyph == 0;
                if (orphan && changed(x, y)) write_cell(x, y, blank_like(c), 1);
                continue;
            }
            if (!changed(x, y) && !(wide && changed(x + 1, y))) continue;
            write_cell(x, y, c, wide ? 2 : 1);
        }
    }

    static cell blank_like(const cell& c) { return {U' ', 0, c.ink, c.ground, c.style}; }

    void write_cell(int x, int y, const cell& c, int width) {
        const shown_cell s = as_shown(c, depth);
        move_to(x, y);
        set_style(s);
        tvr_append_utf8(out, s.glyph);
        if (s.mark != 0) tvr_append_utf8(out, s.mark);
        cursor_x = x + width;
    }

    void move_to(int x, int y) {
        if (x == cursor_x && y == cursor_y) return;
        out += "\x1b[" + std::to_string(y + 1) + ";" + std::to_string(x + 1) + "H";
        cursor_x = x;
        cursor_y = y;
    }

    void set_style(const shown_cell& s) {
        const bool fresh = !styled || s.style != pen.style;
        if (fresh) {
            out += "\x1b[0";
            if ((s.style & style_bold) != 0) out += ";1";
            if ((s.style & style_reverse) != 0) out += ";7";
            out += "m";
        }
        if (depth != color_depth::none) {
            if (fresh || s.ink != pen.ink) set_color(s.ink, 30);
            if (fresh || s.ground != pen.ground) set_color(s.ground, 40);
        }
        pen = s;
        styled = true;
    }

    // `base` is 30 for the ink and 40 for the ground.
    void set_color(uint32_t value, int base) {
        if ((value & direct_bit) != 0) {
            out += "\x1b[" + std::to_string(base + 8) + ";2;" + std::to_string(value >> 16 & 255) +
                   ";" + std::to_string(value >> 8 & 255) + ";" + std::to_string(value & 255) + "m";
        } else if (depth == color_depth::ansi256) {
            out += "\x1b[" + std::to_string(base + 8) + ";5;" + std::to_string(value) + "m";
        } else {
            const uint32_t bright_step = value >= 8 ? 52 : 0;  // 8 to 15 stand at 90 and 100
            out += "\x1b[" + std::to_string(uint32_t(base) + value + bright_step) + "m";
        }
    }

    const canvas& shown;
    const canvas& next;
    const color_depth depth;
    const bool whole;
    std::string out;
    int cursor_x = -1, cursor_y = -1;  // where the terminal writes next; -1 before the first
    shown_cell pen;                    // colours and style that it has been told
    bool styled = false;
};

}  // namespace

std::string screen_update(const canvas& shown, const canvas& next, color_depth depth) {
    return update_writer(shown, next, depth).run();
}

}  // namespace monitor
