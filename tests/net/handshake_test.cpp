// How nodes meet, watch each other and part.

#include <gtest/gtest.h>

#include "net/hash.h"
#include "net/kv_record.h"
#include "sim_node.h"

using namespace net_test;

namespace {

using texts = std::vector<std::string>;

TEST(handshake, two_nodes_meet_and_set_up) {
    sim_pair pair;
    ASSERT_TRUE(pair.meet(100));
    pair.run(100);
    EXPECT_EQ(pair.a.log, texts{"connect node b"});
    EXPECT_EQ(pair.b.log, texts{"connect node a"});
    const auto b = pair.a.peer(pair.b.mac());
    EXPECT_TRUE(b->init_device_answered && b->init_done);
    EXPECT_EQ(b->type_name, "test node");
    EXPECT_EQ(b->device_type, tvrnet_device::known_type);
    EXPECT_EQ(b->silence.interval, tvrnet_device::known_timeout_ms);
    EXPECT_EQ(b->peer_version, 2);
    const uint32_t check = tvrnet_hash("tvrnet_cmd_check");
    EXPECT_EQ(std::count(b->peer_commands.begin(), b->peer_commands.end(), check), 1);
}

TEST(handshake, a_quiet_network_stays_quiet) {
    sim_pair pair;
    ASSERT_TRUE(pair.meet());
    pair.run(3000);
    const uint64_t before = pair.net.sent;
    pair.run(30000);
    // Ten beacons of each, their answers, and the requests that these bring.
    EXPECT_LT(pair.net.sent - before, 100U);
    EXPECT_GT(pair.net.sent - before, 20U);
}

struct with_peer : testing::Test {
    void run(uint64_t ms) {
        run_for(net, {&node}, ms);
        peer.collect();
    }

    sim_network net;
    sim_ids ids;
    sim_node node{net, 1, ids, named("the node")};
    raw_peer peer{net};
};

TEST_F(with_peer, the_beacon) {
    std::vector<sim_datagram> sent;
    net.spy = [&](const sim_datagram& d) { sent.push_back(d); };
    run(3500);
    ASSERT_EQ(sent.size(), 2U) << "at once, and after three seconds";
    EXPECT_EQ(sent[0].to, (tvrnet_ip{{255, 255, 255, 255}, 6454}));
    const tvrnet_pkt* p = peer.first(tvrnet_pkt_type::beacon);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p->header.session_id, tvrnet_no_session);
    EXPECT_EQ(p->header.destination, tvrnet_broadcast_mac);
    EXPECT_EQ(p->header.data_format, tvrnet_pkt_dataformat::text);
    EXPECT_EQ(std::string(p->payload.begin(), p->payload.begin() + p->header.payload_size),
              "the node");
}

TEST_F(with_peer, a_beacon_is_answered) {
    for (const bool straight : {false, true}) {
        SCOPED_TRACE(straight);
        run(3);
        tvrnet_pkt hello = peer.packet(tvrnet_pkt_type::beacon);
        hello.header.destination = straight ? node.mac() : tvrnet_broadcast_mac;
        peer.send(node.ip(), hello);
        run(3);
        const tvrnet_pkt* reply = peer.first(tvrnet_pkt_type::beacon_reply);
        const tvrnet_pkt* beacon = peer.first(tvrnet_pkt_type::beacon);
        ASSERT_NE(reply, nullptr);
        EXPECT_EQ(reply->header.session_id, tvrnet_no_session) << "unknown so far";
        EXPECT_NE(uint32_t(reply->header.ticket_id), 0U) << "the node's session for us";
        ASSERT_EQ(beacon != nullptr, straight);
        if (!straight) continue;
        EXPECT_EQ(beacon->header.destination, tvrnet_broadcast_mac);
    }
}

TEST_F(with_peer, names_are_cut) {
    peer.name = "A name of 20 letters";
    peer.type_name.assign(61, 't');
    peer.type_name += "ü and more";
    ASSERT_TRUE(peer.meet(node));
    const auto device = node.peer(peer.mac());
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(device->name, "A name of 20 let");
    EXPECT_EQ(device->type_name, std::string(61, 't')) << "no character is cut in two";
}

TEST_F(with_peer, short_auth_records_are_ignored) {
    run(1);
    peer.send(node.ip(), peer.packet(tvrnet_pkt_type::beacon));
    tvrnet_pkt cut = peer.auth_request(77);
    cut.header.payload_size = 107;
    peer.send(node.ip(), cut);
    run(5);
    EXPECT_EQ(peer.first(tvrnet_pkt_type::auth_reply), nullptr);
    const tvrnet_pkt* asked = peer.first(tvrnet_pkt_type::auth_request);
    ASSERT_NE(asked, nullptr);
    tvrnet_pkt reply = peer.auth_reply(asked->header.session_id);
    reply.header.payload_size = 103;
    peer.send(node.ip(), reply);
    run(600);
    EXPECT_EQ(node.peer(peer.mac()), nullptr);
    EXPECT_NE(peer.first(tvrnet_pkt_type::auth_request), nullptr) << "asked again";
}

