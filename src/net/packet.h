#pragma once

// The bytes of TavroNet on the wire, and what a datagram is.
//
// Every datagram holds one packet: a header of 64 bytes with at most 1336 bytes of payload, one
// of four small packets with magics of their own, or an Art-Net frame. All TavroNet numbers are
// little-endian and every field stands at its natural alignment, so these records are the wire.
// They are read and written in place, in memory aligned to 8 bytes.
//
// Pure, any thread.

#include <array>
#include <cstddef>
#include <cstdint>

#include "net/address.h"

inline constexpr size_t tvrnet_max_datagram = 1400;
inline constexpr size_t tvrnet_max_payload = 1336;
inline constexpr uint32_t tvrnet_no_session = 0xFFFFFFFF;

enum class tvrnet_pkt_type : uint8_t {
    dropped = 0,        // never on the wire: the verdict on what must be ignored
    artnet = 1,         // an Art-Net frame other than a poll
    artnet_poll = 2,    // an Art-Net poll
    data = 23,          // a chunk of a reliable command
    beacon = 29,        // who is there?
    beacon_reply = 30,  // I am
    auth_request = 31,  // my name and the session that I give you
    auth_reply = 32,    // taken
    alive_check = 33,   // are you still there?
    alive_reply = 34,   // I am
    out_of_band = 35,   // an unreliable command of one packet
    diagnostic = 36,    // in a full header, or small
    diagnostic_request = 37,
    ack = 38,          // small
    ack_request = 39,  // small
    stream = 40,       // disposable data
};
inline constexpr uint8_t tvrnet_last_pkt_type = 40;

// A value that a peer sends and that stands not here is passed on as it stands.
enum class tvrnet_pkt_dataformat : uint8_t {
    text = 1,
    buffer = 3,
    int16 = 4,
    int32 = 5,
    int64 = 6,
    float32 = 10,
    float64 = 11,
};

// Bits of tvrnet_pkt_header::flags.
inline constexpr uint8_t tvrnet_flag_no_payload_hash = 1;
inline constexpr uint8_t tvrnet_flag_beacon_mark = 2;  // of a beacon reply: kept, without effect
inline constexpr uint8_t tvrnet_flag_unchecked = 4;    // hashes are not looked at on the fast path

struct tvrnet_pkt_header {
    std::array<uint8_t, 3> magic{'T', 'V', 'R'};
    tvrnet_pkt_type type = tvrnet_pkt_type::dropped;
    uint8_t flags = 0;
    tvrnet_pkt_dataformat data_format{};
    uint16_t zero = 0;
    uint32_t header_hash = 0;  // of the 64 bytes with this field 0
    uint32_t session_id = tvrnet_no_session;
    uint64_t ticket_id = 0;
    uint32_t command_hash = 0;
    uint32_t chunk_index = 0;
    uint32_t last_chunk = 0;  // never below chunk_index
    tvrnet_mac destination;
    tvrnet_mac source;
    uint32_t payload_hash = 0;
    uint32_t payload_size = 0;  // bytes behind the header
    uint64_t total_size = 0;    // bytes of the whole command over all chunks
};
static_assert(sizeof(tvrnet_pkt_header) == 64);
static_assert(offsetof(tvrnet_pkt_header, ticket_id) == 16);
static_assert(offsetof(tvrnet_pkt_header, destination) == 36);
static_assert(offsetof(tvrnet_pkt_header, total_size) == 56);

struct tvrnet_pkt {
    // The payload is left as it is: packets are made by the hundred and filled at once.
    tvrnet_pkt() {}  // NOLINT(modernize-use-equals-default)

    // Fills in both hashes. The length of the packet.
    size_t packet_end();

    // True if a datagram of this length is a sound packet. Without `full`, streams and packets
    // with tvrnet_flag_unchecked pass without a look at their hashes.
    bool check_packet(uint32_t length, bool full);

    tvrnet_pkt_header header;
    std::array<uint8_t, tvrnet_max_payload> payload;  // NOLINT(*-member-init)
};
static_assert(sizeof(tvrnet_pkt) == tvrnet_max_datagram);

// "What have you got of this ticket?"
struct tvrnet_pkt_ack_request {
    std::array<uint8_t, 4> magic{'T', 'V', 'A', 'R'};
    uint32_t session_id = 0;
    uint64_t ticket_id = 0;
    uint32_t hash = 0;
    uint16_t status = 0;
    tvrnet_mac mac;         // the sender's
    uint32_t sequence = 0;  // comes back in the ack

    void seal();  // fills in the hash
};
static_assert(sizeof(tvrnet_pkt_ack_request) == 32);

enum class tvrnet_ack_status : uint16_t {
    marker = 0,  // both ends of the range hold one of the markers below
    complete = 1,
    invalid_session = 2,  // the receiver does not know this session
    first_chunk = 3,      // for the round trip
    missing = 4,          // noticed while chunks came in
    missing_asked = 5,    // told upon a request
    busy = 6,
    refused = 7,  // no room, or a size that cannot be
};

inline constexpr int64_t tvrnet_ack_none = -1;
inline constexpr int64_t tvrnet_ack_unknown_ticket = -2;  // start over
inline constexpr int64_t tvrnet_ack_round_over = -3;      // every hole of this round was told
inline constexpr int64_t tvrnet_ack_restarted = -4;       // the peer restarted

struct tvrnet_pkt_ack {
    std::array<uint8_t, 4> magic{'T', 'V', 'A', 0};
    uint32_t session_id = 0;
    uint64_t ticket_id = 0;
    int64_t first = tvrnet_ack_none;  // chunks first to last
    int64_t last = tvrnet_ack_none;
    uint32_t hash = 0;
    tvrnet_ack_status status = tvrnet_ack_status::marker;
    tvrnet_mac mac;         // the sender's
    uint32_t sequence = 0;  // of the request that it answers; 0 unasked

    void seal();
};
static_assert(sizeof(tvrnet_pkt_ack) == 48);

// "How much of what I sent arrived?"
struct tvrnet_pkt_diagnostic_request {
    std::array<uint8_t, 4> magic{'T', 'V', 'Q', 0};
    uint32_t sequence = 0;
    uint32_t hash = 0;
    uint32_t sent = 0;  // packets that the asker sent to this peer so far
    tvrnet_mac mac;
    uint16_t zero = 0;

    void seal();
};
static_assert(sizeof(tvrnet_pkt_diagnostic_request) == 24);

struct tvrnet_pkt_diagnostic {
    std::array<uint8_t, 4> magic{'T', 'V', 'D', 0};
    uint32_t sequence = 0;  // of the request
    uint32_t sent = 0;      // the count of the request
    uint32_t hash = 0;
    uint32_t received = 0;    // packets that came from the asker so far
    uint32_t per_second = 0;  // packets a second that came from the asker of late
    uint32_t dropped = 0;     // datagrams of the asker that failed a check
    tvrnet_mac mac;
    uint16_t zero = 0;

    void seal();
};
static_assert(sizeof(tvrnet_pkt_diagnostic) == 36);

// What a datagram is, for a node with this address. `dropped` for all that must vanish: too long,
// our own, damaged, unknown. The memory is aligned to 8 bytes; it is put back as it was.
tvrnet_pkt_type tvrnet_classify(const tvrnet_adr& own, const tvrnet_ip& from, uint8_t* bytes,
                                size_t length);
