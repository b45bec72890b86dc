#pragma once

// A terminal for tests: applies what the screen writer sends, and remembers what it would show.

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

struct emulated_cell {
    std::string text = " ";
    std::string ink, ground;  // as in the sequence, such as "38;5;17"; empty for the default
    bool bold = false, reverse = false;
    bool operator==(const emulated_cell&) const = default;

    friend std::ostream& operator<<(std::ostream& out, const emulated_cell& c) {
        return out << '"' << c.text << "\" " << c.ink << '/' << c.ground << (c.bold ? " bold" : "")
                   << (c.reverse ? " reverse" : "");
    }
};

class emulated_screen {
public:
    emulated_screen(int columns, int rows)
        : width(columns), height(rows), cells(size_t(columns) * size_t(rows)) {}

    // False for a sequence that it does not know, or a glyph outside the screen.
    bool apply(std::string_view bytes);

    const emulated_cell& at(int column, int row) const {
        return cells[size_t(row * width + column)];
    }

    int width, height;
    std::vector<emulated_cell> cells;
    int glyphs_written = 0;

private:
    bool sequence(std::string_view parameters, char last);
    void set_style(std::string_view parameters);
    bool put(std::string_view& bytes);
    void break_wide(int column);

    int x = 0, y = 0;
    emulated_cell pen;
};
