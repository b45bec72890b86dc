#pragma once

// The place of a token as a person wants to see it in a report:
//
//     --> show.tvio:12:9
//      | 	x = foo bar;
//      | 	        ^~~~~
//
// The caret stands under the token's first character also behind tabs, which its line repeats,
// and behind characters that take two columns or none. Of long lines only the surroundings of the
// caret are shown. Thread: any.

#include <string>

#include "frontend/source/token.h"

inline constexpr size_t tvr_longest_excerpt = 200;  // columns of a source line that are shown

// Where the token was written: the outermost use of a #define that it came from, or itself.
const tvr_src_token& tvr_place_of_use(const tvr_src_token& token);

// Those three lines, each with its line feed. The token needs a view.
std::string tvr_source_excerpt(const tvr_src_token& token);
