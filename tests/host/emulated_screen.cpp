#include "emulated_screen.h"

#include <cstdlib>

#include "host/monitor/terminal_text.h"

bool emulated_screen::apply(std::string_view bytes) {
    while (!bytes.empty()) {
        if (bytes.front() != '\x1b') {
            if (!put(bytes)) return false;
            continue;
        }
        size_t end = 2;
        while (end < bytes.size() && (bytes[end] < 0x40 || bytes[end] > 0x7E)) ++end;
        if (end >= bytes.size() || !sequence(bytes.substr(2, end - 2), bytes[end])) return false;
        bytes.remove_prefix(end + 1);
    }
    return true;
}

bool emulated_screen::sequence(std::string_view parameters, char last) {
    if (last == 'm') {
        set_style(parameters);
    } else if (last == 'J') {
        cells.assign(cells.size(), emulated_cell{});
    } else if (last == 'H') {
        const size_t split = parameters.find(';');
        y = std::atoi(std::string(parameters.substr(0, split)).c_str()) - 1;
        x = std::atoi(std::string(parameters.substr(split + 1)).c_str()) - 1;
    } else {
        return parameters == "?2026" && (last == 'h' || last == 'l');
    }
    return true;
}

void emulated_screen::set_style(std::string_view parameters) {
    if (parameters.starts_with("0")) {
        pen = {};
        pen.bold = parameters.find(";1") != std::string_view::npos;
        pen.reverse = parameters.find(";7") != std::string_view::npos;
        return;
    }
    const bool ground = parameters.starts_with("4") || parameters.starts_with("10");
    (ground ? pen.ground : pen.ink) = std::string(parameters);
}

// Half of a wide glyph that is written over leaves a blank in the other half.
void emulated_screen::break_wide(int column) {
    auto text_at = [this](int at) -> std::string& { return cells[size_t(y * width + at)].text; };
    if (column > 0 && text_at(column).empty()) text_at(column - 1).assign(1, ' ');
    if (column + 1 < width && text_at(column + 1).empty()) text_at(column + 1).assign(1, ' ');
}

bool emulated_screen::put(std::string_view& bytes) {
    const std::string_view before = bytes;
    const int cells_wide = monitor::code_point_width(monitor::take_code_point(bytes));
    const std::string text(before.substr(0, before.size() - bytes.size()));
    if (cells_wide == 0 && x > 0) {
        cells[size_t(y * width + x - 1)].text += text;
        return true;
    }
    if (cells_wide < 1 || x < 0 || y < 0 || x + cells_wide > width || y >= height) return false;
    for (int i = 0; i < cells_wide; ++i) break_wide(x + i);
    emulated_cell& here = cells[size_t(y * width + x)];
    here = pen;
    here.text = text;
    if (cells_wide == 2) {
        cells[size_t(y * width + x + 1)] = pen;
        cells[size_t(y * width + x + 1)].text.clear();
    }
    x += cells_wide;
    ++glyphs_written;
    return true;
}
