#include "runtime/object/serialization.h"

#include <cstring>
#include <stdexcept>

namespace tvr_serialization {

uint64_t peek_varint_at(const uint8_t* data, size_t size, size_t offset, size_t& length) {
    constexpr uint64_t more = 0x80, low = 0x7F;
    constexpr unsigned last_shift = 63;  // of the tenth byte, of which one bit is left
    uint64_t value = 0;
    for (unsigned shift = 0; shift <= last_shift; shift += 7) {
        if (offset + shift / 7 >= size) throw std::runtime_error("Varint peek out of bounds");
        const uint64_t byte = data[offset + shift / 7];
        if (shift == last_shift && byte > 1) break;
        value |= (byte & low) << shift;
        if (byte & more) continue;
        length = shift / 7 + 1;
        return value;
    }
    throw std::runtime_error("Varint too large");
}

uint64_t reader::read_long_varint() {
    size_t length = 0;
    const uint64_t value = peek_varint_at(bytes.data(), bytes.size(), at, length);
    at += length;
    return value;
}

std::span<const uint8_t> reader::take(uint64_t count, const char* when_missing) {
    if (count > remaining()) throw std::runtime_error(when_missing);
    const std::span<const uint8_t> taken = bytes.subspan(at, size_t(count));
    at += size_t(count);
    return taken;
}

double reader::read_double() {
    double value;
    std::memcpy(&value, take(sizeof value, "Buffer underflow (trivial)").data(), sizeof value);
    return value;
}

std::string_view reader::read_string_view() {
    constexpr const char* missing = "Buffer underflow in read_string_view";
    const std::span<const uint8_t> text = take(read_varint(), missing);
    take(1, missing);
    return {reinterpret_cast<const char*>(text.data()), text.size()};
}

std::span<const uint8_t> reader::read_bytes_view() {
    return take(read_varint(), "Buffer underflow in read_bytes_view");
}

bool reader::check_section(std::string_view name) {
    constexpr const char* missing = "Buffer underflow in check_section";
    const std::span<const uint8_t> found = take(read_varint(), missing);
    take(1, missing);
    return found.size() == name.size() && std::memcmp(found.data(), name.data(), name.size()) == 0;
}

}  // namespace tvr_serialization
