#include "frontend/source/source_excerpt.h"

#include <algorithm>
#include <string_view>

#include "base/join.h"
#include "base/utf8.h"
#include "frontend/source/token_view.h"

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

// The columns of a line that are shown; a line may be as long as the whole source.
struct window {
    size_t first, last;  // last is the one behind
    bool cut;            // whether the line goes on there
};

window window_of(std::string_view line, size_t caret) {
    constexpr size_t half = tvr_longest_excerpt / 2;
    const size_t enough = std::max(caret + tvr_longest_excerpt, tvr_longest_excerpt + 1);
    size_t columns = 0;
    for (; columns < enough && !line.empty(); ++columns)
        line.remove_prefix(tvr_decode_utf8(line).bytes);
    if (columns <= tvr_longest_excerpt) return {0, columns, false};
    const size_t first = caret > half ? caret - half : 0;
    const size_t last = std::min(columns, first + tvr_longest_excerpt);
    return {first, last, last < columns || !line.empty()};
}

// What is shown of a code point, and what stands below it left of the caret. Bytes that could
// confuse a terminal are shown as question marks.
void append_column(std::string_view bytes, const tvr_code_point& point, std::string& shown,
                   std::string& padding) {
    const bool control = point.value < 0x20 || (point.value >= 0x7F && point.value < 0xA0);
    if (point.value == '\t') {
        shown += '\t';
        padding += '\t';
    } else if (control || !point.well_formed) {
        shown += '?';
        padding += ' ';
    } else {
        shown += bytes.substr(0, point.bytes);
        padding.append(size_t(tvr_display_width(point.value)), ' ');
    }
}

}  // namespace

const tvr_src_token& tvr_place_of_use(const tvr_src_token& token) {
    const tvr_src_token* place = &token;
    while (place->macro_origin() != nullptr) place = place->macro_origin();
    return *place;
}

std::string tvr_source_excerpt(const tvr_src_token& token) {
    constexpr std::string_view cut = "...";
    std::string_view line = line_of(token.view()->source, token.line);
    const size_t caret = size_t(token.column) - 1;
    const window show = window_of(line, caret);
    std::string shown, below;
    if (show.first > 0) {
        shown += cut;
        below.append(cut.size(), ' ');
    }
    for (size_t column = 0; column < show.last; ++column) {
        const tvr_code_point point = tvr_decode_utf8(line);
        std::string beyond;
        if (column >= show.first)
            append_column(line, point, shown, column < caret ? below : beyond);
        line.remove_prefix(point.bytes);
    }
    if (show.cut) shown += cut;
    return tvr_join("--> ", token.view()->path, ":", token.line, ":", token.column, "\n | ", shown,
                    "\n | ", below, "^~~~~\n");
}
