#pragma once

// A picture made of character cells, and the windows through which widgets draw on it.
//
// A widget gets an `area`: coordinates of its own, and nothing that it draws leaves it. What the
// terminal then shows is the screen writer's business. One thread at a time.

#include <cstdint>
#include <string_view>
#include <vector>

#include "host/monitor/color.h"
#include "host/monitor/theme.h"

namespace monitor {

enum cell_style : uint8_t {
    style_plain = 0,
    style_bold = 1,
    style_reverse = 2,  // the terminal exchanges ink and ground
    style_badge = 4,    // the ground carries meaning: without colours it is shown reversed
};

struct cell {
    char32_t glyph = U' ';  // 0 in the right half of a wide one
    char32_t mark = 0;      // combining mark, 0 for none
    color ink = theme::ink;
    color ground = theme::ground;
    uint8_t style = style_plain;
    bool operator==(const cell&) const = default;
};

// How a text is painted.
struct paint {
    color ink = theme::ink;
    color ground = theme::ground;
    uint8_t style = style_plain;
};

struct rect {
    int x = 0, y = 0, width = 0, height = 0;
    bool operator==(const rect&) const = default;
};

class canvas {
public:
    canvas() = default;
    canvas(int width, int height)
        : columns(width > 0 ? width : 0),
          rows(height > 0 ? height : 0),
          cells(size_t(columns) * size_t(rows)) {}

    int width() const { return columns; }
    int height() const { return rows; }

    // x and y lie inside.
    cell& at(int x, int y) { return cells[size_t(y) * size_t(columns) + size_t(x)]; }
    const cell& at(int x, int y) const { return cells[size_t(y) * size_t(columns) + size_t(x)]; }

    bool operator==(const canvas&) const = default;

private:
    int columns = 0, rows = 0;
    std::vector<cell> cells;
};

// A window on a canvas. Cheap to copy; the canvas must outlive it.
class area {
public:
    explicit area(canvas& whole) : on(&whole), frame{0, 0, whole.width(), whole.height()} {}

    int width() const { return frame.width; }
    int height() const { return frame.height; }

    // The part of this area that r, in its coordinates, covers.
    area part(rect r) const;

    // One row, or `count` of them from y on.
    area row(int y, int count = 1) const { return part({0, y, frame.width, count}); }

    void set(int x, int y, const cell& c) const;

    // The cell, or null outside.
    cell* find(int x, int y) const;

    // Writes the text from x on, in at most `width` cells, with an ellipsis where it is cut.
    // The x behind it.
    int put(int x, int y, std::string_view text, paint how, int width = 1 << 20) const;

    // The same, ending before `end`. The x where it begins.
    int put_right(int end, int y, std::string_view text, paint how) const;

    void fill(color ground) const;

    // Lets everything sink into the ground, 0 not at all, 1 wholly.
    void fade(double share) const;

private:
    canvas* on;
    rect frame;
};

}  // namespace monitor
