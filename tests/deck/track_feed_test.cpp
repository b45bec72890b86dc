// Tracks and blobs as lines bring them: requests, events, failures.

#include <gtest/gtest.h>

#include "deck/state.h"
#include "feeding.h"

using namespace deckbus;
using namespace deckbus::test;

namespace {

// A header for a blob of four zero bytes, whose CRC-32 is 2144df1c, and its only part.
std::string header(const std::string& id, const std::string& kind,
                   const std::string& crc = "2144df1c") {
    return R"({"t":"blob","id":")" + id + R"(","kind":")" + kind +
           R"(","fmt":"x","size":4,"parts":1,"crc":")" + crc + R"("})";
}

std::string part(const std::string& id, const std::string& kind) {
    return R"({"t":"part","id":")" + id + R"(","kind":")" + kind + R"(","i":0,"d":"AAAAAA=="})";
}

void send_blob(state& s, const std::string& id, const std::string& kind, bool good = true) {
    feed(s, header(id, kind, good ? "2144df1c" : "1"));
    feed(s, part(id, kind));
}

TEST(loaded, asks_for_metadata_only_in_the_window) {
    struct row {
        const char* what;
        const char* before;  // a line, or none
        const char* line;
        double t;
        bool asks;
    };
    const char* const plain = R"({"t":"trk","n":3,"id":"3:1:1","meta":true})";
    const row rows[] = {
        {"inside", "", plain, 11.9, true},
        {"repeated", plain, plain, 11.9, true},
        {"at its end", "", plain, 12.0, false},
        {"none to be had", "", R"({"t":"trk","n":3,"id":"3:1:1"})", 11, false},
        {"deck emptied", "", R"({"t":"trk","n":3,"id":null,"meta":true})", 11, false},
        {"incomplete", R"({"t":"meta","id":"3:1:1"})", plain, 11, true},
        {"complete", R"({"t":"metaok","id":"3:1:1"})", plain, 11, false},
        {"failed", R"({"t":"metaerr","id":"3:1:1","msg":"no"})", plain, 11, false},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        state s;
        s.request_info(10);
        const std::string before = r.before;
        if (before.find("meta") != std::string::npos &&
            before.find("\"trk\"") == std::string::npos) {
            feed(s, R"({"t":"meta","id":"3:1:1"})");
        }
        if (!before.empty()) feed(s, before, 11);
        s.take_commands();
        feed(s, r.line, r.t);
        EXPECT_EQ(s.take_commands(),
                  r.asks ? std::vector<std::string>{"fetch 3"} : std::vector<std::string>{});
    }
}

TEST(loaded, tells_a_change_once) {
    state s;
    s.connected = true;
    feed(s, R"({"t":"beat","n":1,"beat":9,"cue":3})");
    kinds(s);
    feed(s, R"({"t":"trk","n":1,"id":"1:1:1"})");
    feed(s, R"({"t":"trk","n":1,"id":"1:1:1"})");
    feed(s, R"({"t":"trk","n":1,"id":""})");
    EXPECT_EQ(told(s), (std::vector<std::string>{R"(track {"id":"1:1:1","n":1})",
                                                 R"(track {"id":null,"n":1})"}));
    EXPECT_EQ(s.players.at(1).beat, -1);
    EXPECT_EQ(s.players.at(1).cue_beat, 0);
}

TEST(meta, replaces_the_track_and_its_transfers) {
    state s;
    s.connected = true;
    for (const int n : {4, 2}) {
        feed(s, R"({"t":"trk","id":"2:1:1","n":)" + std::to_string(n) + "}");
    }
    send_blob(s, "2:1:1", "art");
    feed(s, header("2:1:1", "grid"));
    feed(s, header("2:1:10", "grid"));
    kinds(s);
    feed(s, R"({"t":"meta","id":"2:1:1","title":"T","artist":5,"us":7})");
    EXPECT_EQ(told(s), (std::vector<std::string>{
                           R"(meta {"artist":"","id":"2:1:1","players":[2,4],"title":"T"})"}));
    EXPECT_EQ(s.store.find("2:1:1")->meta.dump(),
              R"({"artist":5,"id":"2:1:1","title":"T","us":7})");
    EXPECT_TRUE(s.store.find("2:1:1")->art.empty());
    EXPECT_EQ(s.transfers.pending.size(), 1u);
    feed(s, R"({"t":"meta","id":7})");
    EXPECT_EQ(s.store.tracks.size(), 1u);
}

