#pragma once

// One number inside of raw memory, as kernels see it: little-endian, at any address.
//
// Reading gives an int for the integer kinds and a float for f32 and f64; a u64 above the range of
// an int comes back as its bit pattern. Writing takes an int that fits (for u64: 0 to 2^63-1), for
// f32 and f64 also a float, rounded to the nearest; json.bool counts as 0 or 1. Script thread.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "runtime/payload/std_buffer.h"
#include "runtime/value/value.h"

enum class tvr_element_kind : uint8_t { i8, u8, i16, u16, i32, u32, i64, u64, f32, f64 };

// By the word of a script, such as "u16". False for an unknown one.
bool tvr_element_kind_of(std::string_view word, tvr_element_kind& kind);
std::string_view tvr_element_kind_name(tvr_element_kind kind);
size_t tvr_element_bytes(tvr_element_kind kind);  // 1 to 8

// At an address with enough bytes behind it. Writing says false, with the reason in `error` and
// the memory as it was, for a value that does not fit: "expects u8 but got string", "value 300 does
// not fit into u8 (0 to 255)".
void tvr_read_element(const uint8_t* at, tvr_element_kind kind, tvrvar& value);
bool tvr_write_element(uint8_t* at, tvr_element_kind kind, tvrvar& value, std::string& error);

// At a byte offset of a buffer. False, with the reason in `error`, for an offset whose element is
// not whole inside of the buffer, for a buffer that a kernel launch keeps from the caller, and for
// a value that does not fit.
bool tvr_kernel_buffer_read(const tvr_std_buffer& buffer, int64_t offset, tvr_element_kind kind,
                            tvrvar& value, std::string& error);
bool tvr_kernel_buffer_write(tvr_std_buffer& buffer, int64_t offset, tvr_element_kind kind,
                             tvrvar& value, std::string& error);