TEST_F(with_peer, reasons_to_part) {
    struct row {
        const char* reason;
        std::function<void()> offence;
    };
    const row rows[] = {
        {"auth req invalid sessionid", [&] { peer.send(node.ip(), peer.auth_request(78)); }},
        {"auth invalid sessionid.",
         [&] { peer.send(node.ip(), peer.auth_reply(peer.theirs + 1)); }},
        {"connect_guard invalid sessionid.",
         [&] {
             tvrnet_pkt p = peer.packet(tvrnet_pkt_type::alive_reply);
             p.header.session_id = peer.theirs + 1;
             peer.send(node.ip(), p);
         }},
        {"ack invalid sessionid.",
         [&] { peer.send_ack(node, peer.ack(1, tvrnet_ack_status::invalid_session)); }},
        {"Restarted",
         [&] {
             const auto device = node.peer(peer.mac());
             const uint64_t ticket =
                 device->send_reliable("line", "x", 1, tvrnet_pkt_dataformat::text, false, 0);
             peer.send_ack(node, peer.ack(ticket, tvrnet_ack_status::marker, -4, -4));
         }},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.reason);
        peer.session = 77;
        ASSERT_TRUE(peer.meet(node));
        ASSERT_NE(node.peer(peer.mac()), nullptr);
        r.offence();
        run(5);
        EXPECT_EQ(node.log.back(), r.reason);
        EXPECT_EQ(node.peer(peer.mac()), nullptr);
    }
}

TEST_F(with_peer, a_late_ack_of_an_old_session_does_no_harm) {
    ASSERT_TRUE(peer.meet(node));
    peer.send_ack(node, peer.ack(1, tvrnet_ack_status::invalid_session), peer.theirs - 1);
    run(5);
    EXPECT_NE(node.peer(peer.mac()), nullptr);
}

// The answer to "tvrnet_init_connection", as the peer would send it.
TEST_F(with_peer, the_connection_record_is_judged) {
    struct row {
        const char* what;
        const char* reason;  // empty: accepted
        std::function<void(tvrnet_kv_writer&)> write;
    };
    const row rows[] = {
        {"sound", "",
         [](tvrnet_kv_writer& w) { w.add_int32("version", 2), w.add_int32("pacing", 7); }},
        {"the old version, further keys are nothing", "",
         [](tvrnet_kv_writer& w) { w.add_int32("version", 1), w.add_int32("pacing", 9); }},
        {"nothing", "init connection failed (invalid kv).", [](tvrnet_kv_writer&) {}},
        {"another key first", "init connection failed (invalid kv).",
         [](tvrnet_kv_writer& w) { w.add_int32("pacing", 1), w.add_int32("version", 2); }},
        {"version of 8 bytes", "init connection failed (invalid kv version size).",
         [](tvrnet_kv_writer& w) { w.add_int64("version", 2); }},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        ASSERT_TRUE(peer.meet(node));
        const size_t told = node.log.size();
        const uint32_t cmd = tvrnet_hash("tvrnet_cmd");
        const auto asked = std::find_if(peer.packets.begin(), peer.packets.end(),
                                        [&](auto& p) { return p.header.command_hash == cmd; });
        tvrnet_pkt_header h;
        if (asked != peer.packets.end()) h = asked->header;
        ASSERT_NE(h.ticket_id, 0U);
        tvrnet_kv_writer data, record;
        r.write(data);
        record.add_int64("ticketid", int64_t(h.ticket_id));
        record.add_bytes("data", data.data);
        static uint64_t ticket = 0;
        tvrnet_pkt answer = peer.chunk(++ticket, tvrnet_hash("tvrnet_response_ack_success"), 0, 0,
                                       record.data.size(), uint32_t(record.data.size()));
        std::copy(record.data.begin(), record.data.end(), answer.payload.begin());
        peer.send(node.ip(), answer);
        run(3);
        const auto device = node.peer(peer.mac());
        if (*r.reason != 0) {
            EXPECT_EQ(node.log.back(), r.reason);
            EXPECT_EQ(device, nullptr);
            continue;
        }
        ASSERT_NE(device, nullptr);
        EXPECT_TRUE(device->init_done);
        EXPECT_EQ(device->packets_per_turn, device->peer_version == 1 ? 0U : 7U);
        EXPECT_EQ(node.log.size(), told);
        node.disconnect_device(peer.mac(), "the next row");
    }
}

TEST_F(with_peer, one_that_never_sets_up_is_asked_once_at_a_time) {
    ASSERT_TRUE(peer.meet(node));
    size_t asked = 0;
    for (int n = 0; n < 16000 && node.log.size() < 2; n++) {
        for (const tvrnet_pkt& p : peer.packets) {
            if (p.header.type != tvrnet_pkt_type::data) continue;
            asked += p.header.command_hash == tvrnet_hash("tvrnet_cmd") ? 1 : 0;
            peer.send_ack(node, peer.ack(p.header.ticket_id, tvrnet_ack_status::complete));
        }
        peer.send(node.ip(), peer.packet(tvrnet_pkt_type::alive_check));  // it lives
        run(1);
    }
    EXPECT_EQ(node.log.back(), "init connection failed.");
    EXPECT_EQ(asked, 1U);
}

