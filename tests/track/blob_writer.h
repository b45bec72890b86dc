#pragma once

// Foreign bytes for tests, written field by field.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "track/bytes.h"

namespace deckbus::test {

struct blob_writer {
    blob_writer& zeros(size_t count) {
        data.resize(data.size() + count);
        return *this;
    }
    blob_writer& text(std::string_view chars) {
        data.insert(data.end(), chars.begin(), chars.end());
        return *this;
    }
    blob_writer& u8(uint32_t value) { return little(value, 1); }
    blob_writer& u16_le(uint32_t value) { return little(value, 2); }
    blob_writer& u32_le(uint32_t value) { return little(value, 4); }
    blob_writer& u16_be(uint32_t value) { return u8(value >> 8).u8(value); }
    blob_writer& u32_be(uint32_t value) { return u16_be(value >> 16).u16_be(value); }

    // Overwrites what stands at a place.
    blob_writer& put(size_t at, std::initializer_list<uint8_t> values) {
        std::copy(values.begin(), values.end(), data.begin() + long(at));
        return *this;
    }

    bytes data;

private:
    blob_writer& little(uint32_t value, int count) {
        for (int i = 0; i < count; ++i) data.push_back(uint8_t(value >> 8 * i));
        return *this;
    }
};

inline std::string base64_of(std::span<const uint8_t> data) {
    static constexpr char symbols[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (size_t bit = 0; bit < data.size() * 8; bit += 6) {
        uint32_t window = data[bit / 8] << 8;
        if (bit / 8 + 1 < data.size()) window |= data[bit / 8 + 1];
        out += symbols[window >> (10 - bit % 8) & 0x3F];
    }
    while (out.size() % 4 != 0) out += '=';
    return out;
}

}  // namespace deckbus::test
