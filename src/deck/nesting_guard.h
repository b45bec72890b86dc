#pragma once

// The guard in front of the JSON parser: a hostile line must not nest the parser's stack away.

#include <string_view>

namespace deckbus {

inline constexpr int max_line_depth = 16;  // the deepest line that the parser ever sees

// True if brackets and braces outside strings nest deeper than max_line_depth. One pass, no
// allocation. An unterminated string ends the walk; the parser then judges the line. Any thread.
bool nests_too_deeply(std::string_view line);

}  // namespace deckbus