TEST_F(with_peer, silence_makes_lost_then_gone) {
    ASSERT_TRUE(peer.meet(node));
    const auto device = node.peer(peer.mac());
    device->init_done = true;
    run(10000 + 1500);
    EXPECT_TRUE(device->lost);
    EXPECT_NE(node.peer(peer.mac()), nullptr);
    size_t checks = 0;
    for (const tvrnet_pkt& p : peer.packets)
        checks += p.header.type == tvrnet_pkt_type::alive_check;
    EXPECT_GE(checks, 7U) << "1, 2, 4 ... ms apart";
    EXPECT_LE(checks, 12U);

    tvrnet_pkt alive = peer.packet(tvrnet_pkt_type::alive_reply);
    alive.header.session_id = peer.theirs;
    peer.send(node.ip(), alive);
    run(3);
    EXPECT_FALSE(device->lost);
    run(9000);
    EXPECT_FALSE(device->lost) << "the time counts anew";
    run(13100);
    EXPECT_EQ(node.log.back(), "tvrnet timeout.");
    EXPECT_EQ(node.peer(peer.mac()), nullptr);
}

TEST_F(with_peer, a_pending_device_gives_up_and_comes_back) {
    run(1);
    peer.send(node.ip(), peer.packet(tvrnet_pkt_type::beacon));
    run(5);
    const uint32_t first = peer.first(tvrnet_pkt_type::auth_request)->header.session_id;
    run(6000);
    run(1000);
    EXPECT_EQ(peer.first(tvrnet_pkt_type::auth_request), nullptr) << "given up";
    ASSERT_TRUE(peer.meet(node)) << "a beacon brings it back at once";
    EXPECT_NE(peer.theirs, first) << "as someone new";
}

TEST(restart, a_peer_that_restarts_is_met_anew_and_heard) {
    sim_pair pair;
    ASSERT_TRUE(pair.meet());
    int heard = 0;
    pair.a.add_command("line", [&](const tvrnet_ip&, const uint8_t*, size_t,
                                   const tvrnet_pkt_header&) { heard++; });
    const auto send = [&](sim_node& from) {
        from.peer(pair.a.mac())
            ->send_reliable("line", "x", 1, tvrnet_pkt_dataformat::text, false, 0);
    };
    for (int n = 0; n < 3; n++) send(pair.b);
    ASSERT_TRUE(pair.until(1000, [&] { return heard == 3; }));

    // The same MAC and tickets from 1 again, but other sessions.
    std::erase(pair.net.sockets, &pair.b.socket());
    sim_ids later{5000};
    sim_node again(pair.net, 2, later, named("node b"));
    const std::vector<tvrnet_base*> nodes = {&pair.a, &again};
    ASSERT_TRUE(
        run_until(pair.net, nodes, 5000, [&] { return again.peer(pair.a.mac()) != nullptr; }));
    for (int n = 0; n < 3; n++) send(again);
    EXPECT_TRUE(run_until(pair.net, nodes, 1000, [&] { return heard == 6; }));
    run_for(pair.net, nodes, 1000);
    EXPECT_EQ(heard, 6);
    EXPECT_EQ(pair.a.log,
              (texts{"connect node b", "auth req invalid sessionid", "connect node b"}));
    EXPECT_NE(pair.a.peer(again.mac()), nullptr);
}

TEST(restart, a_partition_heals) {
    sim_pair pair;
    ASSERT_TRUE(pair.meet());
    pair.run(100);
    pair.net.parted = true;
    ASSERT_TRUE(pair.until(25000, [&] { return pair.a.device_count() == 0; }));
    ASSERT_TRUE(pair.until(25000, [&] { return pair.b.device_count() == 0; }));
    EXPECT_EQ(pair.a.log.back(), "tvrnet timeout.");
    pair.net.parted = false;
    EXPECT_TRUE(pair.meet(10000));
}

TEST(restart, a_clock_that_jumps_does_no_harm) {
    sim_pair pair;
    ASSERT_TRUE(pair.meet());
    pair.run(1000);
    pair.net.now += 8000;  // less than what makes a device lost
    pair.run(100);
    pair.net.now -= 5000;
    pair.run(5000);
    EXPECT_EQ(pair.a.log, texts{"connect node b"});
}

TEST(reaching, listed_peers_are_polled_instead_of_all) {
    sim_network net;
    sim_ids ids_a, ids_b{2000};
    tvrnet_node_options quiet = named("listener");
    quiet.poll_interval_ms = 0;
    tvrnet_node_options options = named("caller");
    options.peers = {{{10, 0, 0, 2}, 6454}};
    sim_node a(net, 1, ids_a, options), b(net, 2, ids_b, quiet);
    std::vector<tvrnet_ip> targets;
    net.spy = [&](const sim_datagram& d) { targets.push_back(d.to); };
    EXPECT_TRUE(run_until(net, {&a, &b}, 1000, [&] { return a.peer(b.mac()) && b.peer(a.mac()); }));
    for (const tvrnet_ip& ip : targets) EXPECT_NE(ip.address[0], 255);
}

}  // namespace
