#pragma once

// UTF-8, one code point at a time. A malformed sequence counts as single bytes. Thread: any.

#include <cstdint>
#include <string>
#include <string_view>

struct tvr_code_point {
    uint32_t value = 0;  // the byte itself when malformed
    uint32_t bytes = 1;  // how many it takes; 0 at the end of the text
    bool well_formed = true;
};

// The code point at the front of a text.
tvr_code_point tvr_decode_utf8(std::string_view text);

// Appends a code point up to 0x10FFFF.
void tvr_append_utf8(std::string& out, uint32_t value);

// Columns that a code point takes in a terminal: 0 for combining marks, 2 for wide characters.
int tvr_display_width(uint32_t code_point);
