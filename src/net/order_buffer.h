#pragma once

// What a node keeps of each sender: the commands that it is putting together, and the tickets that
// are done with.
//
// Thread: the node's.

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <unordered_map>
#include <vector>

#include "net/address.h"
#include "net/chunk_bits.h"
#include "net/packet.h"
#include "net/timer.h"

// Memory of a command. Left uninitialised: a large one costs nothing until its chunks arrive, so a
// sender that announces much and sends nothing takes no memory.
struct tvrnet_command_bytes {
    void make_room(size_t size);

    std::unique_ptr<uint8_t[]> bytes;
    size_t capacity = 0;
};

// One command being received.
struct tvrnet_order_buffer {
    static constexpr uint64_t silence_ms = 30000;

    size_t place_of(uint32_t chunk) const { return size_t(chunk) * chunk_size; }

    tvrnet_adr sender;
    uint64_t ticket_id = 0;
    uint64_t total = 0;
    uint32_t command_hash = 0;
    uint32_t last_chunk = 0;
    std::unique_ptr<tvrnet_command_bytes> data;
    tvrnet_chunk_bits have;
    size_t chunk_size = tvrnet_max_payload;
    uint32_t missing = 0;
    int64_t last_in_order = -1;
    tvrnet_timer timeout;
    bool was_asked = false;      // an ack request came
    uint32_t last_sequence = 0;  // of the last request that was answered in full
};

// Tickets that were delivered, so that nothing is delivered twice. They come from a counter and
// stand in words of 64; the oldest words are forgotten.
class tvrnet_finished_tickets {
public:
    static constexpr size_t max_words = 16384;  // so at least as many tickets, usually 64 times

    bool has(uint64_t ticket) const;
    void add(uint64_t ticket);
    void clear();

private:
    std::unordered_map<uint64_t, uint64_t> words;
    std::deque<uint64_t> order;  // keys of `words`, the oldest in front
};

// A sender, by its MAC.
struct tvrnet_endpoint_s {
    uint32_t session_id = tvrnet_no_session;  // the peer's own for us; none while unknown
    uint64_t last_life_ms = 0;
    bool has_device = false;  // connected: kept however many strangers come
    std::map<uint64_t, std::unique_ptr<tvrnet_order_buffer>> open;  // by ticket, the oldest first
    tvrnet_finished_tickets finished;
};
