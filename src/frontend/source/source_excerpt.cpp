#include "frontend/source/source_excerpt.h"

#include <cstring>
#include <string_view>

#include "base/join.h"
#include "base/utf8.h"
#include "frontend/source/token_view.h"

namespace {

// The bytes in front of the first that is no ASCII, of which each is a column. Eight at a time: a
// line may be as long as the whole source, with many places in it to report.
size_t plain_bytes(std::string_view text) {
    constexpr uint64_t high_bits = 0x8080808080808080;
    size_t at = 0;
    for (uint64_t eight; at + sizeof eight <= text.size(); at += sizeof eight) {
        std::memcpy(&eight, text.data() + at, sizeof eight);
        if ((eight & high_bits) != 0) break;
    }
    while (at < text.size() && uint8_t(text[at]) < 0x80) ++at;
    return at;
}

void skip_columns(std::string_view& line, size_t columns) {
    const size_t plain = plain_bytes(line.substr(0, columns));
    line.remove_prefix(plain);
    for (columns -= plain; columns > 0 && !line.empty(); --columns)
        line.remove_prefix(tvr_decode_utf8(line).bytes);
}

// The first column that is shown, from 0: a long line is cut around the caret.
size_t first_shown(std::string_view line, size_t caret) {
    constexpr size_t half = tvr_longest_excerpt / 2;
    skip_columns(line, tvr_longest_excerpt);
    return !line.empty() && caret > half ? caret - half : 0;
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
    std::string_view line = token.view()->line_text(token.line);
    const size_t caret = size_t(token.column) - 1, first = first_shown(line, caret);
    skip_columns(line, first);
    std::string shown(first > 0 ? cut : ""), below(shown.size(), ' '), beyond;
    const size_t last = first + tvr_longest_excerpt;
    for (size_t column = first; column < last && !line.empty(); ++column) {
        const tvr_code_point point = tvr_decode_utf8(line);
        append_column(line, point, shown, column < caret ? below : beyond);
        line.remove_prefix(point.bytes);
    }
    if (!line.empty()) shown += cut;
    return tvr_join("--> ", token.view()->path, ":", token.line, ":", token.column, "\n | ", shown,
                    "\n | ", below, "^~~~~\n");
}
