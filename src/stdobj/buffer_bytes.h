#pragma once

// The bytes in a value: of a buffer, of a string, or of a list of byte values. Script thread.

#include <cstdint>
#include <vector>

#include "runtime/value/value.h"

enum class tvr_bytes_found : uint8_t {
    bytes,
    no_bytes,  // a value of another type; nothing was said
    held,      // a buffer that a kernel launch writes; the error has been raised
};

// Appends them. Of each number of a list the low 8 bits count; a list with anything else in it has
// no bytes.
tvr_bytes_found tvr_bytes_of(tvrvar& value, std::vector<uint8_t>& out);
