#pragma once

// The pieces that binary forms are made of.
//
// A varint is unsigned LEB128: seven bits a byte, the low ones first, the top bit set on all bytes
// but the last. A text is its length as a varint, its bytes, and a zero byte that does not count.

#include <cstdint>
#include <string_view>
#include <vector>

namespace tvr_serialization {

inline void write_varint(std::vector<uint8_t>& out, uint64_t value) {
    constexpr uint64_t more = 0x80;
    for (; value >= more; value >>= 7) out.push_back(uint8_t(value | more));
    out.push_back(uint8_t(value));
}

// Appends to a vector, which must outlive it.
class writer {
public:
    explicit writer(std::vector<uint8_t>& into) : out(into) {}

    void write_varint(uint64_t value) { tvr_serialization::write_varint(out, value); }
    void write_bytes(const uint8_t* bytes, size_t count) {
        write_varint(count);
        out.insert(out.end(), bytes, bytes + count);
    }
    void write_string_raw(std::string_view text) {
        write_varint(text.size());
        out.insert(out.end(), text.begin(), text.end());
        out.push_back(0);
    }

private:
    std::vector<uint8_t>& out;
};

}  // namespace tvr_serialization
