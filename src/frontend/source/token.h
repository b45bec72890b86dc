#pragma once

// One token of script text.
//
// A plain record of 48 bytes in the vector of its view: the text is never copied but points into
// the view's source. Whoever keeps the view may keep pointers to its tokens; the syntax tree does.
// Thread: one compile on one thread; read-only afterwards.

#include <cstdint>
#include <string_view>

#include "frontend/source/token_code.h"

class tvr_src_token_view;

enum class tvr_token_kind : int32_t {
    symbol = 1,  // an operator or punctuation; also the end of file, whose text is empty
    word = 2,    // an identifier, a keyword or a number
    string = 3,  // the text between the quotes
    line_end = 12,
};

struct tvr_src_token {
    bool is(tvr_token_code other) const { return code == other; }

    tvr_token_kind kind = tvr_token_kind::symbol;
    tvr_token_code code = tvr_token_code::end_of_file;
    bool raw = false;  // a string without escapes
    std::string_view text;
    uint32_t line = 0;                            // from 1
    uint32_t column = 0;                          // from 1, in code points
    const tvr_src_token_view* view = nullptr;     // the source that it stands in
    const tvr_src_token* macro_origin = nullptr;  // the word that a #define replaced, or null
};
