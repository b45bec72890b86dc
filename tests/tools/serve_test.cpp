// The program on a real pseudo terminal, with a client that reads it.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "../support/sim_process.h"
#include "bridge_sim/recorder.h"
#include "deck/session.h"

namespace bridge_sim::test {
namespace {

struct serving : testing::Test {
    serving() {
        std::ofstream out(file);
        write_recording(out, record_lines(plan_set({.seed = 3, .minutes = 1, .decks = 2})));
    }

    std::vector<std::string> arguments(const std::vector<std::string>& more = {}) const {
        std::vector<std::string> all{"serve", "--pty", link, file};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }

    scratch place;
    std::string file = place.path("set.jsonl"), link = place.path("tty");
};

TEST_F(serving, ends_with_the_recording_and_cleans_up) {
    sim_process sim(arguments({"--speed", "100"}));
    ASSERT_TRUE(sim.says("is ready"));
    EXPECT_EQ(sim.finish(), 0);
    EXPECT_FALSE(std::filesystem::is_symlink(link));
    EXPECT_EQ(count_in(sim.messages(), "sent"), 0) << "nobody listened";
    EXPECT_GT(count_in(sim.messages(), "lost"), 1000);
}

TEST_F(serving, answers_and_counts) {
    sim_process sim(arguments({"--speed", "20", "--loop"}));
    ASSERT_TRUE(sim.says("is ready"));
    port_client client(link);
    ASSERT_TRUE(client.is_open());
    ASSERT_TRUE(client.sees("\"t\":\"trk\",\"n\":2"));
    ASSERT_TRUE(client.sees("\"t\":\"metaok\""));
    ASSERT_TRUE(client.sees("\"t\":\"hb\""));
    ASSERT_TRUE(client.write("ping\ninfo\nfetch 1\nno such thing\nping\n"));
    EXPECT_TRUE(client.sees("\"t\":\"hello\""));
    EXPECT_TRUE(client.sees("\"t\":\"trk\",\"n\":1"));
    EXPECT_TRUE(client.sees("\"t\":\"meta\""));
    EXPECT_TRUE(client.sees("\"t\":\"metaok\""));
    EXPECT_EQ(sim.stop(), 0);
    EXPECT_TRUE(sim.says("unknown command \"no such thing\""));
    EXPECT_EQ(count_in(sim.messages(), "ping"), 2);
    EXPECT_EQ(count_in(sim.messages(), "info"), 1);
    EXPECT_EQ(count_in(sim.messages(), "fetch"), 1);
    EXPECT_EQ(count_in(sim.messages(), "unknown"), 1);
    EXPECT_FALSE(std::filesystem::is_symlink(link));
}

// The decks come late, ask, and have everything; then the board fails under them.
TEST_F(serving, a_session_finds_its_way) {
    sim_process sim(arguments({"--loop", "--reboot@4"}));
    ASSERT_TRUE(sim.says("is ready"));
    auto session = deckbus::session::open_serial(link, 2000000);
    std::shared_ptr<deckbus::event_queue> heard;
    {
        tvr_lock hold(session->mutex);
        heard = session->listen();
    }
    auto complete = [&] {
        tvr_lock hold(session->mutex);
        const deckbus::track* track = session->state.track_of(1);
        return track != nullptr && track->complete && track->has_grid && !track->art.empty();
    };
    auto restarted = [&] {
        tvr_lock hold(session->mutex);
        return std::any_of(heard->begin(), heard->end(),
                           [](const deckbus::event& e) { return e.kind == "restart"; });
    };
    EXPECT_TRUE(eventually(complete));
    EXPECT_TRUE(eventually(restarted));
    EXPECT_TRUE(eventually(complete)) << "asked for again after the restart";
    session.reset();
    EXPECT_EQ(sim.stop(), 0);
    EXPECT_GE(count_in(sim.messages(), "fetch"), 1);
}

TEST_F(serving, the_cable_is_pulled_and_put_back) {
    sim_process sim(arguments({"--loop", "--unplug", "0.2@2", "--unplug", "0.2@20"}));
    ASSERT_TRUE(sim.says("is ready"));
    port_client client(link);
    ASSERT_TRUE(client.is_open());
    EXPECT_FALSE(client.sees("no line holds this")) << "reads until the hang-up";
    client.close();
    ASSERT_TRUE(appears(link));
    port_client again(link);
    ASSERT_TRUE(again.is_open());
    EXPECT_TRUE(again.sees("\"t\":\"hb\""));
    EXPECT_EQ(sim.stop(), 0);
}

TEST_F(serving, clients_come_and_go) {
    sim_process sim(arguments({"--loop"}));
    ASSERT_TRUE(sim.says("is ready"));
    for (int i = 0; i < 3; i++) {
        const auto before = std::filesystem::read_symlink(link);
        port_client client(link);
        ASSERT_TRUE(client.is_open()) << "the exclusive mode of the one before is gone";
        EXPECT_TRUE(client.sees("\"t\":\"hb\""));
        client.close();
        ASSERT_TRUE(eventually([&] { return std::filesystem::read_symlink(link) != before; }));
    }
    EXPECT_EQ(sim.stop(), 0);
}

TEST_F(serving, a_late_reader_gets_whole_lines) {
    sim_process sim(arguments({"--speed", "50", "--loop"}));
    ASSERT_TRUE(sim.says("is ready"));
    port_client client(link);
    ASSERT_TRUE(client.is_open());
    ASSERT_TRUE(client.write("late\n"));
    ASSERT_TRUE(sim.says("unknown command \"late\""));
    std::string line;
    for (int i = 0; i < 3000; i++) {
        ASSERT_TRUE(client.read_line(line));
        ASSERT_TRUE(nlohmann::json::accept(line)) << line;
    }
    EXPECT_EQ(sim.stop(), 0);
}

TEST_F(serving, harm_is_done_and_counted) {
    struct row {
        const char* option;
        bool arrives;
    };
    for (const row& r : {row{"--drop", false}, row{"--garble", true}}) {
        SCOPED_TRACE(r.option);
        sim_process sim(arguments({"--loop", r.option, "1"}));
        ASSERT_TRUE(sim.says("is ready"));
        port_client client(link);
        ASSERT_TRUE(client.is_open());
        ASSERT_TRUE(client.write("info\ndone\n"));
        ASSERT_TRUE(sim.says("\"done\""));
        EXPECT_EQ(sim.stop(), 0);
        EXPECT_EQ(count_in(sim.messages(), "sent") > 0, r.arrives);
        EXPECT_EQ(count_in(sim.messages(), "slow,") > 0, !r.arrives) << "dropped";
        EXPECT_EQ(count_in(sim.messages(), "garbled"), count_in(sim.messages(), "sent"));
    }
}

TEST_F(serving, refuses_what_cannot_be) {
    const std::string taken = place.path("taken"), empty = place.path("empty.jsonl");
    std::ofstream(taken) << "mine";
    std::ofstream(empty) << "nothing of use\n";
    struct row {
        std::vector<std::string> arguments;
        const char* message;
    };
    const row rows[] = {
        {{"serve", "--pty", taken, file}, "exists and is no symbolic link"},
        {{"serve", "--pty", link, place.path("missing")}, "Cannot open file: "},
        {{"serve", "--pty", link, empty}, "No bridge lines in "},
        {{"serve", "--pty", link, file, "--stall", "5"}, "is not of the form SECONDS@T"},
        {{"serve", "--pty", link, file, "--drop", "1.5"}, "--drop"},
        {{"serve", "--pty", link, file, "--speed", "0"}, "--speed"},
        {{"record", "--decks", "7", "-o", empty}, "--decks"},
        {{"record", "-o", place.path("no/such/folder")}, "Cannot open file: "},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.message);
        sim_process sim(r.arguments);
        const int status = sim.finish();
        EXPECT_GT(status, 0);
        EXPECT_LT(status, 128) << "a signal";
        EXPECT_NE(sim.messages().find(r.message), std::string::npos) << sim.messages();
        EXPECT_FALSE(std::filesystem::is_symlink(link));
    }
    EXPECT_TRUE(std::filesystem::is_regular_file(taken));
}

}  // namespace
}  // namespace bridge_sim::test
