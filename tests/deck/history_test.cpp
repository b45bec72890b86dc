#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "deck/history_file.h"
#include "feeding.h"

using namespace deckbus;
using namespace deckbus::test;

namespace {

// A deck that plays a track with metadata, scanned once at the start.
state playing_deck(bool with_mixer = false) {
    state s;
    feed(s, R"({"t":"st","n":1,"bpm":125.5,"pitch":4,"play":true})", 100);
    if (with_mixer) feed(s, R"({"t":"mix","n":33})", 100);
    feed(s, R"({"t":"trk","n":1,"id":"1:1:1"})", 100);
    feed(s, R"({"t":"meta","id":"1:1:1","title":"T","artist":"A","key":"Am","genre":5})", 100);
    return s;
}

// Scans from one time to another, both reached in steps of half a second.
void listen(state& s, double from, double to) {
    for (double t = from + 0.5; t <= to; t += 0.5) s.scan_history(t);
}

TEST(history, counts_thirty_heard_seconds) {
    state s = playing_deck();
    listen(s, 100, 129.5);
    EXPECT_TRUE(s.history.empty());
    s.scan_history(130.4);
    ASSERT_EQ(s.history.size(), 1u);
    EXPECT_EQ(
        s.history_json(131).dump(),
        R"({"items":[{"artist":"A","bpm":125.5,"genre":"","id":"1:1:1","key":"Am","n":1,"t":130.4,"title":"T"}],"now":131.0})");
    EXPECT_EQ(s.history_rev, 1);
    listen(s, 130.5, 200);
    EXPECT_EQ(s.history.size(), 1u);
    s.clear_history();
    listen(s, 200, 250);
    EXPECT_TRUE(s.history.empty());  // counted before
    EXPECT_EQ(s.history_rev, 2);

    feed(s, R"({"t":"trk","n":1,"id":"1:1:2"})", 250);
    listen(s, 250, 251);
    feed(s, R"({"t":"trk","n":1,"id":"1:1:1"})", 251);
    listen(s, 251, 282);
    EXPECT_EQ(s.history.size(), 1u);  // loaded anew, it counts anew
}

TEST(history, hears_only_what_is_audible) {
    struct row {
        const char* what;
        bool with_mixer;
        const char* line;  // changes the deck
        bool counts;
    };
    const row rows[] = {
        {"playing", false, "{}", true},
        {"paused", false, R"({"t":"st","n":1,"play":false})", false},
        {"mixer, not on air", true, "{}", false},
        {"mixer, on air", true, R"({"t":"air","ch":[1]})", true},
        {"mixer gone, not on air", true, R"({"t":"dev","n":33,"on":false})", true},
        {"deck gone", false, R"({"t":"dev","n":1,"on":false})", false},
        {"no deck but a mixer", false, R"({"t":"dev","n":1,"on":true,"type":2})", false},
        {"no deck but a computer", false, R"({"t":"dev","n":1,"on":true,"type":3})", false},
        {"nothing loaded", false, R"({"t":"trk","n":1})", false},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        state s = playing_deck(r.with_mixer);
        feed(s, r.line, 100.1);
        listen(s, 100, 140);
        EXPECT_EQ(s.history.size(), r.counts ? 1u : 0u);
    }
}

TEST(history, a_broken_link_is_no_listening) {
    state s = playing_deck();
    listen(s, 100, 120);
    s.scan_history(126);  // a gap of six seconds
    EXPECT_DOUBLE_EQ(s.history_seen[1].audible_s, 20);
    listen(s, 126, 135.5);
    EXPECT_TRUE(s.history.empty());
    s.scan_history(136);
    EXPECT_EQ(s.history.size(), 1u);
}

TEST(history, is_filled_in_when_metadata_comes_late) {
    state s = playing_deck();
    s.forget_tracks("", false);
    listen(s, 100, 140);
    ASSERT_EQ(s.history.size(), 1u);
    EXPECT_EQ(s.history[0]["title"], "");
    feed(s, R"({"t":"meta","id":"1:1:1","title":"Late","artist":"B","key":"C"})", 140.1);
    listen(s, 140, 142);
    EXPECT_EQ(s.history[0]["title"], "Late");
    EXPECT_EQ(s.history[0]["artist"], "B");
    EXPECT_EQ(s.history[0]["key"], "");
    EXPECT_EQ(s.history_rev, 2);
}

TEST(history, drops_the_oldest) {
    state s = playing_deck();
    double t = 100;
    for (int i = 0; i <= int(state::max_history); ++i) {
        feed(s, R"({"t":"trk","n":1,"id":"1:1:)" + std::to_string(i) + "\"}", t);
        listen(s, t, t + 31);
        t += 31;
    }
    EXPECT_EQ(s.history.size(), state::max_history);
    EXPECT_EQ(s.history.front()["id"], "1:1:1");
}

TEST(history_file, writes_csv_and_text) {
    setenv("TZ", "UTC", 1);
    tzset();
    const json history = {{"now", 1000.9},
                          {"items",
                           {{{"t", 940.0},
                             {"n", 2},
                             {"id", "x"},
                             {"title", "One, \"two\""},
                             {"artist", "A"},
                             {"key", "Am"},
                             {"genre", "G\n"},
                             {"bpm", 127.96}},
                            {{"t", 1000.0},
                             {"n", 1},
                             {"id", "y"},
                             {"title", "T"},
                             {"artist", ""},
                             {"key", ""},
                             {"genre", ""},
                             {"bpm", 0}}}}};
    const std::time_t wall = 1700000000;  // 2023-11-14 22:13:20
    const json list = history_list(history, wall);
    EXPECT_EQ(list[0]["epoch"], wall - 60);
    EXPECT_EQ(list[0]["time"], "22:12");
    EXPECT_FALSE(list[0].contains("t"));
    EXPECT_EQ(history_text(list, "csv"),
              "Time,Deck,Title,Artist,BPM,Key,Genre\r\n"
              "22:12,2,\"One, \"\"two\"\"\",A,128.0,Am,\"G\n\"\r\n"
              "22:13,1,T,,0.0,,\r\n");
    EXPECT_EQ(history_text(list, "txt"), "22:12  A - One, \"two\"\r\n22:13  T\r\n");

    const auto home =
        std::filesystem::temp_directory_path() / ("history-" + std::to_string(getpid()));
    const std::string path = save_history(list, "other", home.string(), wall);
    EXPECT_EQ(path, (home / "Documents/deckbus-history/history-2023-11-14-2213.csv").string());
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    EXPECT_EQ(text.str(), history_text(list, "csv"));
    std::filesystem::remove_all(home);
    EXPECT_EQ(save_history(list, "txt", "/dev/null", wall), "");
}

}  // namespace
