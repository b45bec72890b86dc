// The relay's lines in the session, commands on their way back, sound, and relays that change.

#include "net/relay/relay.h"

#include <gtest/gtest.h>

#include "../sim_node.h"
#include "deck/session.h"
#include "net/relay/endpoint.h"
#include "net/relay/pcm_packet.h"

using namespace deckbus;
using namespace net_test;

namespace {

constexpr auto text_format = tvrnet_pkt_dataformat::text;
using texts = std::vector<std::string>;

TEST(pcm_packet, whole_ones_only) {
    audio_chunk sent;
    sent.sample_rate = 16000;
    sent.seq = 7;
    sent.source = 2;
    sent.us = 0x0123456789ABCDEF;
    sent.pcm = {1, 0, 2, 0};
    const std::vector<uint8_t> good = net::make_pcm_packet(sent);
    ASSERT_EQ(good.size(), 28U);

    audio_chunk got;
    ASSERT_TRUE(net::parse_pcm_packet(good.data(), good.size(), 12.5, got));
    EXPECT_EQ(got.sample_rate, 16000);
    EXPECT_EQ(got.seq, 7U);
    EXPECT_EQ(got.source, 2);
    EXPECT_EQ(got.us, sent.us);
    EXPECT_EQ(got.t, 12.5);
    EXPECT_EQ(got.pcm, sent.pcm);

    struct row {
        const char* what;
        void (*harm)(std::vector<uint8_t>&);
        bool ok;
    };
    const row rows[] = {
        {"one byte short", [](auto& p) { p.pop_back(); }, false},
        {"bytes behind", [](auto& p) { p.push_back(9); }, true},
        {"another magic", [](auto& p) { p[3] = '2'; }, false},
        {"format 2", [](auto& p) { p[14] = 2; }, false},
        {"rate 0", [](auto& p) { p[4] = p[5] = 0; }, false},
        {"a header only", [](auto& p) { p.resize(23); }, false},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        std::vector<uint8_t> packet = good;
        r.harm(packet);
        EXPECT_EQ(net::parse_pcm_packet(packet.data(), packet.size(), 0, got), r.ok);
    }
}

// A relay as its firmware would be, and the commands that it was given.
struct sim_relay : sim_node {
    sim_relay(sim_network& net, uint8_t number, tvrnet_global_s& ids, const std::string& name)
        : sim_node(net, number, ids, named(name)) {
        add_command("deckbus_cmd", [this](const tvrnet_ip&, const uint8_t* data, size_t size,
                                          const tvrnet_pkt_header& h) {
            EXPECT_EQ(h.data_format, text_format);
            commands.emplace_back(reinterpret_cast<const char*>(data), size);
        });
    }
    void line(const tvrnet_mac& to, const std::string& text, const char* command = "deckbus") {
        const auto device = peer(to);
        ASSERT_NE(device, nullptr);
        device->send_reliable(command, text.data(), text.size(), text_format, false, 0);
    }
    texts commands;
};

struct relaying : testing::Test {
    relaying() {
        run_until(net, all(), 1000, [&] { return node.device_count() == 2; });
    }
    ~relaying() override {
        session::take_network_audio();
        session::network_take_commands();
    }
    std::vector<tvrnet_base*> all() { return {&node, &first, &second}; }
    void run(uint64_t ms) { run_for(net, all(), ms); }
    void line(sim_relay& from, const std::string& text) {
        from.line(node.udp->local_adr().mac, text);
        run(20);
    }

    sim_network net;
    sim_ids ids_node{1}, ids_first{1000}, ids_second{2000};
    net::relay_state state;
    net::endpoint node{std::make_unique<sim_socket>(net, 1), state, ids_node};
    sim_relay first{net, 2, ids_first, "first"}, second{net, 3, ids_second, "second"};
    std::shared_ptr<session> link = session::open_network();
};

constexpr char beat[] = R"({"t":"beat","n":1,"bpm":128,"beat":5})";

TEST_F(relaying, lines_feed_the_session_and_choose_the_relay) {
    line(first, beat);
    {
        tvr_lock hold(link->mutex);
        EXPECT_TRUE(link->state.connected);
        EXPECT_EQ(link->state.players.count(1), 1U);
    }
    {
        tvr_lock hold(state.relay_mutex);
        EXPECT_EQ(state.relay_name, "first");
    }
    first.line(node.udp->local_adr().mac, beat, "deckbus_rt");
    run(20);
    EXPECT_EQ(state.line_packets, 2U);
}

TEST_F(relaying, commands_wait_for_a_relay_and_follow_it) {
    {
        tvr_lock hold(link->mutex);
        link->send("one");
        link->send("two");
    }
    run(50);
    EXPECT_TRUE(first.commands.empty() && second.commands.empty());
    line(first, beat);
    EXPECT_EQ(first.commands, (texts{"info", "one", "two"})) << "the state's own go first";
    line(second, beat);
    EXPECT_EQ(second.commands, texts{"info"}) << "another relay is asked for everything";
    {
        tvr_lock hold(link->mutex);
        link->send("three");
    }
    run(20);
    EXPECT_EQ(second.commands, (texts{"info", "three"}));
    EXPECT_EQ(first.commands.size(), 3U);
    tvr_lock hold(state.relay_mutex);
    EXPECT_EQ(state.relay_name, "second");
}

TEST_F(relaying, a_relay_that_comes_back_is_asked_once) {
    line(first, beat);
    ASSERT_EQ(first.commands, texts{"info"});
    node.disconnect_device(first.mac(), "test");
    run(8000);  // it is met again
    ASSERT_NE(node.find_device(first.mac().bytes.data()), nullptr);
    line(first, beat);
    run(3000);
    EXPECT_EQ(first.commands, (texts{"info", "info"}));
}

TEST_F(relaying, sound_goes_to_its_store_and_chooses_nobody) {
    audio_chunk chunk;
    chunk.sample_rate = 16000;
    chunk.pcm = {1, 2};
    std::vector<uint8_t> packet = net::make_pcm_packet(chunk);
    const auto send = [&] {
        first.peer(node.udp->local_adr().mac)
            ->send_out_of_band("deckbus_pcm", packet.data(), packet.size(),
                               tvrnet_pkt_dataformat::buffer);
        run(5);
    };
    send();
    EXPECT_EQ(session::take_network_audio().size(), 1U);
    packet[14] = 2;
    send();
    EXPECT_TRUE(session::take_network_audio().empty());
    EXPECT_EQ(state.audio_packets, 2U);
    tvr_lock hold(state.relay_mutex);
    EXPECT_EQ(state.relay_name, "");
}

}  // namespace
