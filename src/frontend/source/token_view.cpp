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
    const auto behind = std::ranges::partition_point(strict_marks, [&](const strict_mark& mark) {
        return std::pair(mark.line, mark.column) <= std::pair(token.line, token.column);
    });
    return behind != strict_marks.begin() ? std::prev(behind)->on : otherwise;
}

std::string_view tvr_src_token_view::line_text(uint32_t line) const {
    if (line < 1 || line > line_starts.size()) return {};
    const size_t start = line_starts[line - 1];
    const size_t end = line < line_starts.size() ? line_starts[line] - 1 : source.size();
    std::string_view text = std::string_view(source).substr(start, end - start);
    if (text.ends_with('\r')) text.remove_suffix(1);
    return text;
}

std::string_view tvr_src_token_view::keep_text(std::string text) {
    return kept_texts.emplace_back(std::move(text));
}

bool tvr_is_strict_code(const tvr_src_token& token, bool otherwise) {
    const tvr_src_token& use = tvr_place_of_use(token);
    return use.view() != nullptr && use.view()->is_strict_at(use, otherwise);
}
