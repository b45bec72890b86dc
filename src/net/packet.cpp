#include "net/packet.h"

#include <cstring>

#include "base/byte_order.h"
#include "net/artnet.h"
#include "net/hash.h"

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "records are the wire");

namespace {

constexpr size_t header_bytes = sizeof(tvrnet_pkt_header);
constexpr size_t shortest_artnet = 10, longest_artnet = 530;
constexpr char artnet_magic[8] = "Art-Net";

// The hash over a small packet with its hash field 0.
template <typename T>
uint32_t hash_of(T packet) {
    packet.hash = 0;
    return tvrnet_hash(&packet, sizeof packet);
}

// True if these bytes are a small packet of type T.
template <typename T>
bool sound(const uint8_t* data) {
    T packet;
    std::memcpy(&packet, data, sizeof packet);
    return packet.magic == T().magic && packet.hash == hash_of(packet);
}

tvrnet_pkt_type small_type(const uint8_t* bytes, size_t length) {
    using enum tvrnet_pkt_type;
    switch (length) {
    case sizeof(tvrnet_pkt_diagnostic_request):
        return sound<tvrnet_pkt_diagnostic_request>(bytes) ? diagnostic_request : dropped;
    case sizeof(tvrnet_pkt_ack_request):
        return sound<tvrnet_pkt_ack_request>(bytes) ? ack_request : dropped;
    case sizeof(tvrnet_pkt_diagnostic):
        return sound<tvrnet_pkt_diagnostic>(bytes) ? diagnostic : dropped;
    case sizeof(tvrnet_pkt_ack): return sound<tvrnet_pkt_ack>(bytes) ? ack : dropped;
    default: return dropped;
    }
}

bool is_artnet(const uint8_t* data, size_t length) {
    return length >= shortest_artnet && length <= longest_artnet &&
           std::memcmp(data, artnet_magic, sizeof artnet_magic) == 0;
}

// A full header with these types would be taken for what they stand for inside the node.
bool is_small_kind(tvrnet_pkt_type type) {
    using enum tvrnet_pkt_type;
    return type == dropped || type == artnet || type == artnet_poll || type == ack ||
           type == ack_request;
}

}  // namespace

size_t tvrnet_pkt::packet_end() {
    header.header_hash = 0;
    header.payload_hash = 0;
    if ((header.flags & tvrnet_flag_no_payload_hash) == 0) {
        header.payload_hash = tvrnet_hash(payload.data(), header.payload_size);
    }
    header.header_hash = tvrnet_hash(&header, header_bytes);
    return header.payload_size + header_bytes;
}

bool tvrnet_pkt::check_packet(uint32_t length, bool full) {
    if (length < header_bytes || length > tvrnet_max_datagram) return false;
    if (header.magic != tvrnet_pkt_header().magic) return false;
    if (uint8_t(header.type) > tvrnet_last_pkt_type) return false;
    if (header.payload_size > length - header_bytes) return false;
    const bool unchecked = (header.flags & tvrnet_flag_unchecked) != 0;
    if (!full && (unchecked || header.type == tvrnet_pkt_type::stream)) return true;

    const uint32_t told = header.header_hash;
    header.header_hash = 0;
    const uint32_t found = tvrnet_hash(&header, header_bytes);
    header.header_hash = told;
    if (found != told) return false;
    if ((header.flags & tvrnet_flag_no_payload_hash) != 0) return true;
    return tvrnet_hash(payload.data(), length - header_bytes) == header.payload_hash;
}

void tvrnet_pkt_ack_request::seal() {
    hash = hash_of(*this);
}
void tvrnet_pkt_ack::seal() {
    hash = hash_of(*this);
}
void tvrnet_pkt_diagnostic_request::seal() {
    hash = hash_of(*this);
}
void tvrnet_pkt_diagnostic::seal() {
    hash = hash_of(*this);
}

tvrnet_pkt_type tvrnet_classify(const tvrnet_adr& own, const tvrnet_ip& from, uint8_t* bytes,
                                size_t length) {
    using enum tvrnet_pkt_type;
    if (length > tvrnet_max_datagram || from == own.ip) return dropped;
    if (is_artnet(bytes, length)) {
        constexpr size_t opcode_at = 8;
        const uint16_t opcode = read_u16_le({bytes, length}, opcode_at);
        return opcode == uint16_t(artnet_opcode::poll) ? artnet_poll : artnet;
    }
    if (length < header_bytes) return small_type(bytes, length);

    auto& p = *reinterpret_cast<tvrnet_pkt*>(bytes);
    if (p.header.source == own.mac) return dropped;
    if (!p.check_packet(uint32_t(length), false)) return dropped;
    if (p.header.payload_size > tvrnet_max_payload) return dropped;
    if (p.header.last_chunk < p.header.chunk_index || is_small_kind(p.header.type)) return dropped;
    return p.header.type;
}
