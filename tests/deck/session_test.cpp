// Sessions: how they are shared, replays, the network's way in, listeners.

#include "deck/session.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "../support/no_threads.h"
#include "../support/scratch.h"
#include "../support/waiting.h"
#include "deck/net_audio.h"

using namespace deckbus;
using test_support::eventually;

namespace {

// A recording in a file that goes with the test.
class recording_file {
public:
    explicit recording_file(const std::string& content) : path(folder.add("set.jsonl", content)) {}
    const std::string& name() const { return path; }

private:
    const test_support::scratch folder;
    const std::string path;
};

std::shared_ptr<session> replay(const recording_file& file, double speed, bool loop) {
    std::string error;
    auto link = session::open_replay(file.name(), speed, loop, error);
    EXPECT_NE(link, nullptr) << error;
    return link;
}

// The kinds that stand in a queue once the replay is over, joined by blanks.
std::string heard_by_the_end(session& link, event_queue& queue) {
    EXPECT_TRUE(eventually([&] {
        tvr_lock hold(link.mutex);
        return link.replay_ended;
    }));
    std::string out;
    for (const event& e : link.take(queue)) out += (out.empty() ? "" : " ") + e.kind;
    return out;
}

TEST(recording, gives_each_line_its_time) {
    struct row {
        const char* what;
        const char* content;
        std::vector<double> times;
    };
    const row rows[] = {
        {"rx", "{\"t\":\"a\",\"rx\":2.5}\n{\"t\":\"a\",\"rx\":3}", {2.5, 3}},
        {"rx falls", "{\"t\":\"a\",\"rx\":2.5}\n{\"t\":\"a\",\"rx\":1}", {2.5, 1}},
        {"us", "{\"t\":\"a\",\"us\":2500000}\n{\"t\":\"a\",\"us\":3e6}", {2.5, 3}},
        {"us does not fall", "{\"t\":\"a\",\"us\":2500000}\n{\"t\":\"a\",\"us\":1}", {2.5, 2.5}},
        {"rx before us", "{\"t\":\"a\",\"us\":9000000,\"rx\":1}", {1}},
        {"none", "{\"t\":\"a\"}\n{\"t\":\"a\",\"rx\":\"1\"}", {0, 0}},
        {"skipped", "\n[1]\nnews\n{\"t\":5}\n{\"rx\":7}\n{\"t\":\"a\"}\r\n", {0}},
        {"blanks pass", " {\"t\":\"a\",\"rx\":1}", {1}},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        std::istringstream in(r.content);
        std::vector<double> times;
        for (const recorded_line& line : read_recording(in)) times.push_back(line.t);
        EXPECT_EQ(times, r.times);
    }
}

TEST(replay, says_why_it_cannot_open) {
    std::string error;
    EXPECT_EQ(session::open_replay("/nowhere/at all", 1, true, error), nullptr);
    EXPECT_EQ(error, "Cannot open file: /nowhere/at all");
    const recording_file garbage("news\n[]\n");
    EXPECT_EQ(session::open_replay(garbage.name(), 1, true, error), nullptr);
    EXPECT_EQ(error, "No firmware lines in " + garbage.name());
}

TEST(replay, is_shared_by_its_key) {
    const recording_file file("{\"t\":\"hb\",\"ms\":1}\n");
    const auto first = replay(file, 1, true);
    EXPECT_EQ(replay(file, 0, true), first);
    EXPECT_EQ(replay(file, -1, true), first);
    EXPECT_NE(replay(file, 1, false), first);
    EXPECT_NE(replay(file, 2, true), first);
    EXPECT_EQ(first->key, "replay:" + file.name() + "@1.000000:loop");
}

// The thread runs before the listener is there; nothing may be lost to that.
TEST(replay, waits_for_the_first_listener) {
    const recording_file file(
        "{\"t\":\"hello\",\"fw\":\"0.4.0\"}\n{\"t\":\"warn\",\"msg\":\"w\"}\n");
    const auto link = replay(file, 1, false);
    const auto queue = link->attach();
    EXPECT_EQ(heard_by_the_end(*link, *queue), "connected hello warn");
    tvr_lock hold(link->mutex);
    EXPECT_TRUE(link->state.connected);  // a recording that has run out stays in place
    EXPECT_EQ(link->active_port, "replay:" + file.name());
}

TEST(replay, greets_who_comes_later) {
    const recording_file file("{\"t\":\"hello\"}\n");
    const auto link = replay(file, 1, false);
    const auto first = link->attach();
    heard_by_the_end(*link, *first);
    const auto second = link->attach();
    const event_queue heard = link->take(*second);
    ASSERT_EQ(heard.size(), 1u);
    EXPECT_EQ(heard[0].kind, "connected");
    EXPECT_EQ(heard[0].data["port"], "replay:" + file.name());
    EXPECT_TRUE(link->take(*first).empty());
}

TEST(replay, a_new_pass_is_no_restart) {
    const recording_file file("{\"t\":\"hb\",\"ms\":9000}\n{\"t\":\"hello\"}\n");
    const auto link = replay(file, 1, true);
    const auto queue = link->attach();
    int hellos = 0;
    EXPECT_TRUE(eventually([&] {
        for (const event& e : link->take(*queue)) {
            EXPECT_NE(e.kind, "restart");
            hellos += e.kind == "hello";
        }
        return hellos >= 3;
    }));
}

TEST(replay, keeps_its_pace_and_ends_promptly) {
    const recording_file file("{\"t\":\"hb\",\"rx\":100}\n{\"t\":\"hello\",\"rx\":103600}\n");
    const double start = now_s();
    {
        const auto link = replay(file, 36000, false);  // an hour in 0.1 s
        const auto queue = link->attach();
        EXPECT_EQ(heard_by_the_end(*link, *queue), "connected hello");
        EXPECT_GE(now_s() - start, 0.0999);
    }
    replay(file, 1, false);  // would sleep for an hour; lets go at once
}

TEST(replay, forgets_a_session_that_nobody_holds) {
    const recording_file file("{\"t\":\"dev\",\"n\":1,\"on\":true}\n");
    {
        const auto link = replay(file, 1, false);
        const auto queue = link->attach();
        heard_by_the_end(*link, *queue);
    }
    std::ofstream(file.name()) << "{\"t\":\"dev\",\"n\":2,\"on\":true}\n";
    const auto link = replay(file, 1, false);
    const auto queue = link->attach();
    heard_by_the_end(*link, *queue);
    tvr_lock hold(link->mutex);
    EXPECT_FALSE(link->state.players.at(1).present);
    EXPECT_TRUE(link->state.players.at(2).present);
}

TEST(listeners, each_get_every_event_and_drop_the_oldest) {
    session link;
    const auto first = link.attach();
    auto second = link.attach();
    {
        tvr_lock hold(link.mutex);
        for (int i = 0; i < 600; ++i) link.state.add_event("a", {{"i", i}}, 0);
        link.publish();
        for (int i = 600; i < 1100; ++i) link.state.add_event("a", {{"i", i}}, 0);
        link.publish();
    }
    const event_queue heard = link.take(*first);
    ASSERT_EQ(heard.size(), max_events);
    EXPECT_EQ(heard.front().data["i"], 76);
    EXPECT_EQ(second->size(), max_events);

    second.reset();
    tvr_lock hold(link.mutex);
    link.publish();
    EXPECT_EQ(link.listeners.size(), 2u);  // looked at only when there is something to tell
    link.state.add_event("a", json::object(), 0);
    link.publish();
    EXPECT_EQ(link.listeners.size(), 1u);
}

TEST(commands, are_bounded) {
    session link;
    tvr_lock hold(link.mutex);
    for (size_t i = 0; i <= session::max_outgoing; ++i) link.send(std::to_string(i));
    for (size_t i = 0; i <= state::max_commands; ++i) link.state.add_command(std::to_string(i));
    EXPECT_EQ(link.outgoing.size(), session::max_outgoing);
    EXPECT_EQ(link.outgoing.front(), "1");
    EXPECT_EQ(link.state.commands.front(), "1");
    EXPECT_TRUE(link.take_commands().empty());  // only the network takes them this way
}

// Without a thread a session says why nothing comes, and nobody who asks for another one is stuck.
TEST(session, says_that_there_is_no_thread) {
    const recording_file file("{\"t\":\"hello\"}\n");
    std::shared_ptr<session> serial, set;
    {
        const test_support::no_threads none;
        serial = session::open_serial("/nowhere");
        set = replay(file, 1, false);
    }
    for (const auto& link : {serial, set}) {
        tvr_lock hold(link->mutex);
        EXPECT_EQ(link->status, "Cannot start a thread: Resource temporarily unavailable");
    }
    serial.reset();
    set.reset();
    const auto link = replay(file, 1, false);
    const auto queue = link->attach();
    EXPECT_EQ(heard_by_the_end(*link, *queue), "connected hello");
}

TEST(network, is_one_session_fed_from_outside) {
    session::network_feed("{\"t\":\"hello\"}", 1);  // nobody is there: nothing happens
    EXPECT_TRUE(session::network_take_commands().empty());

    const auto link = session::open_network();
    EXPECT_EQ(session::open_network(), link);
    const auto queue = link->attach();
    {
        tvr_lock hold(link->mutex);
        EXPECT_EQ(link->status, "Waiting for the relay (TavroNet)");
        EXPECT_FALSE(link->feed(std::string_view("\n\0\r", 3), 10));
        const std::string endless(session::longest_line, ' ');
        EXPECT_FALSE(link->feed("{\"t\":\"x\"" + endless + "}", 10));  // as over a cable
        EXPECT_EQ(link->active_port, "");
        EXPECT_FALSE(link->feed("news", 10));
        EXPECT_EQ(link->active_port, "tavronet");
        EXPECT_FALSE(link->state.connected);
        EXPECT_TRUE(link->feed(std::string_view("{\"t\":\"hello\"}\n\0", 15), 11));
        link->send("demo 1");
    }
    session::network_resync(12);
    EXPECT_EQ(session::network_take_commands(),
              (std::vector<std::string>{"info", "info", "demo 1"}));
    {
        tvr_lock hold(link->mutex);
        link->tick(14.0);
        EXPECT_TRUE(link->state.connected);
        link->tick(14.1);
        link->tick(20);
        EXPECT_FALSE(link->state.connected);
        EXPECT_EQ(link->active_port, "");
        EXPECT_EQ(link->status, "No data from the relay (TavroNet)");
    }
    session::network_resync(15);
    EXPECT_TRUE(session::network_take_commands().empty());
    session::network_feed("{\"t\":\"x\"}", 21);
    std::string heard;
    for (const event& e : link->take(*queue)) heard += e.kind + " ";
    EXPECT_EQ(heard, "connected hello disconnected connected ");
    tvr_lock hold(link->mutex);
    EXPECT_EQ(link->status, "");
}

TEST(net_audio, fills_small_gaps_and_drops_late_chunks) {
    struct row {
        const char* what;
        uint32_t seq;
        std::vector<uint32_t> added;  // sequence numbers, silence included
    };
    // Each row goes to a fresh store that has just taken chunk 1000.
    const row rows[] = {
        {"the next", 1001, {1001}},
        {"duplicate", 1000, {}},
        {"late", 1, {}},
        {"a new stream", 0, {0}},
        {"two lost", 1003, {1001, 1002, 1003}},
        {"a gap too large", 1022, {1022}},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        net_audio store;
        store.add({48000, 1000, 7, 0, 1.0, bytes{1, 1}});
        store.take();
        store.add({44100, r.seq, 7, 55, 2.0, bytes{9, 9, 9, 9}});
        std::vector<uint32_t> added;
        for (const audio_chunk& chunk : store.take()) {
            added.push_back(chunk.seq);
            const bool silent = chunk.seq != r.seq;
            EXPECT_EQ(chunk.pcm, silent ? bytes(4) : bytes(4, 9));
            EXPECT_EQ(chunk.sample_rate, 44100);
            EXPECT_EQ(chunk.us, 55);
        }
        EXPECT_EQ(added, r.added);
    }
    net_audio store;
    store.add({1, 0xFFFFFFFF, 7, 0, 0, bytes(2)});
    store.add({1, 0, 7, 0, 0, bytes(2)});    // the number wraps
    store.add({1, 500, 8, 0, 0, bytes(2)});  // another source counts for itself
    EXPECT_EQ(store.take().size(), 3u);
    for (uint32_t i = 0; i < 2 * net_audio::max_chunks; ++i) store.add({1, i, 9, 0, 0, bytes(2)});
    EXPECT_EQ(store.take().size(), net_audio::max_chunks);
}

// Under TSan: two replays, and four threads that ask, attach and let go.
TEST(threads, query_attach_and_detach_while_replays_run) {
    std::string lines;
    for (int i = 0; i < 200; ++i) {
        lines += R"({"t":"beat","n":1,"bpm":120,"beat":)" + std::to_string(i + 1) +
                 R"(,"cue":0,"rx":)" + std::to_string(i * 0.01) + "}\n";
    }
    const recording_file one(lines), two(lines);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; round < 25; ++round) {
                const auto link = replay(i % 2 == 0 ? one : two, 20, true);
                const auto queue = link->attach();
                size_t heard = 0;
                while (heard < 10) {
                    heard += link->take(*queue).size();
                    tvr_lock hold(link->mutex);
                    EXPECT_TRUE(link->state.snapshot(now_s()).contains("players"));
                    link->send("info");
                }
            }
        });
    }
    for (std::thread& t : threads) t.join();
}

}  // namespace
