#include "net/relay/pcm_packet.h"

#include <cstring>
#include <span>

#include "base/byte_order.h"

namespace deckbus::net {

namespace {

constexpr char magic[] = {'P', 'C', 'M', '1'};
constexpr size_t rate_at = 4, seq_at = 8, samples_at = 12, format_at = 14, source_at = 15;
constexpr size_t clock_at = 16, header_bytes = 24;
constexpr uint8_t int16_format = 1;

void put(std::vector<uint8_t>& out, uint64_t value, size_t bytes) {
    for (size_t i = 0; i < bytes; i++) out.push_back(uint8_t(value >> (8 * i)));
}

}  // namespace

bool parse_pcm_packet(const uint8_t* data, size_t size, double t, deckbus::audio_chunk& out) {
    if (size < header_bytes || std::memcmp(data, magic, sizeof magic) != 0) return false;
    const std::span<const uint8_t> packet(data, size);
    out.sample_rate = int32_t(read_u32_le(packet, rate_at));
    out.seq = read_u32_le(packet, seq_at);
    out.source = packet[source_at];
    out.us = int64_t(read_u32_le(packet, clock_at)) |
             int64_t(uint64_t(read_u32_le(packet, clock_at + 4)) << 32);
    out.t = t;
    if (packet[format_at] != int16_format || out.sample_rate == 0) return false;
    const size_t pcm_bytes = size_t(read_u16_le(packet, samples_at)) * sizeof(int16_t);
    if (size < header_bytes + pcm_bytes) return false;
    const auto pcm = packet.subspan(header_bytes, pcm_bytes);
    out.pcm.assign(pcm.begin(), pcm.end());
    return true;
}

std::vector<uint8_t> make_pcm_packet(const deckbus::audio_chunk& chunk) {
    std::vector<uint8_t> out(magic, magic + sizeof magic);
    put(out, uint32_t(chunk.sample_rate), 4);
    put(out, chunk.seq, 4);
    put(out, chunk.pcm.size() / sizeof(int16_t), 2);
    put(out, int16_format, 1);
    put(out, uint64_t(chunk.source), 1);
    put(out, uint64_t(chunk.us), 8);
    out.insert(out.end(), chunk.pcm.begin(), chunk.pcm.end());
    return out;
}

}  // namespace deckbus::net