TEST(blob, is_stored_and_told) {
    state s;
    s.connected = true;
    send_blob(s, "1:1:1", "art");
    send_blob(s, "1:1:1", "wfd");  // unreadable, and stored all the same
    send_blob(s, "1:1:2", "news");
    EXPECT_EQ(told(s),
              (std::vector<std::string>{R"(trackdata {"id":"1:1:1","kind":"art","rev":2})",
                                        R"(trackdata {"id":"1:1:1","kind":"wfd","rev":3})"}));
    EXPECT_EQ(s.store.find("1:1:1")->art, bytes(4));
    EXPECT_EQ(s.store.find("1:1:2")->meta.dump(), R"({"id":"1:1:2"})");
    bytes art;
    EXPECT_FALSE(s.artwork(1, art));
    feed(s, R"({"t":"trk","n":1,"id":"1:1:1"})");
    EXPECT_TRUE(s.artwork(1, art));
    EXPECT_EQ(art, bytes(4));
}

TEST(blob, failure_is_told_and_asked_for_once) {
    state s;
    s.connected = true;
    feed(s, R"({"t":"trk","n":5,"id":"1:1:1"})");
    feed(s, R"({"t":"trk","n":2,"id":"1:1:1"})");
    send_blob(s, "1:1:1", "art");
    const int rev = s.store.find("1:1:1")->rev;
    kinds(s);
    send_blob(s, "1:1:1", "art", false);
    send_blob(s, "1:1:1", "news", false);
    EXPECT_EQ(told(s),
              (std::vector<std::string>{R"(warn {"msg":"Track 1:1:1: art transfer error"})",
                                        R"(warn {"msg":"Track 1:1:1: news transfer error"})"}));
    EXPECT_EQ(s.take_commands(), std::vector<std::string>{"fetch 2"});
    EXPECT_EQ(s.store.find("1:1:1")->error, "news: transfer error");
    EXPECT_EQ(s.store.find("1:1:1")->art, bytes(4));  // what was there stays
    EXPECT_EQ(s.store.find("1:1:1")->rev, rev);

    // Nobody holds this one: its one chance is spent all the same.
    send_blob(s, "1:1:2", "art", false);
    feed(s, R"({"t":"trk","n":1,"id":"1:1:2"})");
    send_blob(s, "1:1:2", "art", false);
    EXPECT_TRUE(s.take_commands().empty());
    feed(s, R"({"t":"media","n":1,"slot":1,"on":true})");  // forgotten, with its track
    send_blob(s, "1:1:2", "art", false);
    EXPECT_EQ(s.take_commands(), std::vector<std::string>{"fetch 1"});
}

TEST(blob, bad_header_is_told) {
    state s;
    s.connected = true;
    feed(s, R"({"t":"blob","id":"1:1:1","kind":"art","size":769,"parts":1})");
    EXPECT_EQ(told(s),
              std::vector<std::string>{R"(warn {"msg":"Track 1:1:1: art block header invalid"})"});
    EXPECT_TRUE(s.store.tracks.empty());
    feed(s, R"({"t":"blob","id":"1:1:1","kind":"art","size":0,"parts":0,"crc":"0"})");
    EXPECT_EQ(kinds(s), "trackdata");
}

TEST(media, forgets_the_tracks_of_its_slot) {
    state s;
    for (const char* id : {"1:2:1", "1:2:77", "1:21:1", "11:2:1"})
        s.store_track(id, json::object());
    feed(s, R"({"t":"trk","n":1,"id":"1:2:1"})");
    kinds(s);
    feed(s, R"({"t":"media","n":1,"slot":2,"on":true})");
    EXPECT_EQ(told(s), std::vector<std::string>{R"(media {"n":1,"on":true,"slot":2})"});
    EXPECT_EQ(s.store.find("1:2:1"), nullptr);  // although it is loaded
    EXPECT_EQ(s.store.find("1:2:77"), nullptr);
    EXPECT_EQ(s.store.tracks.size(), 2u);
}

TEST(texture, comes_with_a_description) {
    state s;
    bytes pixels;
    feed(s, R"({"t":"trk","n":1,"id":"1:1:1"})");
    EXPECT_FALSE(s.deck_texture(1, pixels));
    EXPECT_TRUE(s.deck_texture_info(1).is_null());
    track& t = s.get_track("1:1:1");
    t.preview = {style_blue, false, 2, bytes(8, 9), bytes(6)};
    ASSERT_TRUE(s.deck_texture(1, pixels));
    EXPECT_EQ(pixels.size(), 4096u * 4 * 4);
    EXPECT_EQ(
        s.deck_texture_info(1).dump(),
        R"({"detailCount":0,"durationMs":0.0,"height":4,"id":"1:1:1","previewCount":2,"previewStyle":"blue","rev":1,"rows":1,"style":"blue","width":4096})");
}

}  // namespace
