// The simulated relay as a process, and a node that listens to it through heavy loss.

#include "bridge_sim/relay.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <map>
#include <thread>

#include "../support/network_lock.h"
#include "../support/sim_process.h"
#include "base/clock.h"
#include "bridge_sim/recorder.h"
#include "net/base.h"
#include "net/os_socket.h"

namespace bridge_sim::test {
namespace {

struct listener : tvrnet_base {
    listener() : tvrnet_base(make_socket(), tvrnet_node_options{}) {
        const auto hear = [this](const tvrnet_ip&, const uint8_t* data, size_t size,
                                 const tvrnet_pkt_header&) {
            heard++;
            const std::string line(reinterpret_cast<const char*>(data), size);
            for (const char* kind : {"hello", "beat", "meta"}) {
                if (line.find("\"t\":\"" + std::string(kind) + "\"") != line.npos) kinds[kind]++;
            }
        };
        add_command("deckbus", hear);
        add_command("deckbus_rt", hear);
        add_command("deckbus_pcm", [this](const tvrnet_ip&, const uint8_t*, size_t,
                                          const tvrnet_pkt_header&) { kinds["pcm"]++; });
        EXPECT_TRUE(udp->init() && udp->bind(0));
    }
    static std::unique_ptr<GenericUDPSocket> make_socket() {
        tvrnet_socket_options options;
        options.tell = false;
        options.mac = tvrnet_made_up_mac(1);
        return std::make_unique<GenericOSUDPSocket>(options);
    }
    std::string address() const { return "127.0.0.1:" + std::to_string(udp->local_adr().ip.port); }

    template <typename CONDITION>
    bool until(CONDITION holds) {
        constexpr double longest_s = std::chrono::duration<double>(test_support::deadline).count();
        const double begun = tvr_now_s();
        while (!holds()) {
            if (tvr_now_s() - begun > longest_s) return false;
            update(uint64_t(tvr_now_s() * 1000.0));
            udp->wait(1);
        }
        return true;
    }

    long long heard = 0;
    std::map<std::string, int> kinds;
};

// What a board would never send; it goes as a line.
constexpr const char* odd_sound = R"({"t":"pcm","sr":"fast","seq":-1,"us":0.5,"d":7})";

TEST(relaying, every_line_arrives_once_and_commands_are_obeyed) {
    const test_support::network_lock alone;
    scratch place;
    const std::string file = place.path("set.jsonl");
    {
        std::ofstream out(file);
        write_recording(out,
                        record_lines(plan_set({.seed = 3, .minutes = 1, .decks = 2, .pcm_s = 2})));
        out << odd_sound << '\n';
    }
    listener node;
    sim_process sim({"relay", "--to", node.address(), "--speed", "10", "--loss", "0.2",
                     "--duplicate", "0.1", "--reorder", "0.1", "--pcm", file});
    ASSERT_TRUE(sim.says("is ready"));
    ASSERT_TRUE(node.until([&] { return node.device_count() == 1 && node.heard > 0; }))
        << node.device_count() << " devices, " << node.heard << " lines";
    const auto relay = node.connected_devices().at(0);
    EXPECT_EQ(relay->name, "bridge_sim relay");
    for (const std::string command : {"info", "no such thing"}) {
        relay->send_reliable("deckbus_cmd", command.data(), command.size(),
                             tvrnet_pkt_dataformat::text, true, 0);
    }
    EXPECT_TRUE(node.until([&] { return node.kinds["hello"] > 0 && node.kinds["beat"] > 3; }));
    // The relay stays until all is acknowledged, so somebody must go on listening.
    std::atomic<bool> ended{false};
    std::thread listening([&] { node.until([&] { return ended.load(); }); });
    EXPECT_EQ(sim.finish(), 0);
    ended = true;
    listening.join();
    EXPECT_EQ(node.heard, count_in(sim.messages(), "sent"));
    EXPECT_EQ(count_in(sim.messages(), "info"), 1);
    EXPECT_EQ(count_in(sim.messages(), "unknown"), 1);
    EXPECT_GT(node.kinds["meta"], 0);
    EXPECT_GT(node.kinds["pcm"], 0);
}

}  // namespace
}  // namespace bridge_sim::test
