#pragma once

// The binary form of values: for files, for the network, for other programs.
//
//     value    section "v11", type as a varint (value_types.h), payload
//     int      the varint of (x << 1) ^ (x >> 63), so that small negative numbers stay short
//     float    eight bytes, low byte first
//     string   text, as in object/serialization.h
//     binary   length as a varint, bytes
//     json     section "j11", number of entries as a varint; each has its key as a text, empty for
//              none, and a value
//     object   what its own to_binary() writes
//
// None, and everything that has no binary form, is a type without a payload; the reader makes none
// of it. A json inside of itself, or more than 1024 deep, has no form, and so has what holds it.
//
// Functions: tvrvar::to_binary(), from_binary(), and those of tvr_std_json. Script thread.

#include <cstddef>
#include <string_view>

inline constexpr size_t tvr_max_binary_depth = 1024;  // jsons inside of each other

inline constexpr std::string_view tvr_value_section = "v11";
inline constexpr std::string_view tvr_json_section = "j11";
