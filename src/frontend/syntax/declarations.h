#pragma once

// Cuts the kernel declarations out of a file's tokens: part of stage 1.
//
//     kernel struct Name { ... }      kernel const T NAME = ...;
//     kernel inline T name(...) { }   kernel T name(...) reduce(+) { ... }
//
// The tokens of a declaration become one line end, whose text is the whole declaration, so that
// later its place in the unit can be found again; the declaration itself goes to the view. The word
// `kernel` that does not begin one of these forms at the start of a statement is an ordinary name.

#include "frontend/source/token_view.h"
#include "frontend/syntax/syntax_report.h"

// False after an error, which has been reported.
bool tvr_cut_declarations(tvr_src_token_view& view, tvr_syntax_report& report);

// Says that a declaration stands inside a function, class or block; false.
bool tvr_refuse_nested_declaration(const tvr_src_token& place, tvr_syntax_report& report);

// Whether a token marks the place of a declaration.
inline bool tvr_is_declaration_place(const tvr_src_token& token) {
    return token.is(tvr_token_code::line_end) && token.length > 1;
}
