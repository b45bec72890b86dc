// The sending half, against a peer that answers as the test wants it to.

#include "net/device.h"

#include <gtest/gtest.h>

#include "net/hash.h"
#include "sim_node.h"

using namespace net_test;

namespace {

constexpr auto text_format = tvrnet_pkt_dataformat::text;
const uint32_t line = tvrnet_hash("line");

struct sending : testing::Test {
    sending() {
        EXPECT_TRUE(peer.meet(node));
        device = node.peer(peer.mac());
        // The set-up is not what is tested here.
        device->init_device_answered = device->init_done = true;
        run(3);
        device->clear_command_buffers();
        run(3);
    }

    void run(uint64_t ms) {
        run_for(net, {&node}, ms);
        peer.collect();
    }
    uint64_t send(size_t size, bool high_priority = false, uint64_t timeout_ms = 0) {
        const std::vector<uint8_t> data(size, 'x');
        return device->send_reliable("line", data.data(), size, text_format, high_priority,
                                     timeout_ms);
    }
    void answer(const tvrnet_pkt_ack& ack) {
        peer.send_ack(node, ack);
        run(3);
    }

    sim_network net;
    sim_ids ids;
    sim_node node{net, 1, ids, named("the node")};
    raw_peer peer{net};
    std::shared_ptr<tvrnet_device> device;
};

TEST_F(sending, commands_are_cut_into_chunks) {
    struct row {
        const char* what;
        uint32_t peers_largest;
        size_t size;
        const char* chunks;
        uint32_t last_payload;
    };
    const row rows[] = {
        {"nothing", 1336, 0, "0", 0},
        {"exactly one chunk", 1336, 1336, "0", 1336},
        {"one byte more", 1336, 1337, "0 1", 1},
        {"a peer that takes less", 512, 1025, "0 1 2", 1},
        {"a peer that says nothing", 0, 1337, "0 1", 1},
        {"a peer that says too much", 9000, 1337, "0 1", 1},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        device->max_data_size = r.peers_largest;
        const uint64_t ticket = send(r.size);
        run(3);
        EXPECT_EQ(peer.chunks_text(line), r.chunks);
        const tvrnet_pkt_header& h = peer.packets.back().header;
        EXPECT_EQ(h.payload_size, r.last_payload);
        EXPECT_EQ(h.total_size, r.size);
        EXPECT_EQ(h.session_id, peer.theirs);
        EXPECT_EQ(h.ticket_id, ticket);
        EXPECT_EQ(h.destination, peer.mac());
        answer(peer.ack(ticket, tvrnet_ack_status::complete));
        EXPECT_EQ(device->commands_on_their_way(), 0U);
    }
}

TEST_F(sending, acks_are_asked_for_more_and_more_seldom) {
    send(10);
    std::vector<uint64_t> times;
    for (uint64_t ms = 0; ms < 5000; ms++) {
        run(1);
        for (size_t n = 0; n < peer.requests.size(); n++) times.push_back(ms);
        // Only a peer that is alive is asked so long.
        peer.send(node.ip(), peer.packet(tvrnet_pkt_type::alive_check));
    }
    std::vector<uint64_t> gaps;
    for (size_t i = 1; i < times.size(); i++) gaps.push_back(times[i] - times[i - 1]);
    EXPECT_EQ(gaps, (std::vector<uint64_t>{2, 4, 8, 16, 32, 64, 128, 256, 512, 1024, 1024, 1024}));
}

TEST_F(sending, holes_are_filled) {
    constexpr size_t ten_chunks = 1336 * 10;
    struct row {
        const char* what;
        tvrnet_ack_status status;
        int64_t first, last;
        uint32_t sequence;
        const char* chunks;
    };
    using enum tvrnet_ack_status;
    const row rows[] = {
        {"a hole", missing, 2, 4, 0, "2 3 4"},
        {"beyond the end", missing, 8, 99, 0, "8 9"},
        {"before the beginning", missing, -5, 0, 0, "0"},
        {"backwards", missing, 4, 2, 0, ""},
        {"upon a request", missing_asked, 5, 5, 1, "5"},
        {"upon an old request", missing_asked, 5, 5, 7, ""},
        {"the peer knows nothing of it", marker, -2, -2, 0, "0 1 2 3 4 5 6 7 8 9"},
        {"a marker that means nothing", marker, -9, -9, 0, ""},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        const uint64_t ticket = send(ten_chunks);
        run(3);
        EXPECT_EQ(peer.chunks_text(line), "0 1 2 3 4 5 6 7 8 9");
        answer(peer.ack(ticket, r.status, r.first, r.last, r.sequence));
        EXPECT_EQ(peer.chunks_text(line), r.chunks);
        answer(peer.ack(ticket, complete));
    }
}

TEST_F(sending, the_end_of_a_round_begins_the_next) {
    const uint64_t ticket = send(10);
    run(3);
    EXPECT_EQ(peer.requests.at(0).sequence, 1U);
    run(100);
    answer(peer.ack(ticket, tvrnet_ack_status::marker, -3, -3, 9));
    EXPECT_TRUE(peer.requests.empty()) << "of another round";
    answer(peer.ack(ticket, tvrnet_ack_status::marker, -3, -3, 1));
    ASSERT_FALSE(peer.requests.empty()) << "asked at once";
    EXPECT_EQ(peer.requests[0].sequence, 2U);
}

TEST_F(sending, a_busy_peer_is_left_alone_for_a_while) {
    const uint64_t ticket = send(10);
    run(3);
    peer.send_ack(node, peer.ack(ticket, tvrnet_ack_status::busy));
    peer.send_ack(node, peer.ack(ticket, tvrnet_ack_status::marker, -2, -2));
    run(15);
    EXPECT_EQ(peer.chunks_text(line), "");
    run(15);
    EXPECT_EQ(peer.chunks_text(line), "0");
}

TEST_F(sending, refused_commands_and_late_ones_fail) {
    int failures = 0;
    const auto count = [&](const uint8_t*, size_t, tvrnet_pkt_dataformat, bool success) {
        failures += success ? 0 : 1;
    };
    const uint64_t refused = device->send_get("ask", "x", 1, text_format, count, 0);
    run(3);
    answer(peer.ack(refused, tvrnet_ack_status::refused));
    EXPECT_EQ(failures, 1);
    device->send_get("ask", "x", 1, text_format, count, 50);
    run(40);
    EXPECT_EQ(failures, 1);
    run(30);
    EXPECT_EQ(failures, 2);
    const uint64_t acked = device->send_get("ask", "x", 1, text_format, count, 50);
    run(3);
    answer(peer.ack(acked, tvrnet_ack_status::complete));
    run(60);
    EXPECT_EQ(failures, 3) << "taken, but never answered";
    device->send_get("ask", "x", 1, text_format, count, 0);
    node.disconnect_device(peer.mac(), "test");
    EXPECT_EQ(failures, 4);
    EXPECT_EQ(send(1), tvrnet_no_ticket);
}

TEST_F(sending, high_priority_goes_in_order_and_ahead) {
    send(1336 * 3);
    std::vector<uint64_t> tickets;
    for (int n = 0; n < 5; n++) tickets.push_back(send(5, true));
    run(2);
    std::vector<uint64_t> order;
    for (const tvrnet_pkt& p : peer.packets) order.push_back(p.header.ticket_id);
    ASSERT_EQ(order.size(), 8U);
    EXPECT_EQ(order[0], tickets[0]) << "ahead of the rest";
    std::erase_if(order, [&](uint64_t t) { return t < tickets[0]; });
    EXPECT_EQ(order, tickets);
}

TEST_F(sending, the_rate_follows_the_loss) {
    struct row {
        const char* what;
        float rate, loss;
        size_t resent, chunks;
        float rate_then;
    };
    const row rows[] = {
        {"nothing lost", 10, 0, 0, 4, 11.01F},
        {"at the top", 999.5F, 0, 0, 4, 1000},
        {"half lost, loss small", 10, 0, 2, 4, 11.01F},
        {"loss between", 10, 0.08F, 0, 4, 10},
        {"loss above a tenth", 10, 0.3F, 0, 4, 9.99F},
        {"loss above a half", 10, 0.9F, 4, 4, 9.9F},
        {"all lost", 10, 1, 4, 4, 9.9F},
        {"at the bottom", 0.1F, 1, 4, 4, 0.1F},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        device->rate = 64;
        const uint64_t ticket = send(1336 * r.chunks);
        run(3);
        if (r.resent > 0) {
            answer(peer.ack(ticket, tvrnet_ack_status::missing, 0, int64_t(r.resent) - 1));
        }
        device->rate = r.rate;
        device->loss = r.loss;
        answer(peer.ack(ticket, tvrnet_ack_status::complete));
        EXPECT_NEAR(device->rate, r.rate_then, 0.001);
    }
}

TEST_F(sending, slow_rates) {
    device->rate = 0.25F;
    send(1336 * 3);
    std::vector<int> updates;
    for (int n = 0; n < 16; n++) {
        run(1);
        for (size_t i = 0; i < peer.packets.size(); i++) updates.push_back(n);
    }
    ASSERT_EQ(updates.size(), 3U);
    EXPECT_EQ(updates[1] - updates[0], 4);
    EXPECT_EQ(updates[2] - updates[1], 4);
}

TEST_F(sending, the_peer_bounds_the_packets_of_a_turn) {
    device->packets_per_turn = 3;
    send(1336 * 8);
    for (const char* chunks : {"", "0 1 2", "3 4 5", "6 7"}) {
        run(1);
        EXPECT_EQ(peer.chunks_text(line), chunks);
    }
}

TEST_F(sending, a_full_socket_loses_nothing) {
    node.socket().full = true;
    const uint64_t ticket = send(1336 * 2);
    run(5);
    EXPECT_EQ(peer.chunks_text(line), "");
    node.socket().full = false;
    run(3);
    EXPECT_EQ(peer.chunks_text(line), "0 1");
    answer(peer.ack(ticket, tvrnet_ack_status::complete));
    EXPECT_EQ(device->commands_on_their_way(), 0U);
    EXPECT_EQ(node.command_buffers.in_use(), 0U);
}

TEST_F(sending, the_round_trip_is_smoothed) {
    device->rtt_ms = 100;
    const uint64_t ticket = send(10);
    run(31);
    answer(peer.ack(ticket, tvrnet_ack_status::first_chunk));
    EXPECT_GE(device->rtt_ms, 92);
    EXPECT_LE(device->rtt_ms, 94);
}

TEST(requests, every_kind_of_answer) {
    sim_pair pair;
    ASSERT_TRUE(pair.meet());
    pair.b.add_request("good", [](const tvrnet_request& asked, tvrnet_answer& out) {
        out.data.assign(asked.data, asked.data + asked.size);
        out.format = asked.format;
        return true;
    });
    pair.b.add_request("bad", [](const tvrnet_request&, tvrnet_answer&) { return false; });
    int ran = 0;
    pair.b.add_command("plain", [&](const tvrnet_ip&, const uint8_t*, size_t,
                                    const tvrnet_pkt_header&) { ran++; });
    struct row {
        const char* command;
        bool success;
        std::string answer;
    };
    const row rows[] = {
        {"good", true, "hello"}, {"bad", false, ""}, {"plain", true, ""}, {"unknown", false, ""}};
    for (const row& r : rows) {
        SCOPED_TRACE(r.command);
        int calls = 0;
        pair.a.peer(pair.b.mac())
            ->send_get(
                r.command, "hello", 5, text_format,
                [&](const uint8_t* data, size_t size, tvrnet_pkt_dataformat format, bool success) {
                    calls++;
                    EXPECT_EQ(success, r.success);
                    EXPECT_EQ(std::string(data, data + size), r.answer);
                    EXPECT_TRUE(size == 0 || format == text_format);
                },
                1000);
        pair.run(50);
        EXPECT_EQ(calls, 1);
    }
    EXPECT_EQ(ran, 1);
}

TEST(requests, a_fetch_goes_on_until_it_is_answered) {
    sim_pair pair;
    ASSERT_TRUE(pair.meet());
    int asked = 0, answers = 0;
    pair.b.add_request("when ready", [&](const tvrnet_request&, tvrnet_answer& out) {
        out.data = {1};
        return ++asked == 3;
    });
    pair.a.peer(pair.b.mac())
        ->send_fetch("when ready", "", 0, text_format,
                     [&](const uint8_t*, size_t, tvrnet_pkt_dataformat, bool success) {
                         EXPECT_TRUE(success);
                         answers++;
                     });
    pair.run(15000);
    EXPECT_EQ(asked, 2);
    EXPECT_EQ(answers, 0);
    pair.run(30000);
    EXPECT_EQ(asked, 3);
    EXPECT_EQ(answers, 1);
}

TEST(requests, whether_a_peer_knows_a_command) {
    sim_pair pair;
    ASSERT_TRUE(pair.meet());
    pair.run(50);
    pair.b.add_command("later", {});
    const auto b = pair.a.peer(pair.b.mac());
    const auto knows = [&](const char* name) {
        const uint32_t hash = tvrnet_hash(name);
        return std::count(b->peer_commands.begin(), b->peer_commands.end(), hash) == 1;
    };
    EXPECT_FALSE(knows("later"));
    b->ask_if_known("later");
    b->ask_if_known("never");
    pair.run(50);
    EXPECT_TRUE(knows("later"));
    EXPECT_FALSE(knows("never"));
}

TEST(unreliable, out_of_band_and_streams_arrive) {
    sim_pair pair;
    ASSERT_TRUE(pair.meet());
    std::vector<size_t> sizes;
    pair.b.add_command("frame", [&](const tvrnet_ip&, const uint8_t*, size_t size,
                                    const tvrnet_pkt_header&) { sizes.push_back(size); });
    const auto b = pair.a.peer(pair.b.mac());
    const std::vector<uint8_t> data(5000, 'x');
    EXPECT_TRUE(b->send_out_of_band("frame", data.data(), 1336, text_format));
    EXPECT_FALSE(b->send_out_of_band("frame", data.data(), 1337, text_format));
    EXPECT_TRUE(b->send_stream("frame", data.data(), data.size(), text_format));
    EXPECT_TRUE(b->send_stream("frame", nullptr, 0, text_format));
    pair.run(5);
    EXPECT_EQ(sizes, (std::vector<size_t>{1336, 5000, 0}));
}

}  // namespace
