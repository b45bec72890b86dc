#pragma once

// Escapes in string literals. Thread: any.
//
// Those of C (\a \b \f \n \r \t \v \\ \' \" \?), up to three octal digits, \x with up to two
// hexadecimal digits, \uXXXX and \UXXXXXXXX as UTF-8. A backslash in front of anything else stays
// as it stands, so "\d+" is a usable pattern.

#include <string>
#include <string_view>

std::string tvr_unescape_string(std::string_view text);

// A text that, between double quotes, reads as this one.
std::string tvr_escape_string(std::string_view text);
