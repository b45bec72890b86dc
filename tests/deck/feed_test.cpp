// Lines in: what is refused, what a line changes, which events it makes.

#include <gtest/gtest.h>

#include "deck/nesting_guard.h"
#include "deck/state.h"
#include "feeding.h"

using namespace deckbus;
using namespace deckbus::test;

namespace {

std::string nested(int arrays) {
    return R"({"t":"x","v":)" + std::string(size_t(arrays), '[') +
           std::string(size_t(arrays), ']') + "}";
}

TEST(feed, takes_and_refuses_lines) {
    struct row {
        const char* what;
        std::string line;
        bool taken;
    };
    const row rows[] = {
        {"plain", R"({"t":"hb"})", true},
        {"trailing blank, return, newline", "{\"t\":\"hb\"} \r\n", true},
        {"unknown kind", R"({"t":"news"})", true},
        {"no kind", "{}", true},
        {"empty", "", false},
        {"only blanks", " \r\n", false},
        {"leading blank", R"( {"t":"hb"})", false},
        {"not an object", "[1]", false},
        {"cut in the middle", R"({"t":"hb","m)", false},
        {"two values", R"({"t":"hb"}{})", false},
        {"not UTF-8", "{\"t\":\"\xff\xfe\"}", false},
        {"deepest allowed", nested(max_line_depth - 1), true},
        {"one deeper", nested(max_line_depth), false},
        {"brackets in a string", R"({"t":"[[[[[[[[[[[[[[[[[[[[[[[["})", true},
        {"escaped quote in a string", R"({"t":"\"[[[[[[[[[[[[[[[[[[[["})", true},
        {"escaped backslash ends the string", R"({"t":"\\","v":[[[[[[[[[[[[[[[[]]]]]]]]]]]]]]]]})",
         false},
        {"number out of range", R"({"t":"hb","ms":1e999})", false},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        state s;
        EXPECT_EQ(feed(s, r.line, 7.0), r.taken);
        EXPECT_EQ(s.connected, r.taken);
        EXPECT_EQ(kinds(s), r.taken ? "connected" : "");
        const bool looked_at = !r.line.empty() && r.line.front() == '{';
        EXPECT_EQ(s.last_line_time, looked_at ? 7.0 : 0.0);
    }
}

TEST(feed, reads_fields_leniently) {
    state s;
    feed(s, R"({"t":"beat","n":"2","bpm":120})");  // a text is no player number
    EXPECT_FALSE(s.players.at(2).present);
    feed(s, R"({"t":"beat","n":2.4,"bpm":"120","pitch":null,"bb":2.5,"beat":17.5,"air":1})");
    const player& p = s.players.at(2);
    EXPECT_TRUE(p.present);
    EXPECT_EQ(p.bpm, 0);
    EXPECT_EQ(p.beat_in_bar, 3);  // half away from zero
    EXPECT_EQ(p.beat, 18);
    EXPECT_FALSE(p.on_air);  // only the literal true counts
}

TEST(feed, holds_numbers_inside_their_fields) {
    state s;
    for (const char* n : {"0", "65", "-1", "4294967297", "1e300", "18446744073709551615"}) {
        SCOPED_TRACE(n);
        feed(s, std::string(R"({"t":"beat","bpm":120,"n":)") + n + "}");
        EXPECT_EQ(s.players.size(), 6u);
        EXPECT_FALSE(s.players.at(1).present);
    }
    kinds(s);
    feed(s, R"({"t":"beat","n":1,"beat":1e300,"cue":9999999999})");
    EXPECT_EQ(s.players.at(1).beat, 2147483647);
    EXPECT_EQ(s.players.at(1).cue_beat, 2147483647);
    feed(s, R"({"t":"hb","ms":1e300})");
    feed(s, R"({"t":"hb","ms":-1e300})");  // too far a fall to be a restart
    EXPECT_EQ(s.last_uptime_ms, std::numeric_limits<int64_t>::min());
    EXPECT_EQ(kinds(s), "beat");
}

TEST(feed, makes_players_of_any_line_with_a_number) {
    state s;
    feed(s, R"({"t":"news","n":9})");
    EXPECT_TRUE(s.players.contains(9));
    EXPECT_FALSE(s.players.at(9).present);
}

TEST(beat, sets_the_player_and_tells) {
    state s;
    s.connected = true;
    feed(
        s,
        R"({"t":"beat","n":2,"bpm":120,"pitch":10,"bb":3,"beat":47,"cue":5,"air":true,"master":true})",
        9.5);
    const player& p = s.players.at(2);
    EXPECT_TRUE(p.playing);
    EXPECT_EQ(p.beat_time, 9.5);
    EXPECT_EQ(p.cue_beat, 52);
    EXPECT_EQ(s.master_player, 2);
    EXPECT_EQ(
        told(s),
        (std::vector<std::string>{
            R"(master {"n":2})",
            R"(beat {"air":true,"bb":3,"beat":47,"bpm":132.0,"cue":5,"master":true,"n":2})"}));

    // Without these keys pitch and place in the bar are gone, tempo and claim are kept.
    feed(s, R"({"t":"beat","n":2,"beat":48})");
    EXPECT_EQ(p.bpm, 120);
    EXPECT_EQ(p.pitch, 0);
    EXPECT_EQ(p.beat_in_bar, 0);
    EXPECT_TRUE(p.master);
    EXPECT_EQ(p.cue_beat, 0);
}

TEST(beat, fires_a_cue_once_until_the_track_jumps_back) {
    struct row {
        const char* line;
        bool fires;
    };
    const row rows[] = {
        {R"({"t":"beat","n":1,"beat":31,"cue":1})", false},
        {R"({"t":"beat","n":1,"beat":32,"cue":0})", true},
        {R"({"t":"beat","n":1,"beat":32,"cue":0})", false},  // repeated by the bridge
        {R"({"t":"beat","n":1,"beat":33,"cue":0})", true},
        {R"({"t":"beat","n":1,"beat":0,"cue":0})", false},  // an unknown beat is no jump
        {R"({"t":"beat","n":1,"beat":33,"cue":0})", false},
        {R"({"t":"beat","n":1,"beat":16})", false},  // a jump back is
        {R"({"t":"beat","n":1,"beat":33,"cue":0})", true},
        {R"({"t":"st","n":1,"play":false,"beat":20})", false},
        {R"({"t":"beat","n":1,"beat":33,"cue":0})", true},  // also while paused
        {R"({"t":"trk","n":1,"id":"1:3:5"})", false},
        {R"({"t":"beat","n":1,"beat":33,"cue":0})", true},  // another track
    };
    state s;
    double t = 1;
    for (const row& r : rows) {
        SCOPED_TRACE(r.line);
        feed(s, r.line, t += 1);
        EXPECT_EQ(told(s, "cue").size(), r.fires ? 1u : 0u);
        if (r.fires) {
            EXPECT_EQ(s.players.at(1).cue_time, t);
        }
    }
}

TEST(status, moves_the_beat_only_in_a_pause) {
    state s;
    feed(s, R"({"t":"beat","n":1,"bpm":120,"beat":20,"bb":4,"cue":8})");
    const player& p = s.players.at(1);
    feed(s, R"({"t":"st","n":1,"play":true,"beat":19,"bb":3,"cue":9})");
    EXPECT_EQ(p.beat, 20);
    EXPECT_EQ(p.beat_in_bar, 4);
    EXPECT_EQ(p.cue_beat, 28);  // a status of another beat leaves the countdown alone
    feed(s, R"({"t":"st","n":1,"play":true,"beat":20,"cue":12})");
    EXPECT_EQ(p.cue_beat, 32);
    feed(s, R"({"t":"st","n":1,"play":false,"beat":-1,"cue":-1})");
    EXPECT_EQ(p.beat, -1);
    EXPECT_EQ(p.cue_beat, 32);
}

TEST(master, is_whoever_claimed_it_last) {
    struct row {
        const char* line;
        int master;
    };
    const row rows[] = {
        {R"({"t":"beat","n":1,"master":true})", 1},
        {R"({"t":"beat","n":1,"master":false})", 1},  // a beat never takes it away
        {R"({"t":"st","n":2,"master":false})", 1},    // another's status neither
        {R"({"t":"st","n":2,"master":true})", 2},
        {R"({"t":"st","n":2,"master":false})", 0},
        {R"({"t":"mix","n":33,"bpm":120,"master":true})", 33},
        {R"({"t":"mix","n":33,"master":false})", 0},
        {R"({"t":"st","n":3,"master":true})", 3},
        {R"({"t":"dev","n":3,"on":false})", 0},
        {R"({"t":"dev","n":3,"on":false})", 0},
    };
    state s;
    for (const row& r : rows) {
        SCOPED_TRACE(r.line);
        const int before = s.master_player;
        feed(s, r.line);
        EXPECT_EQ(s.master_player, r.master);
        EXPECT_EQ(told(s, "master").size(), before == r.master ? 0u : 1u);
    }
    EXPECT_EQ(s.players.at(33).type, type_mixer);
}

TEST(air, reaches_six_channels) {
    state s;
    s.players.clear();
    feed(s, R"({"t":"air","ch":[1,0,2.5,true,"1",0.5,1,1]})");
    std::string on;
    for (const auto& [n, p] : s.players) on += p.on_air ? '1' : '0';
    EXPECT_EQ(on, "101001");
    feed(s, R"({"t":"air","ch":1})");
    EXPECT_TRUE(s.players.at(1).on_air);
}

TEST(device, leaves_its_name_behind) {
    state s;
    s.connected = true;
    feed(s, R"({"t":"dev","n":2,"on":true,"name":"Deck","type":1})");
    feed(s, R"({"t":"trk","n":2,"id":"2:3:1"})");
    feed(s, R"({"t":"meta","id":"2:3:1"})");
    feed(s, R"({"t":"beat","n":2,"bpm":99,"beat":4})");
    kinds(s);
    feed(s, R"({"t":"dev","n":2,"on":false,"name":"ignored"})");
    const player& p = s.players.at(2);
    EXPECT_FALSE(p.present);
    EXPECT_EQ(p.name, "Deck");
    EXPECT_EQ(p.type, 1);
    EXPECT_EQ(p.beat, -1);
    EXPECT_EQ(p.bpm, 0);
    EXPECT_TRUE(s.store.tracks.empty());  // no deck holds it any more
    feed(s, R"({"t":"dev","n":65,"on":true,"name":"far","type":7})");
    EXPECT_EQ(told(s),
              (std::vector<std::string>{R"(device {"n":2,"name":"ignored","on":false,"type":0})",
                                        R"(device {"n":65,"name":"far","on":true,"type":7})"}));
    EXPECT_EQ(s.players.size(), 6u);
}

TEST(hello, keeps_eight_keys_and_checks_the_firmware) {
    state s;
    s.connected = true;
    feed(s, R"({"t":"hello","fw":"0.4.2","board":7,"demo":null,"rx":1,"us":5})");
    feed(s, R"({"t":"net","link":true,"ip":"10.0.0.2"})");
    feed(s, R"({"t":"vcdj","phase":"running"})");
    EXPECT_EQ(
        s.bridge.dump(),
        R"({"board":7,"demo":null,"fw":"0.4.2","ip":"10.0.0.2","link":true,"vcdj":"running"})");
    EXPECT_EQ(kinds(s), "hello");

    const std::pair<const char*, bool> versions[] = {
        {R"("0.3.9")", true}, {R"("0.4")", false}, {R"("1.0.0")", false}, {R"(" 0.2rc")", true},
        {R"("0.-1")", true},  {R"("-1.9")", true}, {R"("v0.3")", false},  {R"("0")", false},
        {R"("")", false},     {"0.3", false},      {"null", false},
    };
    for (const auto& [version, warns] : versions) {
        SCOPED_TRACE(version);
        feed(s, std::string(R"({"t":"hello","fw":)") + version + "}");
        EXPECT_EQ(kinds(s), warns ? "hello warn" : "hello");
    }
    feed(s, R"({"t":"hello"})");  // the version of before does not count
    EXPECT_EQ(kinds(s), "hello");
    feed(s, R"({"t":"hello","fw":"0.3.9"})");
    EXPECT_EQ(
        told(s, "warn")[0],
        R"~(warn {"msg":"Firmware 0.3.9 is too old, 0.4.0 or newer is needed (beat number and cue countdown in the beat line)"})~");
}

// A board may send texts as long as a line, and a thousand events may wait with one each.
TEST(texts, are_cut_where_they_are_kept) {
    state s;
    s.connected = true;
    const std::string endless(100'000, 'x');
    feed(s, R"({"t":"warn","msg":")" + endless + "\"}");
    feed(s, R"({"t":"dev","n":2,"on":true,"name":")" + endless + "\"}");
    feed(s, R"({"t":"hello","fw":")" + endless + R"(","board":[")" + endless + "\"]}");
    feed(s, R"({"t":"net","ip":")" + endless + "\"}");
    feed(s, R"({"t":"vcdj","phase":"\u00e9)" + endless + "\"}");
    for (const event& e : s.take_events()) EXPECT_LT(e.data.dump().size(), 5000U) << e.kind;
    EXPECT_EQ(s.players.at(2).name, std::string(256, 'x'));
    EXPECT_FALSE(s.bridge.contains("board"));
    EXPECT_LT(s.bridge.dump().size(), 1000U);
}

TEST(restart, is_seen_by_uptime_and_by_clock) {
    struct row {
        const char* what;
        const char *before, *line;
        bool restarts;
    };
    const row rows[] = {
        {"uptime rises", R"({"t":"hb","ms":1000})", R"({"t":"hb","ms":2000})", false},
        {"uptime falls", R"({"t":"hb","ms":5000})", R"({"t":"hb","ms":4999})", true},
        {"largest fall", R"({"t":"hb","ms":4026531839})", R"({"t":"hb","ms":0})", true},
        {"counter began again", R"({"t":"hb","ms":4026531840})", R"({"t":"hb","ms":0})", false},
        {"clock falls", R"({"t":"x","us":9000000})", R"({"t":"x","us":1})", true},
        {"clock is no integer", R"({"t":"x","us":9000000})", R"({"t":"x","us":1.0})", false},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        state s;
        s.feed(r.before, 50.0, true);
        s.feed(R"({"t":"dev","n":3,"on":true,"name":"Deck","type":1})", 50.0, true);
        s.feed(R"({"t":"dev","n":9,"on":true,"name":"Far"})", 50.0, true);
        s.feed(R"({"t":"meta","id":"3:1:1"})", 50.0, true);
        s.take_commands();
        kinds(s);
        s.feed(r.line, 50.1, true);
        EXPECT_EQ(told(s, "restart").size(), r.restarts ? 1u : 0u);
        EXPECT_EQ(s.players.at(3).name, "Deck");
        EXPECT_EQ(s.players.at(3).present, !r.restarts);
        EXPECT_EQ(s.players.contains(9), !r.restarts);
        EXPECT_EQ(s.store.tracks.empty(), r.restarts);
        EXPECT_EQ(s.take_commands().size(), r.restarts ? 1u : 0u);
    }
}

TEST(clock, gives_lines_their_true_times) {
    state s;
    s.feed(R"({"t":"beat","n":1,"us":1000000})", 101.0, true);
    s.feed(R"({"t":"beat","n":2,"us":1500000})", 101.9, true);  // 0.4 s late
    EXPECT_DOUBLE_EQ(s.players.at(2).beat_time, 101.5);
    s.feed(R"({"t":"beat","n":2,"us":1600000})", 101.9, false);
    EXPECT_DOUBLE_EQ(s.players.at(2).beat_time, 101.9);
}

TEST(events, drop_the_oldest) {
    state s;
    for (size_t i = 0; i <= max_events; ++i) s.add_event("e", {{"i", i}}, 0);
    const auto all = s.take_events();
    ASSERT_EQ(all.size(), max_events);
    EXPECT_EQ(all.front().data["i"], 1);
    EXPECT_TRUE(s.events.empty());
}

TEST(pcm, takes_whole_chunks_only) {
    state s;
    for (const char* line : {
             R"({"t":"pcm","sr":0,"d":"AAAA"})",
             R"({"t":"pcm","sr":48000,"d":"AA=="})",  // one byte
             R"({"t":"pcm","sr":48000,"d":"A*AA"})",
             R"({"t":"pcm","sr":48000,"d":5})",
             R"({"t":"pcm","sr":48000})",
         }) {
        feed(s, line);
        EXPECT_TRUE(s.audio.empty()) << line;
    }
    for (int i = 0; i < 101; ++i) {
        feed(s, R"({"t":"pcm","n":7,"sr":48000,"seq":)" + std::to_string(i) + R"(,"d":"AQID"})", 3);
    }
    const auto chunks = s.take_audio();
    ASSERT_EQ(chunks.size(), state::max_audio);
    EXPECT_EQ(chunks.front().seq, 1u);
    EXPECT_EQ(chunks.front().pcm, (bytes{1, 2, 3}));
    EXPECT_EQ(chunks.front().t, 3);
    EXPECT_FALSE(s.players.contains(7));  // sound makes no player
}

}  // namespace
