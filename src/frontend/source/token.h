#pragma once

// One token of script text.
//
// A plain record of 32 bytes in the vector of its view: a page of script is a few hundred of them,
// and all stages run over them, so their size is most of what a compile costs. The text is never
// copied but stands in the view's source. Whoever keeps the view may keep pointers to its tokens;
// the syntax tree does. Thread: one compile on one thread; read-only afterwards.

#include <cstdint>
#include <string_view>

#include "frontend/source/token_code.h"

class tvr_src_token_view;
struct tvr_src_token;

enum class tvr_token_kind : int32_t {
    symbol = 1,  // an operator or punctuation; also the end of file, whose text is empty
    word = 2,    // an identifier, a keyword or a number
    string = 3,  // the text between the quotes
    line_end = 12,
};

// Where tokens come from; one for each view and one for each use of a #define.
struct tvr_src_origin {
    const tvr_src_token_view* view = nullptr;     // the source that they stand in
    const tvr_src_token* macro_origin = nullptr;  // the word that they replaced, or null
};

struct tvr_src_token {
    bool is(tvr_token_code other) const { return code == other; }
    tvr_token_kind kind() const {
        if (code == tvr_token_code::line_end) return tvr_token_kind::line_end;
        if (code == tvr_token_code::string_text) return tvr_token_kind::string;
        return code < tvr_token_code::string_text ? tvr_token_kind::symbol : tvr_token_kind::word;
    }
    std::string_view text() const { return {begin, length}; }
    void set_text(std::string_view text) {
        begin = text.data();
        length = uint32_t(text.size());
    }
    const tvr_src_token_view* view() const { return origin != nullptr ? origin->view : nullptr; }
    const tvr_src_token* macro_origin() const {
        return origin != nullptr ? origin->macro_origin : nullptr;
    }

    const char* begin = nullptr;
    const tvr_src_origin* origin = nullptr;  // lives as long as the view, or as the tree
    uint32_t length = 0;                     // bytes
    uint32_t line = 0;                       // from 1
    uint32_t column = 0;                     // from 1, in code points
    tvr_token_code code = tvr_token_code::end_of_file;
    bool raw = false;  // a string without escapes
};
static_assert(sizeof(tvr_src_token) == 32);
