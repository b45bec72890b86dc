#pragma once

// Reading numbers out of foreign bytes, whatever the machine's own order.
//
// The caller has checked that the bytes are there; a read past the end is our own mistake and
// is asserted. gcc and clang turn each of these into a single load.

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <span>

inline uint16_t read_u16_le(std::span<const uint8_t> data, size_t at) {
    assert(at + 2 <= data.size());
    return uint16_t(data[at] | data[at + 1] << 8);
}

inline uint16_t read_u16_be(std::span<const uint8_t> data, size_t at) {
    assert(at + 2 <= data.size());
    return uint16_t(data[at] << 8 | data[at + 1]);
}

inline uint32_t read_u32_le(std::span<const uint8_t> data, size_t at) {
    assert(at + 4 <= data.size());
    return uint32_t(data[at]) | uint32_t(data[at + 1]) << 8 | uint32_t(data[at + 2]) << 16 |
           uint32_t(data[at + 3]) << 24;
}

inline uint32_t read_u32_be(std::span<const uint8_t> data, size_t at) {
    assert(at + 4 <= data.size());
    return uint32_t(data[at]) << 24 | uint32_t(data[at + 1]) << 16 | uint32_t(data[at + 2]) << 8 |
           uint32_t(data[at + 3]);
}
