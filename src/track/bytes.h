#pragma once

// Bytes on their way from text to blob: the buffer type, base64 and CRC-32.
//
// Pure functions, any thread.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace deckbus {

using bytes = std::vector<uint8_t>;

// Appends the decoded text to `out`. Standard alphabet. Decoding ends with success at the end of
// the text or at the first '=', whatever follows it; fewer than 8 bits left over are dropped.
// Any other byte, white space included, ends it with false, and what was appended stays.
bool base64_decode(std::string_view text, bytes& out);

// How many bytes base64_decode would append to an empty buffer, or -1 where it would fail,
// writing them to `out`, which holds `capacity` bytes; what does not fit is counted and not
// written. So a part of a blob lands in its final place without a copy.
int64_t base64_decode_into(std::string_view text, uint8_t* out, size_t capacity);

// The common reflected CRC-32: polynomial 0xEDB88320, initial value and final inversion
// 0xFFFFFFFF. Empty input gives 0.
uint32_t crc32(const uint8_t* data, size_t length);

}  // namespace deckbus
