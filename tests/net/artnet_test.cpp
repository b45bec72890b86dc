// Art-Net: frames byte by byte, and what a node does with those that come in.

#include "net/artnet.h"

#include <gtest/gtest.h>

#include "sim_node.h"

using namespace net_test;

namespace {

std::vector<uint8_t> dmx(int universe, const std::vector<uint8_t>& channels, uint8_t sequence = 1) {
    artnet_dmx_frame frame;
    frame.fill(universe, channels.data(), int(channels.size()), sequence);
    return {frame.bytes.begin(), frame.bytes.begin() + ptrdiff_t(frame.length)};
}

TEST(artnet_frame, stands_as_the_standard_says) {
    EXPECT_EQ(dmx(0x0102, {7, 8, 9}, 5),
              (std::vector<uint8_t>{'A', 'r', 't', '-',  'N',  'e', 't', 0, 0x00, 0x50, 0,
                                    14,  5,   0,   0x02, 0x01, 0,   4,   7, 8,    9,    0}));
    const auto sync = artnet_make_sync();
    EXPECT_EQ(
        std::vector<uint8_t>(sync.begin(), sync.end()),
        (std::vector<uint8_t>{'A', 'r', 't', '-', 'N', 'e', 't', 0, 0x00, 0x52, 0, 14, 0, 0}));
}

TEST(artnet_frame, sizes) {
    struct row {
        int size;
        size_t sent;
    };
    const std::vector<uint8_t> data(600, 1);
    for (const row& r : {row{5, 6}, row{0, 2}, row{-3, 2}, row{600, 512}, row{512, 512}}) {
        SCOPED_TRACE(r.size);
        artnet_dmx_frame frame;
        frame.fill(0, data.data(), 600, 0);  // what was there before must not show
        frame.fill(0, data.data(), r.size, 0);
        EXPECT_EQ(frame.length, 18 + r.sent);
        EXPECT_EQ(size_t(frame.bytes[16]) << 8 | frame.bytes[17], r.sent);
        EXPECT_TRUE(r.size % 2 == 0 || frame.bytes[17 + r.sent] == 0);
    }
}

TEST(artnet_poll, the_reply) {
    const tvrnet_adr own{{{10, 0, 0, 7}, 6454}, {{1, 2, 3, 4, 5, 6}}};
    const auto r = artnet_make_poll_reply(own, "A name that is too long");
    const auto text = [&](size_t at) {
        return std::string(reinterpret_cast<const char*>(r.data()) + at);
    };
    EXPECT_EQ(r.size(), 239U);
    EXPECT_EQ(text(0), "Art-Net");
    EXPECT_EQ(r[8] | r[9] << 8, 0x2100);
    EXPECT_EQ(std::vector<uint8_t>(r.begin() + 10, r.begin() + 16),
              (std::vector<uint8_t>{10, 0, 0, 7, 0x36, 0x19}));
    EXPECT_EQ(text(26), "A name that is to");
    EXPECT_EQ(text(44), "Artnet -> TavroNet Bridge");
    EXPECT_EQ(text(108), "4 DMX output universes active.");
    EXPECT_EQ(r[172] << 8 | r[173], 4);
    for (size_t i = 0; i < 4; i++) {
        EXPECT_EQ(r[174 + i], 0xC0);
        EXPECT_EQ(r[178 + i], 0x08);
        EXPECT_EQ(r[182 + i], 0x80);
        EXPECT_EQ(r[186 + i], i + 1);
        EXPECT_EQ(r[190 + i], i + 1);
    }
    EXPECT_EQ(std::vector<uint8_t>(r.begin() + 201, r.begin() + 207),
              (std::vector<uint8_t>{1, 2, 3, 4, 5, 6}));
}

struct artnet_node : testing::Test {
    void send(const std::vector<uint8_t>& frame) {
        net.send(peer.udp.local_adr().ip, node.ip(), frame.data(), frame.size());
        run_for(net, {&node}, 2);
        peer.collect();
    }

