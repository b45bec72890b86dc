#include "deck/player.h"

#include <gtest/gtest.h>

#include <limits>

#include "deck/state.h"
#include "feeding.h"

using namespace deckbus;
using namespace deckbus::test;

namespace {

player playing_at(double bpm, double pitch = 0) {
    player p;
    p.present = p.playing = true;
    p.bpm = bpm;
    p.pitch = pitch;
    p.beat_time = 100;
    p.beat_in_bar = 4;
    return p;
}

TEST(player, phases) {
    constexpr double huge = std::numeric_limits<double>::max();
    struct row {
        const char* what;
        double bpm, pitch, since_beat;
        double phase;
    };
    const row rows[] = {
        {"half a beat", 120, 0, 0.25, 0.5},
        {"pitch counts", 100, 20, 0.25, 0.5},
        {"a late beat waits", 120, 0, 0.6, 0.999},
        {"up to two beats", 120, 0, 1.0, 0.999},
        {"then it rests", 120, 0, 1.1, 0},
        {"line time ahead of now", 120, 0, -0.01, 0},
        {"no tempo", 0, 0, 0.25, 0},
        {"backwards", 120, -150, 0.25, 0},
        {"tempo without end", huge, huge, 0.25, 0},
        {"and at the beat itself", huge, huge, 0, 0},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        player p = playing_at(r.bpm, r.pitch);
        const double t = 100 + r.since_beat;
        EXPECT_NEAR(p.beat_phase(t), r.phase, 1e-9);
        EXPECT_NEAR(p.bar_phase(t), (3 + r.phase) * 0.25, 1e-9);
        p.playing = false;  // a stop is not looked at: the phase dies by itself
        EXPECT_NEAR(p.beat_phase(t), r.phase, 1e-9);
        p.beat_in_bar = 5;
        EXPECT_EQ(p.bar_phase(t), 0);
        p.beat_time = 0;
        EXPECT_EQ(p.beat_phase(0.25), 0);
    }
}

TEST(player, cue_ramp) {
    struct row {
        int beat, cue_beat;
        int left;
        double ramp;
    };
    const row rows[] = {
        {16, 32, 16, 0}, {24, 32, 8, 0.5}, {31, 32, 1, 0.9375}, {32, 32, 0, 1},
        {15, 32, 17, 0}, {33, 32, -1, 0},  {0, 32, -1, 0},      {10, 0, -1, 0},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.beat);
        player p = playing_at(120);
        p.beat = r.beat;
        p.cue_beat = r.cue_beat;
        EXPECT_EQ(p.beats_to_cue(), r.left);
        EXPECT_DOUBLE_EQ(p.cue_ramp(100), r.ramp);
    }
    player p = playing_at(120);
    p.beat = 31;
    p.cue_beat = 32;
    EXPECT_DOUBLE_EQ(p.cue_ramp(100.25), 0.96875);
}

TEST(player, position) {
    track t;
    t.has_grid = true;
    t.grid.time_ms = {0, 500, 1000};
    t.grid.bar_beat = {1, 2, 3};
    t.grid.bpm_x100 = {12000, 12000, 12000};
    struct row {
        const char* what;
        bool playing;
        double pitch;
        double pos_time;  // 0 for none
        int beat;
        double t;
        double ms;
    };
    const row rows[] = {
        {"line, playing", true, 10, 100, 1, 100.5, 9000 + 550},
        {"line, paused", false, 10, 100, 1, 100.9, 9000},
        {"line too old, grid serves", true, 0, 99, 2, 100.1, 600},
        {"pitch moves the grid", true, 100, 0, 2, 100.1, 700},
        {"waits at the next beat", true, 0, 0, 1, 101.9, 500},
        {"runs on behind the last", true, 0, 0, 3, 101.9, 2900},
        {"beat past the grid", true, 0, 0, 9, 100.1, 1100},
        {"paused on a beat", false, 0, 0, 2, 100.4, 500},
        {"never before its beat", true, 0, 0, 2, 99.0, 500},
        {"beat unknown", true, 0, 0, 0, 100.1, -1},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        player p = playing_at(120, r.pitch);
        p.playing = r.playing;
        p.pos_ms = 9000;
        p.pos_time = r.pos_time;
        p.beat = r.beat;
        EXPECT_NEAR(p.position_ms(r.t, &t), r.ms, 1e-6);
    }
    player p = playing_at(120);
    p.beat = 1;
    EXPECT_EQ(p.position_ms(100, nullptr), -1);
    t.grid = {};
    EXPECT_EQ(p.position_ms(100, &t), -1);  // a grid blob came, and was empty
}

TEST(views, have_every_key_whatever_is_known) {
    state s;
    EXPECT_TRUE(s.player_json(9, 1).is_null());
    EXPECT_TRUE(s.master_json(1).is_null());
    EXPECT_EQ(s.snapshot(1).dump(),
              R"({"connected":false,"esp":{},"master":0,"players":[],"port":""})");
    feed(s, R"({"t":"dev","n":2,"on":true,"name":"Deck","type":1})");
    EXPECT_EQ(
        s.snapshot(1)["players"].dump(),
        R"([{"barPhase":0.0,"beat":-1,"beatInBar":0,"beatPhase":0.0,"beatsToCue":-1,"beatsToPhrase":-1,"bpm":0.0,"cueRamp":0.0,"effectiveBpm":0.0,"high":0.0,"lengthS":0,"low":0.0,"master":false,"mid":0.0,"n":2,"name":"Deck","nextPhrase":null,"onAir":false,"phrase":null,"phraseGroup":null,"phraseRamp":0.0,"pitch":0.0,"playing":false,"positionMs":null,"present":true,"progress":null,"sinceCueMs":-1.0,"sync":false,"track":null}])");
}

