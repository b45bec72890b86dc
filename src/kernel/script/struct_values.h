#pragma once

// Numbers and structs in memory as values of scripts, and back. Script thread.

#include <cstdint>
#include <string>

#include "kernel/types.h"
#include "runtime/value/value.h"

// The type is a number's.
tvrvar_shared tvr_read_kernel_number(const uint8_t* at, tvrk_prim prim);
// False, with the reason in `error` and the memory as it was, for a value that does not fit.
bool tvr_write_kernel_number(uint8_t* at, tvrk_prim prim, tvrvar& value, std::string& error);

// A json object; structs and vectors inside are objects, arrays are lists.
tvrvar_shared tvr_read_kernel_struct(const uint8_t* at, const tvrk_struct& record);
// Writes the fields that the json has. False, with the reason in `error` and the memory as it was,
// when it has others or one that does not fit.
bool tvr_write_kernel_struct(uint8_t* at, const tvrk_struct& record, tvr_std_json& values,
                             std::string& error);
