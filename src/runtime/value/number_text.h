#pragma once

// Numbers from text and text from numbers, the same in every locale.

#include <cstdint>
#include <string>
#include <string_view>

// The longest decimal prefix behind leading blanks, with an optional sign; what follows is
// ignored, and text without one gives 0. Integers saturate; no hexadecimal, no inf, no nan.
int64_t tvr_parse_int_prefix(std::string_view text);
double tvr_parse_float_prefix(std::string_view text);

// As int_value() reads a float: towards zero, 0 for NaN, saturated at the ends of int64.
int64_t tvr_int_of_float(double value);

void tvr_append_int(std::string& out, int64_t value);
void tvr_append_float(std::string& out, double value);  // the six decimals of "%f"
