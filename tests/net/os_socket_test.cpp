// Real sockets on the loopback: two nodes, with threads and without, through loss and garbage.

#include "net/os_socket.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <random>
#include <span>

#include "../support/no_threads.h"
#include "base/clock.h"
#include "net/base.h"
#include "net/fault_socket.h"

namespace {

constexpr auto text_format = tvrnet_pkt_dataformat::text;

uint64_t clock_ms() {
    return uint64_t(tvr_now_s() * 1000.0);
}

std::unique_ptr<GenericUDPSocket> make_socket(uint64_t number, bool threads) {
    tvrnet_socket_options options;
    options.mac = tvrnet_made_up_mac(number);
    options.threads = threads;
    options.tell = false;
    return std::make_unique<GenericOSUDPSocket>(options);
}

struct real_node : tvrnet_base {
    real_node(std::unique_ptr<GenericUDPSocket> socket, std::vector<tvrnet_ip> peers = {})
        : tvrnet_base(std::move(socket), options_for(std::move(peers))) {
        EXPECT_TRUE(udp->init());
        EXPECT_TRUE(udp->bind(0));
    }
    static tvrnet_node_options options_for(std::vector<tvrnet_ip> peers) {
        tvrnet_node_options made;
        made.poll_interval_ms = 50;
        made.peers = std::move(peers);
        return made;
    }
    tvrnet_ip loopback() const { return {{127, 0, 0, 1}, udp->local_adr().ip.port}; }
    void turn() {
        update(clock_ms());
        udp->wait(1);
    }
};

// Turns of both nodes until it holds, or ten seconds have passed.
template <typename CONDITION>
bool until(real_node& a, real_node& b, CONDITION holds) {
    constexpr double give_up_s = 10;
    const double begun = tvr_now_s();
    while (!holds()) {
        if (tvr_now_s() - begun > give_up_s) return false;
        a.turn();
        b.turn();
    }
    return true;
}

void exchange(real_node& a, real_node& b) {
    constexpr int count = 200;
    std::vector<int> heard(count);
    b.add_command(
        "line", [&](const tvrnet_ip&, const uint8_t* data, size_t size, const tvrnet_pkt_header&) {
            int number = 0;
            std::memcpy(&number, data, sizeof number);
            heard.at(size_t(number))++;
            EXPECT_EQ(size, 4 + size_t(number) * 50);
        });
    ASSERT_TRUE(until(a, b, [&] { return a.device_count() == 1; }));
    const auto device = a.connected_devices().at(0);
    for (int i = 0; i < count; i++) {
        std::vector<uint8_t> data(4 + size_t(i) * 50);
        std::memcpy(data.data(), &i, sizeof i);
        device->send_reliable("line", data.data(), data.size(), text_format, false, 0);
    }
    EXPECT_TRUE(until(a, b, [&] { return device->commands_on_their_way() == 0; }));
    EXPECT_EQ(heard, std::vector<int>(count, 1));
}

TEST(os_socket, nodes_meet_and_talk) {
    for (const bool threads : {false, true}) {
        SCOPED_TRACE(threads);
        real_node b(make_socket(2, threads));
        real_node a(make_socket(1, threads), {b.loopback()});
        exchange(a, b);
    }
}

TEST(os_socket, nodes_talk_through_loss_and_disorder) {
    const tvrnet_faults faults{.seed = 7, .loss = 0.1, .duplicate = 0.1, .reorder = 0.1};
    const auto faulty = [&](uint64_t number) {
        return std::make_unique<tvrnet_fault_socket>(make_socket(number, true), faults);
    };
    real_node b(faulty(2));
    real_node a(faulty(1), {b.loopback()});
    exchange(a, b);
}

TEST(os_socket, a_taken_port_is_noticed) {
    const auto first = make_socket(1, false), second = make_socket(2, false);
    ASSERT_TRUE(first->init() && second->init());
    ASSERT_TRUE(first->bind(0));
    EXPECT_FALSE(second->bind(first->local_adr().ip.port));
    EXPECT_TRUE(second->bind(0));
}

TEST(os_socket, takes_no_port_without_threads_to_serve_it) {
    const auto socket = make_socket(1, true);
    ASSERT_TRUE(socket->init());
    const test_support::no_threads here;
    EXPECT_FALSE(socket->bind(0));
}

TEST(os_socket, has_a_mac_of_its_own_even_without_one_given) {
    tvrnet_socket_options options;
    options.tell = false;
    options.threads = false;
    GenericOSUDPSocket socket(options);
    ASSERT_TRUE(socket.init() && socket.bind(0));
    EXPECT_NE(socket.local_adr().mac, tvrnet_mac());
}

// A bare socket that shoots at a node.
struct shooter {
    explicit shooter(const tvrnet_ip& at) : fd(socket(AF_INET, SOCK_DGRAM, 0)), target(at) {}
    ~shooter() { close(fd); }
    void shoot(const void* data, size_t length) const {
        const sockaddr_in to = tvrnet_to_system(target);
        (void)sendto(fd, data, length, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    }
    int fd;
    tvrnet_ip target;
};

TEST(os_socket, garbage_of_every_length_and_type_changes_nothing) {
    real_node b(make_socket(2, true));
    real_node a(make_socket(1, true), {b.loopback()});
    ASSERT_TRUE(until(a, b, [&] { return a.device_count() == 1; }));
    const shooter wild(b.loopback());
    std::mt19937 random(3);
    for (uint32_t n = 0; n < 20000; n++) {
        alignas(8) uint8_t data[1500];
        const size_t length = n % sizeof data;
        for (size_t i = 0; i < length && i < 80; i++) data[i] = uint8_t(random());
        tvrnet_pkt& p = *reinterpret_cast<tvrnet_pkt*>(data);
        if (n % 3 != 0) std::memcpy(data, "TVR", 3);
        // Every third is sound, of any type, from nobody in particular.
        if (n % 3 == 2 && length >= 64 && length <= 1400) {
            p.header.type = tvrnet_pkt_type(n % 45);
            p.header.payload_size = uint32_t(length - 64);
            p.header.flags = 0;
            p.header.last_chunk = p.header.chunk_index + uint32_t(random() % 3);
            p.packet_end();
        }
        wild.shoot(data, length);
        if (n % 200 == 0) b.turn();
    }
    exchange(a, b);
    EXPECT_LE(b.device_count(), 1U);
}

// A lighting desk on an address of its own: answers go to the standard's port, whatever port asked.
TEST(os_socket, a_lighting_desk_is_answered) {
    const tvrnet_ip desk{{127, 0, 0, 2}, artnet_port};
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0);
    const sockaddr_in address = tvrnet_to_system(desk);
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        close(fd);
        GTEST_SKIP() << "port 6454 is taken on this machine";
    }
    real_node a(make_socket(1, true)), b(make_socket(2, true));
    a.artnet.listen();
    uint64_t syncs = 0;
    a.artnet.on_sync = [&](uint64_t, float) { syncs++; };
    artnet_dmx_frame frame;
    frame.fill(3, frame.bytes.data(), 8, 1);
    const auto sync = artnet_make_sync();
    const uint8_t poll[14] = {'A', 'r', 't', '-', 'N', 'e', 't', 0, 0, 0x20, 0, 14, 0, 0};
    std::array<uint8_t, 512> reply;
    ssize_t got = -1;
    EXPECT_TRUE(until(a, b, [&] {
        const sockaddr_in to = tvrnet_to_system(a.loopback());
        for (const std::span<const uint8_t> bytes :
             {std::span<const uint8_t>(poll),
              std::span<const uint8_t>(frame.bytes).first(frame.length),
              std::span<const uint8_t>(sync)}) {
            sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to),
                   sizeof to);
        }
        if (got < 0) got = recv(fd, reply.data(), reply.size(), 0);
        return got >= 0 && syncs > 0 && a.artnet.state->by_number[3].seen;
    }));
    EXPECT_EQ(got, ssize_t(artnet_poll_reply_bytes));
    EXPECT_EQ(a.artnet.state->by_number[3].size, 8U);
    close(fd);
}

TEST(os_socket, tells_how_much_arrived) {
    const auto first = make_socket(1, true), second = make_socket(2, true);
    ASSERT_TRUE(first->init() && second->init() && first->bind(0) && second->bind(0));
    const tvrnet_ip to{{127, 0, 0, 1}, second->local_adr().ip.port};
    const tvrnet_ip from{{127, 0, 0, 1}, first->local_adr().ip.port};
    tvrnet_pkt_diagnostic_request asked;
    asked.sent = 5;
    asked.seal();
    const auto answered = [&] { return first->diagnostics_of(to).sent_told == 5; };
    const double begun = tvr_now_s();
    while (!answered() && tvr_now_s() - begun < 10) {
        first->send_packet_diagnostic(to, &asked, sizeof asked);
        first->wait(1);
    }
    EXPECT_TRUE(answered());
    EXPECT_GT(second->diagnostics_of(from).received, 0U);
    EXPECT_EQ(second->diagnostics_of({{9, 9, 9, 9}, 9}).received, 0U);
}

}  // namespace
