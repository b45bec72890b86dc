#include "net/stream.h"

#include <cstring>

namespace {

// A chunk that was overtaken belongs to one of the last frames; a sender that counts from further
// back has begun anew.
constexpr uint64_t late_tickets = 1024;

}  // namespace

bool tvrnet_stream_endpoint_s::take(const tvrnet_pkt& chunk) {
    const tvrnet_pkt_header& h = chunk.header;
    if (h.ticket_id < ticket_id && ticket_id - h.ticket_id < late_tickets) return false;
    const bool same = h.ticket_id == ticket_id && command_hash == h.command_hash;
    if (!same && !begin(h)) return false;
    if (missing == 0 || h.last_chunk != last_chunk || h.total_size != frame.size()) return false;

    const size_t at = size_t(h.chunk_index) * tvrnet_max_payload;
    const size_t expected = h.chunk_index < last_chunk ? tvrnet_max_payload : frame.size() - at;
    if (h.payload_size != expected || have.has(h.chunk_index)) return false;
    if (expected > 0) std::memcpy(frame.data() + at, chunk.payload.data(), expected);
    have.add(h.chunk_index);
    return --missing == 0;
}

bool tvrnet_stream_endpoint_s::begin(const tvrnet_pkt_header& header) {
    if (header.total_size > max_frame_bytes) return false;
    const uint64_t last = header.total_size == 0 ? 0 : (header.total_size - 1) / tvrnet_max_payload;
    if (header.last_chunk != last) return false;
    ticket_id = header.ticket_id;
    command_hash = header.command_hash;
    last_chunk = header.last_chunk;
    missing = last_chunk + 1;
    have.reset(missing);
    frame.resize(header.total_size);
    return true;
}
