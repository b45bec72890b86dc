#pragma once

// Numbers in digits three rows tall, drawn with half blocks. Pure functions.

#include <string_view>

#include "host/monitor/canvas.h"

namespace monitor {

inline constexpr int big_digit_rows = 3;

// Cells that the text takes.
int big_width(std::string_view text);

// Digits, '.', '-' and blanks; others are overlooked. What stands behind the point is painted in
// `behind`. The x behind the text.
int draw_big(const area& on, int x, std::string_view text, color ink, color behind);

}  // namespace monitor
