// Packets: what passes the checks, what a datagram is taken for, what must vanish.

#include "net/packet.h"

#include <gtest/gtest.h>

#include <cstring>

#include "net/hash.h"

namespace {

constexpr tvrnet_adr own{{{10, 0, 0, 1}, 6454}, {{2, 0, 0, 0, 0, 1}}};
constexpr tvrnet_ip stranger{{10, 0, 0, 2}, 6454};

tvrnet_pkt make_packet(uint32_t payload, tvrnet_pkt_type type = tvrnet_pkt_type::data) {
    tvrnet_pkt p;
    p.header.type = type;
    p.header.source = {{2, 0, 0, 0, 0, 2}};
    p.header.payload_size = std::min<uint32_t>(payload, tvrnet_max_payload);
    p.payload.fill('x');
    p.packet_end();
    p.header.payload_size = payload;
    return p;
}

// A datagram of this length that begins with `sent`.
template <typename T>
tvrnet_pkt_type classify(const T& sent, size_t length, const tvrnet_ip& from = stranger) {
    alignas(16) uint8_t bytes[2048] = {};
    std::memcpy(bytes, &sent, std::min(length, sizeof sent));
    return tvrnet_classify(own, from, bytes, length);
}

TEST(packet_hash, is_seeded_with_the_length) {
    EXPECT_EQ(tvrnet_hash(nullptr, 5), 0x02CC5D05U);
    EXPECT_EQ(tvrnet_hash("", 0), 0x02CC5D05U);
    EXPECT_EQ(tvrnet_hash("abc"), tvrnet_hash(std::string("abc")));
    EXPECT_EQ(tvrnet_hash("abc"), tvrnet_hash("abcd", 3));
    // The value for "abc" with seed 0, which every implementation of the hash gives, must differ.
    EXPECT_NE(tvrnet_hash("abc"), 0x32D153FFU);
}

TEST(packet_check, sizes) {
    struct row {
        const char* what;
        uint32_t datagram, payload;
        bool ok;
    };
    const row rows[] = {
        {"header only", 64, 0, true},
        {"less than a header", 63, 0, false},
        {"largest", 1400, 1336, true},
        {"one byte too long", 1401, 1337, false},
        {"payload past the end", 100, 37, false},
        {"payload to the end", 100, 36, true},
        {"bytes behind the payload", 101, 36, false},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        EXPECT_EQ(make_packet(r.payload).check_packet(r.datagram, true), r.ok);
    }
    EXPECT_EQ(make_packet(0).header.payload_hash, tvrnet_hash_of_nothing);
}

TEST(packet_check, damage_and_flags) {
    struct row {
        const char* what;
        tvrnet_pkt_type type;
        uint8_t flags;
        bool damage_payload, full, ok;
    };
    using enum tvrnet_pkt_type;
    const row rows[] = {
        {"sound", data, 0, false, false, true},
        {"damaged payload", data, 0, true, false, false},
        {"without a payload hash", data, tvrnet_flag_no_payload_hash, true, true, true},
        {"unchecked on the fast path", data, tvrnet_flag_unchecked, true, false, true},
        {"unchecked, but checked in full", data, tvrnet_flag_unchecked, true, true, false},
        {"stream on the fast path", stream, 0, true, false, true},
        {"stream checked in full", stream, 0, true, true, false},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        tvrnet_pkt p = make_packet(20, r.type);
        p.header.flags = r.flags;
        p.packet_end();
        if (r.damage_payload) p.payload[3] ^= 1;
        const tvrnet_pkt before = p;
        EXPECT_EQ(p.check_packet(84, r.full), r.ok);
        EXPECT_EQ(std::memcmp(&before.header, &p.header, sizeof p.header), 0) << "not put back";
    }
    tvrnet_pkt p = make_packet(20);
    p.header.ticket_id ^= 1;
    EXPECT_FALSE(p.check_packet(84, false)) << "damaged header";
}

TEST(packet_classes, full_headers) {
    struct row {
        const char* what;
        void (*change)(tvrnet_pkt&);
        tvrnet_pkt_type type;
    };
    using enum tvrnet_pkt_type;
    const row rows[] = {
        {"data", [](tvrnet_pkt&) {}, data},
        {"stream", [](tvrnet_pkt& p) { p.header.type = stream; }, stream},
        {"type 41", [](tvrnet_pkt& p) { p.header.type = tvrnet_pkt_type(41); }, dropped},
        {"type 0", [](tvrnet_pkt& p) { p.header.type = dropped; }, dropped},
        {"an ack in a full header", [](tvrnet_pkt& p) { p.header.type = ack; }, dropped},
        {"Art-Net in a full header", [](tvrnet_pkt& p) { p.header.type = artnet; }, dropped},
        {"another magic", [](tvrnet_pkt& p) { p.header.magic[0] = 't'; }, dropped},
        {"our own MAC", [](tvrnet_pkt& p) { p.header.source = own.mac; }, dropped},
        {"last chunk below the index", [](tvrnet_pkt& p) { p.header.chunk_index = 1; }, dropped},
        {"for another MAC", [](tvrnet_pkt& p) { p.header.destination = {{9}}; }, data},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        tvrnet_pkt p = make_packet(10);
        r.change(p);
        p.packet_end();
        EXPECT_EQ(classify(p, 74), r.type);
    }
    tvrnet_pkt p = make_packet(10);
    EXPECT_EQ(classify(p, 74, own.ip), dropped) << "from our own address";
    EXPECT_EQ(classify(p, 1401), dropped) << "too long";
}

template <typename SMALL>
void expect_small(tvrnet_pkt_type type, size_t length) {
    SCOPED_TRACE(length);
    SMALL p;
    p.seal();
    ASSERT_EQ(sizeof p, length);
    EXPECT_EQ(classify(p, length), type);
    EXPECT_EQ(classify(p, length - 1), tvrnet_pkt_type::dropped);
    EXPECT_EQ(classify(p, length + 1), tvrnet_pkt_type::dropped);
    SMALL damaged = p;
    damaged.mac.bytes[0] ^= 1;
    EXPECT_EQ(classify(damaged, length), tvrnet_pkt_type::dropped);
    SMALL other = p;
    other.magic[2] = 'X';
    other.seal();
    EXPECT_EQ(classify(other, length), tvrnet_pkt_type::dropped);
}

TEST(packet_classes, small_packets) {
    expect_small<tvrnet_pkt_diagnostic_request>(tvrnet_pkt_type::diagnostic_request, 24);
    expect_small<tvrnet_pkt_ack_request>(tvrnet_pkt_type::ack_request, 32);
    expect_small<tvrnet_pkt_diagnostic>(tvrnet_pkt_type::diagnostic, 36);
    expect_small<tvrnet_pkt_ack>(tvrnet_pkt_type::ack, 48);
}

TEST(packet_classes, art_net) {
    struct row {
        const char* what;
        size_t length;
        uint16_t opcode;
        tvrnet_pkt_type type;
    };
    using enum tvrnet_pkt_type;
    const row rows[] = {
        {"poll", 14, 0x2000, artnet_poll},  {"shortest", 10, 0x2000, artnet_poll},
        {"too short", 9, 0x2000, dropped},  {"universe", 530, 0x5000, artnet},
        {"too long", 531, 0x5000, dropped}, {"as long as an ack", 48, 0x5200, artnet},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        uint8_t bytes[600] = "Art-Net";
        bytes[8] = uint8_t(r.opcode);
        bytes[9] = uint8_t(r.opcode >> 8);
        EXPECT_EQ(classify(bytes, r.length), r.type);
    }
}

// The bytes of the wire, written down once by hand.
TEST(packet_layout, stands_at_its_offsets) {
    tvrnet_pkt_ack ack;
    ack.session_id = 0x04030201;
    ack.ticket_id = 5;
    ack.first = 6;
    ack.last = -2;
    ack.status = tvrnet_ack_status::missing;
    ack.mac = {{7, 8, 9, 10, 11, 12}};
    ack.sequence = 13;
    uint8_t bytes[48];
    std::memcpy(bytes, &ack, sizeof bytes);
    const uint8_t expected[48] = {'T',  'V',  'A',  0,    1,    2,    3,    4,    5,  0, 0, 0,
                                  0,    0,    0,    0,    6,    0,    0,    0,    0,  0, 0, 0,
                                  0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0,  0, 0, 0,
                                  4,    0,    7,    8,    9,    10,   11,   12,   13, 0, 0, 0};
    EXPECT_EQ(std::memcmp(bytes, expected, sizeof bytes), 0);
}

TEST(addresses, are_read_from_text) {
    struct row {
        const char* text;
        bool ok;
        uint16_t port;
    };
    const row rows[] = {
        {"10.0.0.7", true, 6454}, {"10.0.0.7:80", true, 80},
        {"10.0.0", false, 0},     {"10.0.0.256", false, 0},
        {"10.0.0.7:", false, 0},  {"10.0.0.7:70000", false, 0},
        {"10.0.0.7 ", false, 0},  {"", false, 0},
        {"10.0.0.7:0", false, 0},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.text);
        tvrnet_ip ip;
        ASSERT_EQ(tvrnet_parse_ip(r.text, 6454, ip), r.ok);
        if (!r.ok) continue;
        EXPECT_EQ(tvrnet_text(ip), "10.0.0.7:" + std::to_string(r.port));
    }
}

}  // namespace
