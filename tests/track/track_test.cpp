#include "track/track.h"

#include "blob_writer.h"

#include <gtest/gtest.h>

using namespace deckbus;
using namespace deckbus::test;

namespace {

// 64 beats at 120 a minute, and a detail that is quiet for 8 bars and loud for 8.
bytes grid_blob() {
    blob_writer out;
    out.zeros(20);
    for (uint32_t i = 0; i < 64; ++i) out.u16_le(i % 4 + 1).u16_le(12000).u32_le(i * 500).zeros(8);
    return out.data;
}

bytes detail_blob() {
    blob_writer out;
    out.zeros(28);
    for (int i = 0; i < 64 * 75; ++i) out.u8(100).u8(50).u8(i < 32 * 75 ? 10 : 200);
    return out.data;
}

bytes phrase_blob(uint16_t kind) {
    blob_writer out;
    out.text("PSSI").u32_be(32).zeros(4).u32_be(6).u16_be(1).u16_be(1).zeros(6).u16_be(65).zeros(4);
    out.zeros(2).u16_be(1).u16_be(kind);
    return out.data;
}

TEST(track, phrases_follow_the_order_of_blobs) {
    struct step {
        const char* kind;
        bytes data;
        const char* from;
        size_t phrases;
    };
    const step steps[] = {
        {"grid", grid_blob(), "", 0},
        {"wfp", detail_blob(), "", 0},
        {"wfd", detail_blob(), "waveform", 2},
        {"phrase", phrase_blob(1), "rekordbox", 1},
        {"cues", {}, "rekordbox", 1},
        {"phrase", {}, "waveform", 2},
        {"wfd", {}, "", 0},
        {"phrase", phrase_blob(5), "rekordbox", 1},
        {"grid", {}, "rekordbox", 1},
    };
    track t;
    for (const step& s : steps) {
        SCOPED_TRACE(s.kind);
        EXPECT_TRUE(t.store_blob(s.kind, s.data, "3band", 0));
        EXPECT_EQ(t.phrases_from, s.from);
        EXPECT_EQ(t.phrases.size(), s.phrases);
    }
    EXPECT_EQ(t.mood, 1);
    EXPECT_TRUE(t.has_grid && t.has_cues);
}

TEST(track, unknown_kinds_change_nothing) {
    track t;
    for (const char* kind : {"", "wf", "wfdx", "Grid"})
        EXPECT_FALSE(t.store_blob(kind, grid_blob(), "3band", 0)) << kind;
    EXPECT_FALSE(t.has_grid);
    EXPECT_TRUE(t.store_blob("art", {1, 2}, "png", 0));
    EXPECT_EQ(t.art, (bytes{1, 2}));
}

TEST(track, info_of_an_empty_track) {
    track t;
    t.meta = {{"id", "1:3:1"}, {"complete", "overwritten"}, {"rx", 1.5}, {"error", "kept"}};
    t.rev = 4;
    json expected = {{"id", "1:3:1"},     {"complete", false}, {"rx", 1.5},
                     {"error", "kept"},   {"durationMs", 0.0}, {"preview", nullptr},
                     {"detail", nullptr}, {"beats", 0},        {"hasArt", false},
                     {"rev", 4}};
    EXPECT_EQ(t.info(false), expected);
    EXPECT_TRUE(t.info(false)["durationMs"].is_number_float());
    EXPECT_TRUE(t.info(false)["beats"].is_number_unsigned());
    expected["cues"] = nullptr;
    EXPECT_EQ(t.info(true), expected);

    t.store_blob("cues", {}, "ext", 0);
    expected["cues"] = json::array();
    expected["error"] = t.error = "cues: transfer error";
    EXPECT_EQ(t.info(true), expected);
}

TEST(track, info_of_phrases) {
    track t;
    t.meta = {{"dur", 40}};
    t.store_blob("phrase", phrase_blob(3), "", 0);
    const json stored = {{"beat", 1}, {"endBeat", 65}, {"name", "Break"}, {"group", "break"}};
    EXPECT_EQ(t.info(false)["phrases"], json::array({stored}));
    EXPECT_EQ(t.info(false)["mood"], "high");
    EXPECT_EQ(t.info(false)["phrasesFrom"], "rekordbox");

    json with_times = stored;
    with_times["ms"] = 0.0;
    with_times["endMs"] = 40000.0;  // beat 65 lies behind the last
    t.store_blob("grid", grid_blob(), "", 0);
    EXPECT_EQ(t.info(false)["phrases"], json::array({with_times}));

    t.mood = 0;
    t.rb_phrases.clear();
    t.store_blob("wfd", detail_blob(), "3band", 0);
    const json detected = {{{"beat", 1},
                            {"endBeat", 33},
                            {"name", "Intro"},
                            {"group", "intro"},
                            {"detected", true},
                            {"ms", 0.0},
                            {"endMs", 16000.0}},
                           {{"beat", 33},
                            {"endBeat", 65},
                            {"name", "Drop"},
                            {"group", "drop"},
                            {"detected", true},
                            {"ms", 16000.0},
                            {"endMs", 32000.0}}};
    EXPECT_EQ(t.info(true)["phrases"], detected);
    EXPECT_FALSE(t.info(true).contains("mood"));
}

TEST(track, duration) {
    struct row {
        json meta;
        int32_t columns;
        double ms;
    };
    const row rows[] = {
        {{{"dur", 10}}, 150, 1000.0},
        {{{"dur", 10}}, 0, 10000.0},
        {{{"dur", 1.5}}, 0, 1500.0},
        {{{"dur", "10"}}, 0, 0.0},
        {nullptr, 0, 0.0},
        {nullptr, 1, 1000.0 / 150.0},
        {json::array({"dur", 10}), 0, 0.0},
    };
    for (const row& r : rows) {
        track t;
        t.meta = r.meta;
        t.detail.columns = r.columns;
        EXPECT_EQ(t.duration_ms(), r.ms) << r.meta.dump();
    }
}

}  // namespace
