#include "frontend/syntax/command.h"

namespace {

bool is_line_end(const tvr_src_token& token) {
    return token.is(tvr_token_code::line_end);
}

}  // namespace

const tvr_src_token* tvr_src_command::get_token(size_t i) const {
    for (const tvr_src_token* token = start; token != nullptr && token <= end; ++token) {
        if (is_line_end(*token)) continue;
        if (i-- == 0) return token;
    }
    return nullptr;
}

std::string tvr_src_command::get_str() const {
    std::string text;
    bool after_word = false;
    for (const tvr_src_token* token = start; token != nullptr && token <= end; ++token) {
        if (is_line_end(*token)) continue;
        const bool word = token->kind() != tvr_token_kind::symbol;
        if (word && after_word) text += ' ';
        const std::string_view quote = token->is(tvr_token_code::string_text) ? "\"" : "";
        text += quote;
        text += token->text();
        text += quote;
        after_word = word;
    }
    return text;
}
