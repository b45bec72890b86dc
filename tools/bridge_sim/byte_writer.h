#pragma once

// Numbers appended to a blob, in the byte order of its format.

#include <cstdint>
#include <string_view>
#include <vector>

namespace bridge_sim {

using bytes = std::vector<uint8_t>;

inline void put_u16_le(bytes& out, uint32_t value) {
    out.push_back(uint8_t(value));
    out.push_back(uint8_t(value >> 8));
}

inline void put_u32_le(bytes& out, uint32_t value) {
    put_u16_le(out, value);
    put_u16_le(out, value >> 16);
}

inline void put_u16_be(bytes& out, uint32_t value) {
    out.push_back(uint8_t(value >> 8));
    out.push_back(uint8_t(value));
}

inline void put_u32_be(bytes& out, uint32_t value) {
    put_u16_be(out, value >> 16);
    put_u16_be(out, value);
}

inline void put_text(bytes& out, std::string_view text) {
    out.insert(out.end(), text.begin(), text.end());
}

inline void put_zeros(bytes& out, size_t count) {
    out.resize(out.size() + count);
}

}  // namespace bridge_sim
