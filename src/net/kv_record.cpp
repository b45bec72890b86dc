#include "net/kv_record.h"

#include <cmath>
#include <cstring>

#include "base/byte_order.h"

namespace {

constexpr size_t max_key = 254;   // bytes with the terminator
constexpr size_t head_bytes = 2;  // key length and format
constexpr size_t size_bytes = 4;  // of the value's size

template <typename T>
void add_number(tvrnet_kv_writer& to, const char* key, T value, tvrnet_pkt_dataformat format) {
    uint8_t bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    to.add_data(key, bytes, sizeof bytes, format);
}

// The number in at most sizeof(T) bytes; what is missing counts as zeros above.
template <typename T>
T number_in(std::span<const uint8_t> value) {
    T number{};
    std::memcpy(&number, value.data(), std::min(sizeof number, value.size()));
    return number;
}

// Truncated toward 0, and held to what 32 bits can say.
int32_t whole_number(double value) {
    constexpr double least = INT32_MIN, most = INT32_MAX;
    if (std::isnan(value)) return 0;
    return int32_t(value <= least ? least : value >= most ? most : value);
}

}  // namespace

void tvrnet_kv_writer::add_data(const char* key, const uint8_t* bytes, size_t size,
                                tvrnet_pkt_dataformat format) {
    const size_t key_bytes = std::strlen(key) + 1;
    if (key_bytes > max_key || size > UINT32_MAX) return;
    const size_t at = data.size();
    data.resize(at + head_bytes + key_bytes + size_bytes + size);
    uint8_t* out = data.data() + at;
    *out++ = uint8_t(key_bytes);
    *out++ = uint8_t(format);
    std::memcpy(out, key, key_bytes);
    out += key_bytes;
    for (size_t i = 0; i < size_bytes; i++) *out++ = uint8_t(size >> (8 * i));
    if (size > 0) std::memcpy(out, bytes, size);
}

void tvrnet_kv_writer::add_bytes(const char* key, std::span<const uint8_t> bytes) {
    add_data(key, bytes.data(), bytes.size(), tvrnet_pkt_dataformat::buffer);
}
void tvrnet_kv_writer::add_text(const char* key, std::string_view text) {
    add_data(key, reinterpret_cast<const uint8_t*>(text.data()), text.size(),
             tvrnet_pkt_dataformat::text);
}
void tvrnet_kv_writer::add_int32(const char* key, int32_t value) {
    add_number(*this, key, value, tvrnet_pkt_dataformat::int32);
}
void tvrnet_kv_writer::add_int64(const char* key, int64_t value) {
    add_number(*this, key, value, tvrnet_pkt_dataformat::int64);
}
void tvrnet_kv_writer::add_float(const char* key, float value) {
    add_number(*this, key, value, tvrnet_pkt_dataformat::float32);
}
void tvrnet_kv_writer::add_double(const char* key, double value) {
    add_number(*this, key, value, tvrnet_pkt_dataformat::float64);
}

bool tvrnet_kv_reader::read() {
    have_record = false;
    const auto rest = buffer.subspan(position);
    if (rest.size() < head_bytes) return false;
    const size_t key_bytes = rest[0];
    if (key_bytes == 0 || key_bytes > max_key) return false;
    const size_t value_at = head_bytes + key_bytes + size_bytes;
    if (rest.size() < value_at) return false;
    const size_t size = read_u32_le(rest, head_bytes + key_bytes);
    if (size > rest.size() - value_at) return false;

    rest[head_bytes + key_bytes - 1] = 0;
    key = reinterpret_cast<const char*>(rest.data() + head_bytes);  // up to its first zero
    format = tvrnet_pkt_dataformat(rest[1]);
    value = rest.subspan(value_at, size);
    position += value_at + size;
    return have_record = true;
}

bool tvrnet_kv_reader::read_key(const char* name) {
    if (have_record && key == name) return true;
    while (read()) {
        if (key == name) return true;
    }
    position = 0;
    while (read()) {
        if (key == name) return true;
    }
    return false;
}

int32_t tvrnet_kv_reader::read_int32(const char* name) {
    if (!read_key(name)) return 0;
    switch (format) {
    case tvrnet_pkt_dataformat::int16: return number_in<int16_t>(value);
    case tvrnet_pkt_dataformat::int32: return number_in<int32_t>(value);
    case tvrnet_pkt_dataformat::int64: return int32_t(uint32_t(number_in<uint64_t>(value)));
    case tvrnet_pkt_dataformat::float32: return whole_number(double(number_in<float>(value)));
    case tvrnet_pkt_dataformat::float64: return whole_number(number_in<double>(value));
    default: return 0;
    }
}
