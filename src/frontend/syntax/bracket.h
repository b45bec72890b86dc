#pragma once

// Which bracket closes which. Brackets count by their own kind alone, and what stands inside a
// string is no bracket. Thread: any.

#include <string>

#include "frontend/source/token.h"

constexpr bool tvr_is_open_bracket(tvr_token_code code) {
    return code == tvr_token_code::round_open || code == tvr_token_code::square_open ||
           code == tvr_token_code::curly_open;
}
constexpr bool tvr_is_close_bracket(tvr_token_code code) {
    return code == tvr_token_code::round_close || code == tvr_token_code::square_close ||
           code == tvr_token_code::curly_close;
}

// The token that closes the bracket at `open`, or null when the end of file comes first.
const tvr_src_token* find_bracket_end(const tvr_src_token* open);

struct tvr_bracket_fault {
    const tvr_src_token* token = nullptr;  // null: all brackets fit
    std::string message;
};

// The first bracket, in the order of the tokens, that is closed too late or never, or that closes
// nothing. The row ends with the end of file; lines with a #define are left out.
tvr_bracket_fault find_bracket_fault(const tvr_src_token* first);