    sim_network net;
    sim_ids ids;
    sim_node node{net, 1, ids, named("the node")};
    raw_peer peer{net};
};

TEST_F(artnet_node, answers_polls) {
    std::vector<uint8_t> poll(14);
    std::memcpy(poll.data(), "Art-Net", 8);
    poll[9] = 0x20;
    send(poll);
    run_for(net, {&node}, 2);
    peer.collect();
    ASSERT_EQ(peer.frames.size(), 1U);
    EXPECT_EQ(peer.frames[0].size(), 239U);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&peer.frames[0][26])), "the node");
}

TEST_F(artnet_node, replies_make_devices) {
    const auto reply = artnet_make_poll_reply(peer.udp.local_adr(), "dimmer");
    send({reply.begin(), reply.end() - 1});
    EXPECT_TRUE(node.log.empty()) << "one byte short";
    send({reply.begin(), reply.end()});
    send({reply.begin(), reply.end()});
    EXPECT_EQ(node.log, std::vector<std::string>{"artnet dimmer"});
}

TEST_F(artnet_node, universes_come_in) {
    struct got {
        uint8_t sequence;
        int universe;
        std::vector<uint8_t> data;
        bool operator==(const got&) const = default;
    };
    std::vector<got> heard;
    node.artnet.listen();
    node.artnet.on_dmx = [&](uint8_t sequence, int universe, const uint8_t* data, size_t size,
                             const tvrnet_ip&) {
        heard.push_back({sequence, universe, {data, data + size}});
    };
    std::vector<uint8_t> frame = dmx(3, {1, 2, 3, 4}, 9);
    send(frame);
    frame[16] = 2;  // claims more than it holds
    send(frame);
    send(dmx(16, {5, 6}));
    send({frame.begin(), frame.begin() + 17});
    EXPECT_EQ(heard,
              (std::vector<got>{{9, 3, {1, 2, 3, 4}}, {9, 3, {1, 2, 3, 4}}, {1, 16, {5, 6}}}));

    const auto& u = node.artnet.state->by_number;
    EXPECT_EQ(u[3].state, artnet_universe_state::running);
    EXPECT_EQ(u[3].channels[3], 4);
    for (const auto& other : {u[0], u[15]}) EXPECT_FALSE(other.seen);
}

TEST_F(artnet_node, a_universe_that_is_late_does_not_run) {
    node.artnet.listen();
    send(dmx(1, {1, 2}));
    run_for(net, {&node}, 500);
    send(dmx(1, {1, 2}));
    EXPECT_EQ(node.artnet.state->by_number[1].state, artnet_universe_state::first_frame);
    send(dmx(1, {1, 2}));
    EXPECT_EQ(node.artnet.state->by_number[1].state, artnet_universe_state::running);
}

TEST_F(artnet_node, syncs) {
    node.artnet.listen();
    std::vector<uint64_t> intervals;
    node.artnet.on_sync = [&](uint64_t interval, float) { intervals.push_back(interval); };
    const auto bytes = artnet_make_sync();
    const std::vector<uint8_t> sync(bytes.begin(), bytes.end());
    for (int n = 0; n < 2; n++) send(dmx(1, {1, 2}));
    send(sync);
    EXPECT_EQ(node.artnet.state->lost, 0U);
    run_for(net, {&node}, 20);
    send(sync);
    EXPECT_EQ(node.artnet.state->lost, 1U) << "the universe runs, and was not there";
    send(sync);
    run_for(net, {&node}, 300);
    send(sync);
    EXPECT_EQ(intervals, (std::vector<uint64_t>{100, 22, 100})) << "one came too soon";
}

TEST_F(artnet_node, sends_universes_and_repeats_them) {
    tvrnet_artnet_device device(*node.udp, {peer.udp.local_adr().ip.address, artnet_port});
    const std::vector<uint8_t> channels = {1, 2, 3};
    EXPECT_TRUE(device.send_art_universe(4, channels.data(), 3, 8));
    EXPECT_TRUE(device.send_art_current(5));
    run_for(net, {&node}, 2);
    peer.collect();
    EXPECT_EQ(peer.frames,
              (std::vector<std::vector<uint8_t>>{dmx(4, channels, 8), dmx(5, channels, 8)}));
}

}  // namespace
