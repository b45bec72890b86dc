#include "frontend/source/source_excerpt.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "base/join.h"
#include "frontend/source/token_view.h"
#include "frontend/source/utf8.h"

namespace {

std::string_view line_of(std::string_view source, uint32_t line) {
    size_t start = 0;
    for (uint32_t i = 1; i < line; ++i) {
        const size_t feed = source.find('\n', start);
        if (feed == std::string_view::npos) return {};
        start = feed + 1;
    }
    std::string_view text = source.substr(start, source.find('\n', start) - start);
    if (text.ends_with('\r')) text.remove_suffix(1);
    return text;
}

// One code point of the line: what is shown of it, and what stands below it left of the caret.
struct cell {
    std::string shown;
    std::string padding;
};

// Bytes that could confuse a terminal are shown as question marks.
std::vector<cell> cells_of(std::string_view line) {
    std::vector<cell> cells;
    while (!line.empty()) {
        const tvr_code_point point = tvr_decode_utf8(line);
        const bool control = point.value < 0x20 || (point.value >= 0x7F && point.value < 0xA0);
        if (point.value == '\t')
            cells.push_back({"\t", "\t"});
        else if (control || !point.well_formed)
            cells.push_back({"?", " "});
        else
            cells.push_back({std::string(line.substr(0, point.bytes)),
                             std::string(size_t(tvr_display_width(point.value)), ' ')});
        line.remove_prefix(point.bytes);
    }
    return cells;
}

}  // namespace

const tvr_src_token& tvr_place_of_use(const tvr_src_token& token) {
    const tvr_src_token* place = &token;
    while (place->macro_origin() != nullptr) place = place->macro_origin();
    return *place;
}

std::string tvr_source_excerpt(const tvr_src_token& token) {
    constexpr std::string_view cut = "...", gutter = " | ";
    const std::vector<cell> cells = cells_of(line_of(token.view()->source, token.line));
    const size_t caret = std::min(size_t(token.column) - 1, cells.size());
    size_t first = 0, last = cells.size();
    if (cells.size() > tvr_longest_excerpt) {
        first = caret > tvr_longest_excerpt / 2 ? caret - tvr_longest_excerpt / 2 : 0;
        last = std::min(cells.size(), first + tvr_longest_excerpt);
    }
    std::string shown(gutter), below(gutter);
    if (first > 0) {
        shown += cut;
        below.append(cut.size(), ' ');
    }
    for (size_t i = first; i < last; ++i) shown += cells[i].shown;
    for (size_t i = first; i < caret; ++i) below += cells[i].padding;
    if (last < cells.size()) shown += cut;
    return tvr_join("--> ", token.view()->path, ":", token.line, ":", token.column, "\n", shown,
                    "\n", below, "^~~~~\n");
}
