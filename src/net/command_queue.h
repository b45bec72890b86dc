#pragma once

// The commands of one device that are on their way, each in one place at a time.
//
//   high priority   strictly in order, the head alone is served
//   acknowledged    high-priority commands whose chunks are out; the head waits for its ack
//   normal          all others, each served in turn, in order
//   responses       requests and answers, like normal
//
// Commands that only wait for time to pass stand aside, so that thousands of them cost a turn
// nothing: `idle_until` tells when they want to be looked at again.
//
// Thread: the node's.

#include <cstdint>
#include <list>
#include <memory>
#include <unordered_map>
#include <vector>

#include "net/chunk_bits.h"
#include "net/packet.h"
#include "net/recycler.h"
#include "net/timer.h"

enum class tvrnet_queue : uint8_t { high_priority, acknowledged, normal, response };

// One command on its way.
struct command_buffer_s {
    static constexpr uint64_t first_ack_ms = 2, last_ack_ms = 1024;
    static constexpr int ack_doublings = 9;  // from the first to the last
    static constexpr uint64_t busy_ms = 20;  // a peer that is busy is left alone so long

    size_t chunk_count() const { return count; }
    bool has_resends() const { return lowest_resend != tvrnet_chunk_bits::none; }
    bool has_chunks_to_send() const { return next_chunk < count || has_resends(); }
    bool timed_out(uint64_t now_ms);

    // From chunk 0 again, as if nothing had been sent.
    void start_over();

    // Chunks first to last are missing at the peer. Clipped to what was sent.
    void mark_missing(int64_t first, int64_t last);

    uint64_t ticket_id = 0;
    size_t next_chunk = 0;           // the first not yet sent
    std::vector<tvrnet_pkt> chunks;  // complete packets; never shrinks, `count` are in use
    size_t count = 0;
    tvrnet_timer timeout;  // interval 0: none
    tvrnet_timer ack_timer;
    int doublings = 0;
    int doubling_limit = ack_doublings;
    bool ack_started = false;  // all chunks went out once, and ack requests run
    tvrnet_chunk_bits resend;
    size_t lowest_resend = tvrnet_chunk_bits::none;
    size_t highest_resend = 0;
    uint64_t first_chunk_ms = 0;  // when chunk 0 went out
    bool delayed = false;         // the peer was busy
    tvrnet_timer delay{busy_ms};
    size_t resent_count = 0;
    uint32_t ack_sequence = 1;

    tvrnet_queue place = tvrnet_queue::normal;
    bool waiting = false;     // stands aside until idle_until
    uint64_t idle_until = 0;  // ms
};

// Buffers that rest until the next command needs one. Small ones rest by the thousand, large ones
// by the dozen, and what is larger still gives its memory back at once.
class tvrnet_command_pool {
public:
    static constexpr size_t small_chunks = 4, resting_small = 4096;     // 23 MB at most
    static constexpr size_t largest_chunks = 4096, resting_large = 16;  // 92 MB at most

    std::unique_ptr<command_buffer_s> take(size_t chunks) {
        return (chunks <= small_chunks ? small : large).take();
    }
    void give_back(std::unique_ptr<command_buffer_s> command);
    size_t in_use() const { return small.in_use + large.in_use; }

private:
    tvrnet_recycler<command_buffer_s> small{resting_small}, large{resting_large};
};

class tvrnet_command_queue {
public:
    using row = std::list<std::unique_ptr<command_buffer_s>>;

    struct place {
        row* in;
        row::iterator at;
    };

    command_buffer_s& add(std::unique_ptr<command_buffer_s> command, tvrnet_queue queue);
    command_buffer_s* find(uint64_t ticket);
    std::unique_ptr<command_buffer_s> remove(uint64_t ticket);

    // The head's chunks are out: it waits behind the acknowledged ones.
    void move_to_acknowledged(command_buffer_s& command);

    // Stands aside until this time, or comes back into its row.
    void let_wait(command_buffer_s& command, uint64_t until_ms);
    void wake(command_buffer_s& command);

    // Brings back all whose time has come.
    void wake_due(uint64_t now_ms);

    size_t size() const { return by_ticket.size(); }
    // Some command has chunks to send.
    bool has_ready() const {
        return !high_priority.empty() || !normal.empty() || !responses.empty();
    }
    uint64_t any_ticket() const;  // of some command; needs one

    row high_priority, acknowledged, normal, responses;

private:
    row& row_of(tvrnet_queue queue);
    void move(command_buffer_s& command, row& target, row::iterator before);

    row waiting;                     // of normal and responses
    uint64_t next_due = UINT64_MAX;  // ms, the smallest idle_until among them, or earlier
    std::unordered_map<uint64_t, place> by_ticket;
};
