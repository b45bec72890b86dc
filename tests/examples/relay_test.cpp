// Scripts on the network: a relay on this machine plays the set, and a script follows it.

#include <gtest/gtest.h>

#include <csignal>

#include "../support/network_lock.h"
#include "../support/sim_process.h"
#include "../support/tavro_process.h"

using bridge_sim::test::sim_process;
using host::test::in_pipe;

namespace {

constexpr const char* set = EXAMPLES "/recordings/club-night.jsonl";

// A script's node takes the first free port of these; another test's may hold one.
std::vector<std::string> relay_arguments() {
    std::vector<std::string> all;
    for (const char* word :
         {"relay", "--name", "booth relay", "--speed", "20", "--loop", "--pcm"}) {
        all.emplace_back(word);
    }
    for (int port = 6454; port < 6462; ++port) {
        all.emplace_back("--to");
        all.push_back("127.0.0.1:" + std::to_string(port));
    }
    all.emplace_back(set);
    return all;
}

TEST(relay, a_script_follows_it) {
    const test_support::network_lock alone;
    sim_process relay(relay_arguments());
    in_pipe run({"run", EXAMPLES "/follow.tvio", "network"}, "     track: ");
    // The set goes on while the metadata is fetched, so beats and tracks come in any order.
    EXPECT_TRUE(run.output.ever_reads("cue point"));
    run.child.signal(SIGTERM);
    EXPECT_EQ(run.ends(), 0);
    EXPECT_NE(run.output.text().find("     connected to tavronet\n"), std::string::npos)
        << run.output.text();
    EXPECT_NE(run.output.text().find(" has the tempo\n"), std::string::npos) << run.output.text();
}

TEST(relay, is_named_and_spoken_to_and_sends_sound) {
    const test_support::network_lock alone;
    sim_process relay(relay_arguments());
    const auto found = host::test::run(
        {"eval",
         "import deckbus;\n"
         "std.print(deckbus.take_net_audio(), deckbus.net_relay() == \"\");\n"
         "d = deckbus.device(); d.network();\n"
         "for (deckbus.net_relay() == \"\") std.wait(5);\n"
         "std.print(deckbus.net_relay()); d.send(\"demo 1\");\n"
         "sound = [];\n"
         "for (sound.size() == 0) { std.wait(5); sound = deckbus.take_net_audio(); }\n"
         "a = sound[0];\n"
         "std.print(a.rate, a.samples == a.values.size(), a.data.size() == a.samples * 2);\n"
         "std.exit(0);"});
    EXPECT_EQ(found.out, "[] 1\nbooth relay\n16000 1 1\n") << found.err;
    EXPECT_TRUE(relay.says("demo 1"));
}

}  // namespace
