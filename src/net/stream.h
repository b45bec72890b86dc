#pragma once

// Streams: frames of chunks that nobody repeats.
//
// A frame is all chunks of one ticket. It is delivered when they are all there, and dropped when a
// chunk of another frame comes first. Thread: the node's.

#include <cstdint>
#include <vector>

#include "net/chunk_bits.h"
#include "net/packet.h"

struct tvrnet_stream_endpoint_s {
    static constexpr uint64_t max_frame_bytes = 4 * 1024 * 1024;

    // Takes a chunk. True when it completes its frame, which then stands in `frame`.
    bool take(const tvrnet_pkt& chunk);

    uint64_t last_life_ms = 0;
    std::vector<uint8_t> frame;

private:
    bool begin(const tvrnet_pkt_header& header);

    uint64_t ticket_id = 0;
    uint32_t command_hash = 0;
    uint32_t last_chunk = 0;
    uint32_t missing = 0;  // 0 between frames
    tvrnet_chunk_bits have;
};
