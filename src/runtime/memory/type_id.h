#pragma once

// A number for each type, the same in every library of the process.

#include <cstdint>

using tvr_type_id = uint64_t;

// The address of a static of an inline function: the dynamic linker makes it one for the whole
// process. 0 is no type.
template <typename T>
tvr_type_id tvr_typeid() {
    static char mark = 0;  // not const: equal constants may be merged
    return reinterpret_cast<tvr_type_id>(&mark);
}
