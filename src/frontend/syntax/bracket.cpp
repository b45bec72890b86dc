#include "frontend/syntax/bracket.h"

#include <array>
#include <vector>

#include "base/join.h"

namespace {

using code = tvr_token_code;

constexpr size_t kinds = 3;

size_t kind_of(code bracket) {
    switch (bracket) {
    case code::round_open:
    case code::round_close: return 0;
    case code::square_open:
    case code::square_close: return 1;
    default: return 2;
    }
}

bool is_define(const tvr_src_token* token) {
    return token->is(code::hash) && token[1].text() == "define";
}

// The brackets of a row, with their partners of the same kind.
struct bracket {
    const tvr_src_token* token;
    size_t partner;  // index in the row; no_partner without one
};
constexpr size_t no_partner = ~size_t(0);

std::vector<bracket> match_by_kind(const tvr_src_token* at) {
    std::vector<bracket> row;
    std::array<std::vector<size_t>, kinds> waiting;
    for (; !at->is(code::end_of_file); ++at) {
        if (is_define(at))
            while (!at->is(code::line_end) && !at[1].is(code::end_of_file)) ++at;
        if (tvr_is_open_bracket(at->code)) {
            waiting[kind_of(at->code)].push_back(row.size());
            row.push_back({at, no_partner});
        } else if (tvr_is_close_bracket(at->code)) {
            std::vector<size_t>& open = waiting[kind_of(at->code)];
            const size_t partner = open.empty() ? no_partner : open.back();
            if (partner != no_partner) {
                row[partner].partner = row.size();
                open.pop_back();
            }
            row.push_back({at, partner});
        }
    }
    return row;
}

const tvr_src_token* before(const tvr_src_token* token, const tvr_src_token* first) {
    while (token > first) {
        --token;
        if (!token->is(code::line_end)) return token;
    }
    return nullptr;
}

bool is_head_word(const tvr_src_token* token) {
    return token != nullptr &&
           (token->is(code::word_if) || token->is(code::word_for) || token->is(code::word_catch));
}

std::string unclosed_message(const std::vector<bracket>& row, size_t index,
                             const tvr_src_token* first) {
    const tvr_src_token* token = row[index].token;
    const tvr_src_token* previous = before(token, first);
    if (token->is(code::round_open) && is_head_word(previous))
        return tvr_join("Cannot find closing bracket for '", previous->text(), "'.");
    if (token->is(code::curly_open) && previous != nullptr) {
        const bool behind_head = previous->is(code::round_close) && index > 0 &&
                                 row[index - 1].token == previous &&
                                 row[index - 1].partner != no_partner &&
                                 is_head_word(before(row[row[index - 1].partner].token, first));
        if (behind_head || previous->is(code::word_else) || previous->is(code::word_try))
            return "Cannot find closing bracket for code block.";
    }
    return "Cannot find closing bracket.";
}

}  // namespace

const tvr_src_token* find_bracket_end(const tvr_src_token* open) {
    const code closing = code(uint8_t(open->code) + 1);
    size_t depth = 0;
    for (const tvr_src_token* at = open; !at->is(code::end_of_file); ++at) {
        if (at->is(open->code)) ++depth;
        if (at->is(closing) && --depth == 0) return at;
    }
    return nullptr;
}

tvr_bracket_fault find_bracket_fault(const tvr_src_token* first) {
    const std::vector<bracket> row = match_by_kind(first);
    std::vector<size_t> ends;  // of the brackets that the walk is inside of
    for (size_t i = 0; i < row.size(); ++i) {
        if (tvr_is_open_bracket(row[i].token->code)) {
            const size_t limit = ends.empty() ? row.size() : ends.back();
            if (row[i].partner >= limit) return {row[i].token, unclosed_message(row, i, first)};
            ends.push_back(row[i].partner);
        } else if (!ends.empty() && ends.back() == i) {
            ends.pop_back();
        } else {
            return {row[i].token, tvr_join("Invalid closing bracket: ", row[i].token->text())};
        }
    }
    return {};
}
