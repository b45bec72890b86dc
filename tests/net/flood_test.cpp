// A hundred thousand datagrams a second of everything that a hostile or broken machine can send,
// at a node that a relay feeds: no line is lost or doubled, and nothing grows.

#include <gtest/gtest.h>
#include <malloc.h>

#include <cstring>
#include <random>
#include <span>

#include "net/hash.h"
#include "sim_node.h"

using namespace net_test;

namespace {

constexpr size_t attackers = 5000;  // more than a node remembers

// One attacker among many, by its number.
tvrnet_ip address_of(uint64_t n) {
    const uint64_t at = n % attackers;
    return {{172, 16, uint8_t(at >> 8), uint8_t(at)}, tvrnet_default_port};
}

template <typename SMALL>
size_t small_packet(uint8_t* out, std::mt19937_64& random) {
    SMALL p;
    const auto magic = p.magic;
    auto* bytes = reinterpret_cast<uint8_t*>(&p);
    for (size_t i = 0; i < sizeof p; i++) bytes[i] = uint8_t(random());
    p.magic = magic;
    p.seal();
    std::memcpy(out, &p, sizeof p);
    return sizeof p;
}

// A sound packet of any type. Commands claim sizes that can be and sizes that cannot.
size_t full_packet(uint8_t* out, std::mt19937_64& random) {
    tvrnet_pkt p;
    auto* bytes = reinterpret_cast<uint8_t*>(&p);
    for (size_t i = 0; i < sizeof p; i++) bytes[i] = uint8_t(random() >> 7);
    p.header.magic = tvrnet_pkt_header().magic;
    p.header.type = tvrnet_pkt_type(random() % (tvrnet_last_pkt_type + 3));
    p.header.flags = uint8_t(random() % 8);
    p.header.payload_size = uint32_t(random() % 3 == 0 ? 108 : random() % (tvrnet_max_payload + 1));
    p.header.chunk_index = uint32_t(random() % 4);
    p.header.last_chunk = p.header.chunk_index + uint32_t(random() % 4);
    if (random() % 2 == 0) p.header.total_size = p.header.last_chunk * tvrnet_max_payload + 1;
    if (random() % 2 == 0) p.header.command_hash = tvrnet_hash("line");
    const size_t length = p.packet_end();
    std::memcpy(out, &p, length);
    return length;
}

size_t artnet_frame(uint8_t* out, std::mt19937_64& random) {
    std::memcpy(out, "Art-Net", 8);
    const size_t length = 10 + random() % 600;
    for (size_t i = 8; i < length; i++) out[i] = uint8_t(random());
    out[8] = 0;
    out[9] %= 64;
    return length;
}

std::span<const uint8_t> garbage(std::span<uint8_t, 1500> room, std::mt19937_64& random) {
    uint8_t* out = room.data();
    size_t length = 0;
    switch (random() % 8) {
    case 0: length = small_packet<tvrnet_pkt_ack>(out, random); break;
    case 1: length = small_packet<tvrnet_pkt_ack_request>(out, random); break;
    case 2: length = small_packet<tvrnet_pkt_diagnostic>(out, random); break;
    case 3: length = artnet_frame(out, random); break;
    case 4:
        length = random() % room.size();
        for (size_t i = 0; i < length; i++) out[i] = uint8_t(random());
        break;
    default: length = full_packet(out, random);
    }
    return room.first(length);
}

// What the program holds on its heap, in bytes.
size_t heap_in_use() {
    return mallinfo2().uordblks;
}

TEST(flood, loses_no_line_and_grows_nothing) {
    constexpr uint64_t a_millisecond = 100, milliseconds = 3000, steady_after_ms = 1500;
    constexpr size_t may_grow_bytes = 4 << 20;
    sim_pair both;
    both.b.artnet.listen();
    both.b.limits.recv_budget_bytes = 8 << 20;
    std::vector<int> heard;
    both.b.add_command("line", [&](const tvrnet_ip&, const uint8_t* data, size_t size,
                                   const tvrnet_pkt_header& header) {
        if (header.source != both.a.mac() || size != sizeof(uint32_t)) return;
        uint32_t number = 0;
        std::memcpy(&number, data, sizeof number);
        heard.at(number)++;
    });
    ASSERT_TRUE(both.meet());
    const auto device = both.a.peer(both.b.mac());

    std::mt19937_64 random(11);
    alignas(8) uint8_t room[1500];
    size_t steady_bytes = 0;
    for (uint64_t ms = 0; ms < milliseconds; ms++) {
        for (uint64_t n = 0; n < a_millisecond; n++) {
            const auto bytes = garbage(room, random);
            both.net.send(address_of(random()), both.b.ip(), bytes.data(), bytes.size());
        }
        if (ms % 4 == 0) {
            const auto number = uint32_t(heard.size());
            heard.push_back(0);
            device->send_reliable("line", &number, sizeof number, tvrnet_pkt_dataformat::buffer,
                                  false, 0);
        }
        both.run(1);
        if (ms == steady_after_ms) steady_bytes = heap_in_use();
    }
    EXPECT_TRUE(both.until(20000, [&] { return device->commands_on_their_way() == 0; }));
    EXPECT_EQ(heard, std::vector<int>(heard.size(), 1));
    EXPECT_TRUE(both.b.peer(both.a.mac())) << "the relay is still known";
    EXPECT_LT(heap_in_use(), steady_bytes + may_grow_bytes);
}

}  // namespace
