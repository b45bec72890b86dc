#pragma once

// The path of a field inside a kernel struct: names with dots between them, "[n]" behind arrays.

#include <cstdint>
#include <string>
#include <string_view>

#include "kernel/types.h"

struct tvr_kernel_field {
    uint64_t offset = 0;  // bytes from the struct's begin
    tvrk_type type;       // of the field, or of an array's elements
    uint32_t count = 0;   // elements of an array that no index follows; 0: no array

    bool is_number() const { return count == 0 && type.is_scalar(); }
};

// False, with the reason in `error`, for what is no path to a field of this struct.
bool tvr_find_kernel_field(const tvrk_struct& record, std::string_view path,
                           tvr_kernel_field& found, std::string& error);