TEST(views, follow_the_track) {
    state s;
    feed(s, R"({"t":"trk","n":2,"id":"2:3:1","meta":true})");
    feed(s, R"({"t":"pos","n":2,"ms":30000,"len":120})", 50);
    json p = s.player_json(2, 50);
    EXPECT_EQ(p["track"].dump(), R"({"id":"2:3:1","metaExpected":true})");
    EXPECT_EQ(p["progress"], 0.25);

    feed(s, R"({"t":"meta","id":"2:3:1","title":"T","dur":60})");
    track& t = s.get_track("2:3:1");
    t.phrases = {{1, 17, "Intro", "intro", false}, {17, 33, "Drop", "drop", false}};
    feed(s, R"({"t":"beat","n":2,"bpm":120,"beat":17,"master":true})", 50);
    p = s.master_json(50.25);
    EXPECT_EQ(p["track"]["title"], "T");
    EXPECT_EQ(p["progress"], 0.5 + 0.25 / 60);
    EXPECT_EQ(p["phrase"], "Drop");
    EXPECT_EQ(p["phraseGroup"], "drop");
    EXPECT_TRUE(p["nextPhrase"].is_null());
    EXPECT_EQ(p["beatsToPhrase"], 16);
    EXPECT_EQ(p["phraseRamp"], 0.5 / 16);
    feed(s, R"({"t":"beat","n":2,"bpm":120,"beat":33})", 50);
    EXPECT_EQ(s.player_json(2, 50)["beatsToPhrase"], -1);
}

// A hostile board can claim any position and tempo; a view must stand it.
TEST(views, survive_numbers_out_of_this_world) {
    state s;
    feed(s, R"({"t":"trk","n":1,"id":"1:1:1"})");
    track& t = s.get_track("1:1:1");
    t.detail.columns = 2;
    t.detail.bands = {1, 2, 3, 255, 255, 255};
    for (const char* line : {
             R"({"t":"pos","n":1,"ms":9223372036854775807,"len":9999999999})",
             R"({"t":"pos","n":1,"ms":-9223372036854775808,"len":-5})",
             R"({"t":"beat","n":1,"bpm":1e308,"pitch":1e308,"beat":2147483647,"cue":2147483647})",
             R"({"t":"beat","n":1,"bpm":-1e308,"pitch":-1e308,"beat":1})",
         }) {
        SCOPED_TRACE(line);
        feed(s, line, 10);
        for (const double now : {9.0, 10.0, 10.5, 1e9}) {
            EXPECT_FALSE(s.snapshot(now).dump().empty());
            std::array<uint8_t, 512> dmx{};
            s.artnet_dmx(now, dmx);
        }
    }
}

std::vector<int> universe(const state& s, double t, size_t from, size_t count) {
    std::array<uint8_t, 512> dmx;
    dmx.fill(99);
    s.artnet_dmx(t, dmx);
    return {dmx.begin() + ptrdiff_t(from), dmx.begin() + ptrdiff_t(from + count)};
}

TEST(artnet, packs_players_and_master) {
    state s;
    feed(s, R"({"t":"dev","n":2,"on":true})", 50);
    feed(s, R"({"t":"trk","n":2,"id":"2:1:1"})", 50);
    feed(s, R"({"t":"meta","id":"2:1:1","dur":100})", 50);
    feed(s, R"({"t":"metaok","id":"2:1:1"})", 50);
    feed(s, R"({"t":"pos","n":2,"ms":30000,"len":60})", 50);
    feed(
        s,
        R"({"t":"beat","n":2,"bpm":128,"pitch":0,"bb":4,"beat":25,"cue":8,"air":true,"master":true})",
        50);
    EXPECT_EQ(universe(s, 50, 20, 20),
              (std::vector<int>{0x32, 0x00, 255,  255,  0,   192, 255, 255, 255, 0,
                                0x80, 0x00, 0x80, 0x00, 255, 255, 8,   0,   127, 0}));
    EXPECT_EQ(universe(s, 50, 120, 11),
              (std::vector<int>{0x32, 0x00, 2, 255, 255, 0, 192, 8, 0, 127, 0}));
    EXPECT_EQ(universe(s, 50, 0, 20),
              (std::vector<int>{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x80, 0, 0, 0, 0, 0, 255, 0, 0, 0}));
    s.players.erase(1);
    s.master_player = 40;
    EXPECT_EQ(universe(s, 50, 0, 20), std::vector<int>(20, 0));
    EXPECT_EQ(universe(s, 50, 120, 392), std::vector<int>(392, 0));
}

TEST(artnet, flashes_and_clamps) {
    state s;
    feed(s, R"({"t":"beat","n":1,"bpm":900,"pitch":-100,"bb":-3,"beat":8,"cue":0})", 50);
    EXPECT_EQ(universe(s, 50.099, 3, 1)[0], 255);
    EXPECT_EQ(universe(s, 50.099, 17, 1)[0], 255);
    EXPECT_EQ(universe(s, 50.1001, 3, 1)[0], 0);
    EXPECT_EQ(universe(s, 49.999, 3, 1)[0], 0);
    EXPECT_EQ(universe(s, 50, 0, 3), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(universe(s, 50, 10, 2), (std::vector<int>{0x58, 0xF0}));
    EXPECT_EQ(universe(s, 50, 16, 1)[0], 0);
    feed(s, R"({"t":"beat","n":1,"bpm":900,"pitch":500,"beat":8,"cue":300})", 50);
    EXPECT_EQ(universe(s, 50, 0, 2), (std::vector<int>{0xFF, 0xFF}));
    EXPECT_EQ(universe(s, 50, 10, 2), (std::vector<int>{0xFF, 0xFF}));
    EXPECT_EQ(universe(s, 50, 16, 1)[0], 254);
}

}  // namespace
