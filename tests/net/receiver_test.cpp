// The receiving half, against a peer whose every packet is written by hand.

#include "net/receiver.h"

#include <gtest/gtest.h>

#include "net/hash.h"
#include "sim_node.h"

using namespace net_test;

namespace {

const uint32_t line = tvrnet_hash("line");

struct receiving : testing::Test {
    receiving() {
        node.add_command("line", [this](const tvrnet_ip&, const uint8_t* data, size_t size,
                                        const tvrnet_pkt_header&) {
            heard.emplace_back(reinterpret_cast<const char*>(data), size);
        });
    }

    void send_chunk(uint64_t ticket, uint32_t index, uint32_t last, uint64_t total,
                    uint32_t payload) {
        peer.send(node.ip(), peer.chunk(ticket, line, index, last, total, payload));
    }
    void ask(uint64_t ticket, uint32_t sequence) {
        tvrnet_pkt_ack_request asked;
        asked.ticket_id = ticket;
        asked.sequence = sequence;
        peer.send_small(node.ip(), asked);
    }
    // What the node acked since the last call.
    std::string acks() {
        run_for(net, {&node}, 3);
        peer.collect();
        return peer.acks_text();
    }

    sim_network net;
    sim_ids ids;
    sim_node node{net, 1, ids};
    raw_peer peer{net};
    std::vector<std::string> heard;
};

TEST_F(receiving, tells_what_came_and_what_is_missing) {
    constexpr uint64_t total = 1336 * 3 + 1;
    send_chunk(1, 0, 3, total, 1336);
    EXPECT_EQ(acks(), "3(-1,-1)");
    send_chunk(1, 3, 3, total, 1);
    EXPECT_EQ(acks(), "4(1,2)");
    send_chunk(1, 3, 3, total, 1);
    EXPECT_EQ(acks(), "") << "a repeat changes nothing";
    ask(1, 1);
    EXPECT_EQ(acks(), "5(1,2) 0(-3,-3)");
    ask(1, 1);
    EXPECT_EQ(acks(), "0(-3,-3)") << "asked before: the end of the round again, no second walk";
    send_chunk(1, 1, 3, total, 1336);
    ask(1, 2);
    EXPECT_EQ(acks(), "5(2,2) 0(-3,-3)");
    send_chunk(1, 2, 3, total, 1336);
    EXPECT_EQ(acks(), "1(-1,-1)");
    ASSERT_EQ(heard.size(), 1U);
    EXPECT_EQ(heard[0],
              std::string(1336, 'a') + std::string(1336, 'b') + std::string(1336, 'c') + "d");
    ask(1, 3);
    EXPECT_EQ(acks(), "1(-1,-1)");
    send_chunk(1, 0, 3, total, 1336);
    EXPECT_EQ(acks(), "1(-1,-1)") << "finished: nothing but that";
    EXPECT_EQ(heard.size(), 1U);
}

TEST_F(receiving, the_last_chunk_may_come_first) {
    send_chunk(1, 3, 3, 1336 * 3 + 7, 7);
    EXPECT_EQ(acks(), "4(0,2)");
    for (const uint32_t i : {2U, 0U, 1U}) send_chunk(1, i, 3, 1336 * 3 + 7, 1336);
    EXPECT_EQ(acks(), "3(-1,-1) 1(-1,-1)");
    EXPECT_EQ(heard.size(), 1U);
}

TEST_F(receiving, refuses_what_cannot_be) {
    struct row {
        const char* what;
        uint32_t index, last;
        uint64_t total;
        uint32_t payload;
        const char* acks;
    };
    const row rows[] = {
        {"nothing at all", 0, 0, 0, 0, "3(-1,-1) 1(-1,-1)"},
        {"one byte", 0, 0, 1, 1, "3(-1,-1) 1(-1,-1)"},
        {"the largest command", 0, 100462, 134217728, 1336, "3(-1,-1)"},
        {"one byte more", 0, 100462, 134217729, 1336, "7(-1,-1)"},
        {"more payload than the whole", 0, 0, 5, 6, "7(-1,-1)"},
        {"more chunks than the size needs", 0, 1, 1336, 668, "7(-1,-1)"},
        {"less payload than the only chunk must have", 0, 0, 50, 20, ""},
        {"a short chunk that is not the last", 0, 1, 1400, 700, ""},
        {"a last chunk that leaves no even share", 3, 3, 4500, 500, ""},
    };
    uint64_t ticket = 0;
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        send_chunk(++ticket, r.index, r.last, r.total, r.payload);
        EXPECT_EQ(acks(), r.acks);
    }
}

