// From a source to values, and from values into a pipe.

#include "host/monitor/source.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

#include "../support/waiting.h"
#include "host/monitor/collector.h"
#include "host/monitor/line_output.h"
#include "host/monitor/track_ledger.h"
#include "small_set.h"

namespace {

using namespace monitor;
using namespace monitor::test;
using test_support::eventually;

TEST(source, kinds) {
    const small_set file;
    struct row {
        std::string name;
        source_kind kind;
    };
    const row rows[] = {
        {"auto", source_kind::automatic},        {"network", source_kind::network},
        {"/dev/null", source_kind::serial},      {"/dev/not_plugged_in_yet", source_kind::serial},
        {file.path, source_kind::recording},     {"no_such_file.jsonl", source_kind::recording},
        {"/dev/../tmp", source_kind::recording},
    };
    for (const row& r : rows) EXPECT_EQ(kind_of_source(r.name), r.kind) << r.name;
}

TEST(source, a_recording_that_cannot_be_played_says_why) {
    const small_set garbage("nothing\n");
    for (const std::string& name : {garbage.path, std::string("/tmp"), std::string("none.jsonl")}) {
        options asked;
        asked.source = name;
        std::string error;
        EXPECT_EQ(open_source(asked, error), nullptr);
        EXPECT_NE(error.find(name), std::string::npos) << error;
    }
}

// A session that has played the whole recording.
std::shared_ptr<deckbus::session> played(const std::string& path,
                                         std::shared_ptr<deckbus::event_queue>& queue) {
    options asked;
    asked.source = path;
    asked.once = true;
    std::string error;
    auto session = open_source(asked, error);
    if (!session) return session;
    queue = session->attach();
    eventually([&] {
        tvr_lock hold(session->mutex);
        return session->replay_ended;
    });
    return session;
}

TEST(collector, copies_what_a_picture_needs) {
    const small_set file;
    std::shared_ptr<deckbus::event_queue> queue;
    const auto session = played(file.path, queue);
    ASSERT_TRUE(session);
    collector reader(session);
    const set_picture set = reader.collect(deckbus::now_s());
    ASSERT_EQ(set.decks.size(), 1u) << "a mixer is no deck";
    EXPECT_EQ(set.devices, std::vector<std::string>{"MIXER 33"});
    EXPECT_TRUE(set.air_known && set.link.connected);
    EXPECT_EQ(set.link.firmware, "0.4.2");
    EXPECT_EQ(set.master, 2);
    EXPECT_DOUBLE_EQ(set.master_bpm, 126.0);
    const deck_picture& d = set.decks[0];
    EXPECT_TRUE(d.number == 2 && d.playing && d.on_air && d.sync && d.master && d.complete);
    EXPECT_EQ(d.beats_to_cue, 1);
    EXPECT_EQ(d.duration_ms, 90000);
    ASSERT_TRUE(d.track);
    EXPECT_EQ(d.track->artist, "Nobody");
    EXPECT_EQ(reader.collect(deckbus::now_s()).decks[0].track, d.track)
        << "an unchanged track is not copied again";
}

TEST(collector, absurd_numbers_come_out_as_unknown) {
    const small_set file(R"({"t":"dev","n":1,"on":true,"type":1}
{"t":"trk","n":1,"id":"1:1:1"}
{"t":"meta","id":"1:1:1","dur":1e300}
{"t":"beat","n":1,"bpm":1e308,"pitch":1e308,"bb":9,"beat":1,"master":true}
{"t":"pos","n":1,"ms":9e18,"len":2147483647}
)");
    std::shared_ptr<deckbus::event_queue> queue;
    const auto session = played(file.path, queue);
    ASSERT_TRUE(session);
    const set_picture set = collector(session).collect(deckbus::now_s());
    ASSERT_EQ(set.decks.size(), 1u);
    const deck_picture& d = set.decks[0];
    EXPECT_EQ(d.bpm, 0);
    EXPECT_EQ(d.effective_bpm, 0);
    EXPECT_EQ(d.pitch, 0);
    EXPECT_EQ(d.position_ms, -1);
    EXPECT_EQ(d.duration_ms, 0);
    EXPECT_EQ(set.master_bpm, 0);
}

TEST(track_ledger, remembers_tracks_that_the_state_forgot) {
    const small_set file(std::string(small_set_lines) +
                         R"({"t":"media","n":2,"slot":3,"on":false,"us":10000})" + "\n");
    std::shared_ptr<deckbus::event_queue> queue;
    const auto session = played(file.path, queue);
    ASSERT_TRUE(session);
    track_ledger ledger;
    deckbus::event_queue gone = session->take(*queue);
    ledger.follow(gone, *session);
    EXPECT_TRUE(ledger.entries().empty()) << "the medium has gone with the track";
    {
        tvr_lock hold(session->mutex);
        session->state.store_track("2:3:7", {{"title", "Night"}, {"artist", ""}});
    }
    ledger.follow(gone, *session);
    {
        tvr_lock hold(session->mutex);
        session->state.forget_tracks("", false);
    }
    ledger.follow(gone, *session);
    ASSERT_EQ(ledger.entries().size(), 1u);
    EXPECT_EQ(ledger_text(ledger.entries()[0]), "2:3:7  Night: 0 beats, 0 cues, 0 phrases");
}

class pipe_ends {
public:
    pipe_ends() {
        std::signal(SIGPIPE, SIG_IGN);
        if (pipe(fds) != 0) fds[0] = fds[1] = -1;
    }
    ~pipe_ends() {
        close_reader();
        close(fds[1]);
    }
    void close_reader() {
        if (fds[0] >= 0) close(fds[0]);
        fds[0] = -1;
    }
    int reader() const { return fds[0]; }
    int writer() const { return fds[1]; }

    // What can be read now.
    std::string read_all() const {
        std::string all(1 << 16, '\0');
        fcntl(fds[0], F_SETFL, O_NONBLOCK);
        const ssize_t n = read(fds[0], all.data(), all.size());
        all.resize(n > 0 ? size_t(n) : 0);
        return all;
    }

private:
    int fds[2];
};

TEST(line_output, a_reader_that_stops_neither_blocks_nor_fills_the_memory) {
    pipe_ends ends;
    line_output out(ends.writer());
    const std::string line(1023, 'x');
    constexpr size_t lines = line_output::max_waiting_bytes / 1024 + 1000;
    for (size_t i = 0; i < lines; ++i) {
        out.add(line);
        ASSERT_TRUE(out.pump());
    }
    EXPECT_GT(out.lost_lines(), 900u - 64u);
    // What does come out is whole lines.
    std::string got = ends.read_all();
    ASSERT_TRUE(out.pump());
    got += ends.read_all();
    for (size_t i = 0; i < got.size(); ++i) ASSERT_EQ(got[i] == '\n', i % 1024 == 1023) << i;
}

TEST(line_output, a_reader_that_leaves_ends_it_quietly) {
    pipe_ends ends;
    line_output out(ends.writer());
    EXPECT_TRUE(out.pump());
    ends.close_reader();
    EXPECT_FALSE(out.pump()) << "noticed without a line to write";
    EXPECT_EQ(out.problem(), "");
}

TEST(line_output, a_full_disk_is_told) {
    const int full = open("/dev/full", O_WRONLY);
    line_output out(full);
    out.add("line");
    EXPECT_FALSE(out.drain());
    EXPECT_NE(out.problem(), "");
    close(full);
}

}  // namespace
