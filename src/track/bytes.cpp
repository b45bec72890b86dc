#include "track/bytes.h"

#include <algorithm>
#include <array>

#include "base/byte_order.h"

namespace deckbus {
namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Four symbols make three bytes. For each of the four places a table holds the bits that a
// symbol gives, already where they belong in a little-endian word of those bytes. So a group is
// four loads, joined; a byte outside the alphabet shows in the word's top bit.
using symbol_bits = std::array<uint32_t, 256>;
constexpr uint32_t no_symbol = 0x80000000;

constexpr std::array<symbol_bits, 4> make_symbol_tables() {
    std::array<symbol_bits, 4> tables{};
    for (uint32_t place = 0; place < 4; ++place) {
        tables[place].fill(no_symbol);
        for (uint32_t value = 0; value < alphabet.size(); ++value) {
            const uint32_t bits = value << (18 - 6 * place);
            tables[place][uint8_t(alphabet[value])] =
                bits >> 16 | (bits & 0xFF00) | (bits & 0xFF) << 16;
        }
    }
    return tables;
}

constexpr std::array<uint8_t, 256> make_symbol_values() {
    std::array<uint8_t, 256> values{};
    values.fill(0xFF);
    for (size_t value = 0; value < alphabet.size(); ++value)
        values[uint8_t(alphabet[value])] = uint8_t(value);
    return values;
}

constexpr std::array<symbol_bits, 4> symbol_tables = make_symbol_tables();
constexpr std::array<uint8_t, 256> symbol_values = make_symbol_values();

// Decodes whole groups until one holds something else or does not fit. How many it took.
size_t decode_groups(std::string_view text, uint8_t* out, size_t capacity) {
    const size_t most = std::min(text.size() / 4, capacity / 3);
    const auto* in = reinterpret_cast<const uint8_t*>(text.data());
    for (size_t group = 0; group < most; ++group, in += 4, out += 3) {
        const uint32_t word = symbol_tables[0][in[0]] | symbol_tables[1][in[1]] |
                              symbol_tables[2][in[2]] | symbol_tables[3][in[3]];
        if (word & no_symbol) return group;
        out[0] = uint8_t(word);
        out[1] = uint8_t(word >> 8);
        out[2] = uint8_t(word >> 16);
    }
    return most;
}

struct decoded {
    size_t bytes;  // also those that did not fit
    bool ok;
};

decoded decode(std::string_view text, uint8_t* out, size_t capacity) {
    const size_t groups = decode_groups(text, out, capacity);
    size_t count = groups * 3;
    uint32_t held = 0;
    int held_bits = 0;
    for (const char symbol : text.substr(groups * 4)) {
        if (symbol == '=') break;
        const uint8_t value = symbol_values[uint8_t(symbol)];
        if (value == 0xFF) return {count, false};
        held = held << 6 | value;
        held_bits += 6;
        if (held_bits < 8) continue;
        held_bits -= 8;
        if (count < capacity) out[count] = uint8_t(held >> held_bits);
        ++count;
    }
    return {count, true};
}

constexpr size_t crc_chunk = 16;
using crc_table = std::array<uint32_t, 256>;

// Table k tells what a byte does to the checksum when k zero bytes follow it. So the bytes of a
// chunk are looked up independently of each other and joined.
constexpr std::array<crc_table, crc_chunk> make_crc_tables() {
    std::array<crc_table, crc_chunk> tables{};
    for (uint32_t byte = 0; byte < 256; ++byte) {
        uint32_t crc = byte;
        for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320 : 0);
        tables[0][byte] = crc;
    }
    for (size_t k = 1; k < crc_chunk; ++k)
        for (size_t byte = 0; byte < 256; ++byte) {
            const uint32_t crc = tables[k - 1][byte];
            tables[k][byte] = crc >> 8 ^ tables[0][crc & 0xFF];
        }
    return tables;
}

constexpr std::array<crc_table, crc_chunk> crc_tables = make_crc_tables();

uint32_t crc_of_chunk(uint32_t crc, std::span<const uint8_t> chunk) {
    const uint32_t first = crc ^ read_u32_le(chunk, 0);
    uint32_t next = 0;
    for (size_t i = 0; i < 4; ++i) next ^= crc_tables[crc_chunk - 1 - i][first >> 8 * i & 0xFF];
    for (size_t i = 4; i < crc_chunk; ++i) next ^= crc_tables[crc_chunk - 1 - i][chunk[i]];
    return next;
}

}  // namespace

bool base64_decode(std::string_view text, bytes& out) {
    const size_t before = out.size();
    out.resize(before + text.size() / 4 * 3 + 3);
    const decoded result = decode(text, out.data() + before, out.size() - before);
    out.resize(before + result.bytes);
    return result.ok;
}

int64_t base64_decode_into(std::string_view text, uint8_t* out, size_t capacity) {
    const decoded result = decode(text, out, capacity);
    return result.ok ? int64_t(result.bytes) : -1;
}

uint32_t crc32(const uint8_t* data, size_t length) {
    std::span<const uint8_t> rest(data, length);
    uint32_t crc = 0xFFFFFFFF;
    for (; rest.size() >= crc_chunk; rest = rest.subspan(crc_chunk)) crc = crc_of_chunk(crc, rest);
    for (const uint8_t byte : rest) crc = crc_tables[0][(crc ^ byte) & 0xFF] ^ crc >> 8;
    return ~crc;
}

}  // namespace deckbus
