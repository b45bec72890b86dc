#pragma once

// The pieces that binary forms are made of.
//
// A varint is unsigned LEB128: seven bits a byte, the low ones first, the top bit set on all bytes
// but the last. A text is its length as a varint, its bytes, and a zero byte that does not count.
// A section is a text that names what follows, so that readers know what they do not know.

#include <cstdint>
#include <span>
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

// The varint at an offset; `length` becomes its bytes, 1 to 10. Throws like the reader.
uint64_t peek_varint_at(const uint8_t* data, size_t size, size_t offset, size_t& length);

// Walks over bytes that must outlive it and all views that it gives. What is not there is a
// std::runtime_error, never a read past the end.
class reader {
public:
    reader(const uint8_t* data, size_t size) : bytes(data, size) {}

    size_t position() const { return at; }
    size_t remaining() const { return bytes.size() - at; }

    uint64_t read_varint() {
        if (at < bytes.size() && bytes[at] < 0x80) return bytes[at++];
        return read_long_varint();
    }
    double read_double();                 // eight bytes
    std::string_view read_string_view();  // steps over the zero byte
    std::span<const uint8_t> read_bytes_view();

    // Steps over the name of a section; whether it was this one.
    bool check_section(std::string_view name);

private:
    uint64_t read_long_varint();
    std::span<const uint8_t> take(uint64_t count, const char* when_missing);

    std::span<const uint8_t> bytes;
    size_t at = 0;
};

}  // namespace tvr_serialization