TEST_F(receiving, drops_chunks_that_contradict_the_first) {
    constexpr uint64_t total = 1336 * 2;
    send_chunk(1, 0, 1, total, 1336);
    EXPECT_EQ(acks(), "3(-1,-1)");
    send_chunk(1, 1, 1, total - 1, 1335);
    send_chunk(1, 1, 2, total, 1336);
    send_chunk(1, 1, 1, total, 1335);
    peer.send(node.ip(), peer.chunk(1, line + 1, 1, 1, total, 1336));
    EXPECT_EQ(acks(), "");
    send_chunk(1, 1, 1, total, 1336);
    EXPECT_EQ(acks(), "1(-1,-1)");
    EXPECT_EQ(heard.size(), 1U);
}

TEST_F(receiving, sessions) {
    struct row {
        const char* what;
        uint32_t session;
        const char* acks;
    };
    const row rows[] = {
        {"none, from a stranger", tvrnet_no_session, "3(-1,-1) 1(-1,-1)"},
        {"zero", 0, ""},
        {"the first", 5, "3(-1,-1) 1(-1,-1)"},
        {"none, from a known one", tvrnet_no_session, "3(-1,-1) 1(-1,-1)"},
        {"another", 6, "2(-1,-1)"},
    };
    uint64_t ticket = 0;
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        peer.session = r.session;
        send_chunk(++ticket, 0, 0, 1, 1);
        EXPECT_EQ(acks(), r.acks);
        for (const tvrnet_pkt_ack& ack : peer.acks) {
            EXPECT_EQ(ack.session_id, r.session);
            EXPECT_EQ(ack.ticket_id, ticket);
            EXPECT_EQ(ack.mac, node.mac());
        }
    }
}

TEST_F(receiving, questions_about_what_is_not_there) {
    ask(1, 1);
    EXPECT_EQ(acks(), "") << "a stranger";
    send_chunk(1, 0, 0, 1, 1);
    acks();
    ask(2, 9);
    EXPECT_EQ(acks(), "0(-2,-2)");
    EXPECT_EQ(peer.acks.at(0).sequence, 9U);
    peer.session++;
    ask(1, 1);
    EXPECT_EQ(acks(), "") << "another session";
}

TEST_F(receiving, silence_frees_a_buffer) {
    send_chunk(1, 0, 1, 2000, 1336);
    acks();
    for (int n = 0; n < 29; n++) {
        run_for(net, {&node}, 1000);
        ask(1, 1);  // questions are no chunks
    }
    EXPECT_EQ(acks().find("-2"), std::string::npos);
    run_for(net, {&node}, 2000);
    ask(1, 2);
    EXPECT_EQ(acks(), "0(-2,-2)");
}

TEST_F(receiving, the_oldest_ticket_makes_room) {
    node.limits.max_open_buffers = 2;
    for (const uint64_t ticket : {5U, 3U, 4U}) send_chunk(ticket, 0, 1, 2000, 1336);
    acks();
    for (const uint64_t ticket : {3U, 4U, 5U}) ask(ticket, 1);
    EXPECT_EQ(acks(), "0(-2,-2) 5(1,1) 0(-3,-3) 5(1,1) 0(-3,-3)");
    node.limits.max_open_buffers = 0;
    send_chunk(9, 0, 0, 1, 1);
    EXPECT_EQ(acks(), "") << "no room, and nothing to make it";
}

TEST_F(receiving, the_budget_counts_all_open_buffers) {
    node.limits.recv_budget_bytes = 5000;
    send_chunk(1, 0, 1, 2000, 1336);
    send_chunk(2, 0, 2, 3001, 1336);
    EXPECT_EQ(acks(), "3(-1,-1) 7(-1,-1)");
    send_chunk(1, 1, 1, 2000, 664);
    EXPECT_EQ(acks(), "1(-1,-1)");
    send_chunk(3, 0, 3, 5000, 1336);
    EXPECT_EQ(acks(), "3(-1,-1)") << "given back";
}

