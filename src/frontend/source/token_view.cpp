#include "frontend/source/token_view.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "frontend/source/source_excerpt.h"

namespace {

constinit const tvr_src_token no_token{};

}  // namespace

const tvr_src_token& tvr_src_token_view::get_token(size_t index) const {
    if (index < tokens.size()) return tokens[index];
    return tokens.empty() ? no_token : tokens.back();
}

bool tvr_src_token_view::is_word(size_t index, std::string_view text) const {
    const tvr_src_token& token = get_token(index);
    return token.kind() == tvr_token_kind::word && token.text() == text;
}

bool tvr_src_token_view::is_symbol(size_t index, std::string_view text) const {
    const tvr_src_token& token = get_token(index);
    return token.kind() == tvr_token_kind::symbol && token.text() == text;
}

bool tvr_src_token_view::is_bracket_open(size_t index) const {
    const tvr_token_code code = get_token(index).code;
    return code == tvr_token_code::round_open || code == tvr_token_code::square_open ||
           code == tvr_token_code::curly_open;
}

bool tvr_src_token_view::has_strict_marks() const {
    return !strict_marks.empty() ||
           std::any_of(included.begin(), included.end(),
                       [](const auto& view) { return view->has_strict_marks(); });
}

bool tvr_src_token_view::is_strict_at(const tvr_src_token& token, bool otherwise) const {
    bool strict = otherwise;
    for (const strict_mark& mark : strict_marks) {
        if (mark.line > token.line || (mark.line == token.line && mark.column > token.column))
            break;
        strict = mark.on;
    }
    return strict;
}

std::string_view tvr_src_token_view::keep_text(std::string text) {
    return kept_texts.emplace_back(std::move(text));
}

bool tvr_is_strict_code(const tvr_src_token& token, bool otherwise) {
    const tvr_src_token& use = tvr_place_of_use(token);
    return use.view() != nullptr && use.view()->is_strict_at(use, otherwise);
}