TEST_F(receiving, a_handler_may_disconnect_its_sender) {
    ASSERT_TRUE(peer.meet(node));
    node.add_command("bye",
                     [this](const tvrnet_ip&, const uint8_t*, size_t, const tvrnet_pkt_header& h) {
                         node.disconnect_device(h.source, "told so");
                         node.remove_command("bye");
                         heard.push_back("bye");
                     });
    const uint32_t bye = tvrnet_hash("bye");
    peer.send(node.ip(), peer.chunk(1, bye, 0, 1, 1400, 1336));
    peer.send(node.ip(), peer.chunk(1, bye, 1, 1, 1400, 64));
    acks();
    EXPECT_EQ(heard, std::vector<std::string>{"bye"});
    EXPECT_EQ(node.log.back(), "told so");
}

TEST_F(receiving, out_of_band_and_unchecked_packets) {
    tvrnet_pkt p = peer.chunk(0, line, 0, 0, 3, 3);
    p.header.type = tvrnet_pkt_type::out_of_band;
    p.header.session_id = 12345;
    peer.send(node.ip(), p);
    p.header.last_chunk = 1;
    peer.send(node.ip(), p);
    EXPECT_EQ(acks(), "");
    EXPECT_EQ(heard, std::vector<std::string>{"aaa"});

    // The flag is no way around the hashes.
    tvrnet_pkt damaged = peer.chunk(1, line, 0, 0, 3, 3);
    damaged.header.flags = tvrnet_flag_unchecked;
    const size_t length = damaged.packet_end();
    damaged.payload[0] = 'x';
    net.send(peer.udp.local_adr().ip, node.ip(), &damaged, length);
    EXPECT_EQ(acks(), "");
    damaged.packet_end();
    net.send(peer.udp.local_adr().ip, node.ip(), &damaged, length);
    EXPECT_EQ(acks(), "3(-1,-1) 1(-1,-1)");
}

TEST_F(receiving, streams_are_whole_or_dropped) {
    struct row {
        const char* what;
        uint64_t ticket;
        uint32_t index, last;
        size_t heard;
    };
    const row rows[] = {
        {"half a frame", 1, 0, 1, 0},
        {"the next one begins", 2, 1, 1, 0},
        {"a chunk that is late", 1, 1, 1, 0},
        {"and is whole", 2, 0, 1, 1},
        {"a repeat", 2, 0, 1, 1},
        {"one of one chunk", 3, 0, 0, 2},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        const uint64_t total = r.last == 0 ? 10 : 1346;
        tvrnet_pkt p =
            peer.chunk(r.ticket, line, r.index, r.last, total, r.index < r.last ? 1336 : 10);
        p.header.type = tvrnet_pkt_type::stream;
        peer.send(node.ip(), p);
        EXPECT_EQ(acks(), "");
        EXPECT_EQ(heard.size(), r.heard);
    }
}

// The most silent sender's frame goes when all together take too much; what nobody registered takes
// nothing.
TEST_F(receiving, streams_share_their_memory) {
    node.limits.stream_budget_bytes = 2000;
    const auto chunk_of = [&](uint8_t sender, uint32_t index, uint32_t command) {
        tvrnet_pkt p = peer.chunk(1, command, index, 1, 1346, index == 0 ? 1336 : 10);
        p.header.type = tvrnet_pkt_type::stream;
        p.header.source = {{6, 0, 0, 0, 0, sender}};
        peer.send(node.ip(), p);
        run_for(net, {&node}, 20);
    };
    chunk_of(1, 0, line);
    chunk_of(2, 0, line);
    chunk_of(2, 1, line);
    EXPECT_EQ(heard.size(), 1U);
    chunk_of(1, 1, line);
    EXPECT_EQ(heard.size(), 1U) << "the first half was forgotten";
    chunk_of(3, 0, line + 1);
    chunk_of(1, 0, line);
    EXPECT_EQ(heard.size(), 2U);
}

// Strangers come and go by the thousand: nothing grows, and the device keeps its place.
TEST_F(receiving, strangers_do_not_push_out_a_device) {
    node.limits.max_endpoints = 100;
    ASSERT_TRUE(peer.meet(node));
    send_chunk(1, 0, 0, 1, 1);
    acks();
    tvrnet_pkt p = peer.chunk(1, line, 0, 0, 1, 1);
    for (uint32_t i = 0; i < 1000; i++) {
        p.header.source = {{6, 0, 0, 0, uint8_t(i >> 8), uint8_t(i)}};
        peer.send(node.ip(), p);
    }
    run_for(net, {&node}, 20);
    EXPECT_EQ(heard.size(), 1001U);
    send_chunk(1, 0, 0, 1, 1);
    EXPECT_NE(acks().find("1(-1,-1)"), std::string::npos);
    EXPECT_EQ(heard.size(), 1001U) << "delivered twice";
}

}  // namespace
