#include "track/cue.h"

#include "blob_writer.h"

#include <gtest/gtest.h>

using namespace deckbus;
using namespace deckbus::test;

namespace {

bytes nexus_record(uint8_t loop, uint8_t used, uint8_t hot, uint32_t at, uint32_t end) {
    blob_writer out;
    out.u8(loop).u8(used).u8(hot).zeros(9).u32_le(at).u32_le(end).zeros(16);
    return out.data;
}

TEST(nexus_cues, kinds_and_times) {
    struct row {
        const char* what;
        bytes record;
        json cues;
    };
    const auto cue_json = [](const char* kind, json hot, int64_t ms, json end, const char* color) {
        return json::array({{{"kind", kind},
                             {"hot", hot},
                             {"ms", ms},
                             {"endMs", end},
                             {"comment", ""},
                             {"color", color}}});
    };
    const row rows[] = {
        {"unused", nexus_record(1, 0, 0, 150, 300), json::array()},
        {"memory", nexus_record(0, 1, 0, 150, 300), cue_json("memory", {}, 1000, {}, "#e62828")},
        {"rounded down", nexus_record(0, 1, 0, 1, 0), cue_json("memory", {}, 6, {}, "#e62828")},
        {"loop", nexus_record(1, 1, 0, 150, 301), cue_json("loop", {}, 1000, 2006, "#f58c14")},
        {"hot", nexus_record(0, 0, 3, 15, 0), cue_json("hot", "C", 100, {}, "#28e214")},
        {"hot loop", nexus_record(9, 0, 1, 15, 0), cue_json("hotloop", "A", 100, 0, "#f58c14")},
        {"far away", nexus_record(1, 1, 0, 0xFFFFFFFF, 0xFFFFFFFF),
         cue_json("loop", {}, 28633115300, 28633115300, "#f58c14")},
        {"half a record", bytes(35, 1), json::array()},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        json found = json::array();
        for (const cue& point : decode_cues(r.record, "nexus", 0)) found.push_back(point.to_json());
        EXPECT_EQ(found, r.cues);
    }
}

// A record of an "ext" list whose bytes behind the first 20 a test fills in.
blob_writer ext_record(size_t length, uint8_t hot, uint8_t status, uint32_t ms, uint32_t end) {
    blob_writer out;
    out.u32_le(uint32_t(length)).u8(hot).u8(0).u8(status).zeros(5).u32_le(ms).u32_le(end);
    if (length > out.data.size()) out.zeros(length - out.data.size());
    return out;
}

bytes joined(std::initializer_list<bytes> records) {
    bytes out;
    for (const bytes& r : records) out.insert(out.end(), r.begin(), r.end());
    return out;
}

std::vector<int64_t> times(const std::vector<cue>& cues) {
    std::vector<int64_t> out;
    for (const cue& point : cues) out.push_back(point.ms);
    return out;
}

TEST(ext_cues, where_the_list_ends) {
    const bytes late = ext_record(20, 1, 1, 900, 0).data, early = ext_record(44, 2, 1, 100, 0).data,
                skipped = ext_record(88, 0, 0, 5, 0).data, tiny = ext_record(19, 1, 1, 7, 0).data,
                greedy = ext_record(21, 1, 1, 8, 0).data;
    const bytes cut(greedy.begin(), greedy.end() - 1);
    struct row {
        const char* what;
        bytes data;
        int count;
        std::vector<int64_t> ms;
    };
    const row rows[] = {
        {"empty", {}, 0, {}},
        {"sorted", joined({late, early}), 0, {100, 900}},
        {"count", joined({late, early}), 1, {900}},
        {"negative count", joined({late, early}), -1, {100, 900}},
        {"skipped counts", joined({skipped, late, early}), 2, {900}},
        {"record below 20", joined({late, tiny, early}), 0, {900}},
        {"record past the end", joined({late, cut}), 0, {900}},
        {"19 bytes left", joined({late, bytes(19, 1)}), 0, {900}},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        EXPECT_EQ(times(decode_cues(r.data, "ext", r.count)), r.ms);
        EXPECT_TRUE(decode_cues(r.data, "EXT", r.count).empty());
    }
}

TEST(ext_cues, kinds_and_order_of_equal_times) {
    const auto cues = decode_cues(
        joined({ext_record(20, 2, 2, 50, 0xFFFFFFFF).data, ext_record(20, 1, 0, 50, 70).data,
                ext_record(20, 0, 2, 50, 0).data, ext_record(20, 0, 1, 50, 70).data}),
        "ext", 0);
    ASSERT_EQ(cues.size(), 4u);
    EXPECT_EQ(cues[0].kind, "loop");
    EXPECT_EQ(cues[0].end_ms, 0);
    EXPECT_EQ(cues[1].kind, "memory");
    EXPECT_EQ(cues[1].end_ms, -1);
    EXPECT_EQ(cues[2].kind, "hot");
    EXPECT_EQ(cues[2].end_ms, -1);
    EXPECT_EQ(cues[3].kind, "hotloop");
    EXPECT_EQ(cues[3].end_ms, 4294967295);
}

TEST(ext_cues, comments) {
    struct row {
        const char* what;
        std::vector<uint16_t> units;
        int field_bytes;  // length as the record tells it
        size_t cut;       // bytes missing at the end of the record
        const char* comment;
    };
    const row rows[] = {
        {"plain", {'A', 'b', 0}, 6, 0, "Ab"},
        {"one unit", {'A', 'b', 0}, 4, 0, "A"},
        {"no unit", {'A', 'b', 0}, 3, 0, ""},
        {"no field", {'A', 'b', 0}, 0, 0, ""},
        {"half a unit at its end", {'A', 'b', 0}, 5, 0, "A"},
        {"zero inside", {'A', 0, 'b', 0}, 8, 0, "A"},
        {"terminator missing", {'A', 'b', 0}, 6, 2, "Ab"},
        {"longer than the record", {'A', 'b', 0}, 6, 3, ""},
        {"blanks at the end", {'A', ' ', 'b', ' ', '\t', ' ', 0}, 14, 0, "A b"},
        {"only blanks", {' ', ' ', 0}, 6, 0, ""},
        {"two and three bytes", {0xFC, 0x20AC, 0}, 6, 0, "\xC3\xBC\xE2\x82\xAC"},
        {"pair", {0xD83D, 0xDD0A, 0}, 6, 0, "\xF0\x9F\x94\x8A"},
        {"high without low",
         {0xD83D, 'A', 0},
         6,
         0,
         "\xED\xA0\xBD"
         "A"},
        {"low alone",
         {0xDD0A, 'A', 0},
         6,
         0,
         "\xED\xB4\x8A"
         "A"},
        {"pair cut by the field", {0xD83D, 0xDD0A, 0}, 4, 0, "\xED\xA0\xBD"},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        const size_t length = 74 + r.units.size() * 2 - r.cut;
        blob_writer record = ext_record(74, 1, 1, 0, 0);
        record.put(0, {uint8_t(length)}).put(72, {uint8_t(r.field_bytes)});
        for (const uint16_t unit : r.units) record.u16_le(unit);
        record.data.resize(length);
        const auto cues = decode_cues(record.data, "ext", 0);
        ASSERT_EQ(cues.size(), 1u);
        EXPECT_EQ(cues[0].comment, r.comment);
    }
}

TEST(ext_cues, colors) {
    struct row {
        const char* what;
        size_t length;
        uint8_t hot, status, index;
        rgb_color own, shown;
    };
    const rgb_color own = {1, 2, 3}, none = {}, green = {0x28, 0xE2, 0x14},
                    orange = {0xF5, 0x8C, 0x14}, red = {0xE6, 0x28, 0x28};
    const row rows[] = {
        {"first of the table", 35, 0, 1, 1, none, {0xED, 0x40, 0xB3}},
        {"last of the table", 35, 0, 2, 8, none, {0x96, 0x46, 0xDC}},
        {"index 0", 35, 0, 1, 0, none, red},
        {"index 9", 35, 0, 2, 9, none, orange},
        {"too short for an index", 34, 0, 1, 1, none, red},
        {"hot", 86, 1, 1, 1, own, own},
        {"hot loop", 86, 1, 2, 1, own, own},
        {"hot, black", 86, 1, 1, 1, none, green},
        {"hot loop, black", 86, 1, 2, 1, none, orange},
        {"hot, one byte short", 85, 1, 1, 1, own, green},
        {"hot, of 20 bytes", 20, 1, 1, 0, none, green},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        blob_writer record = ext_record(90, r.hot, r.status, 0, 0);
        record.put(0, {uint8_t(r.length)}).put(34, {r.index}).put(72, {4});
        record.put(83, {r.own[0], r.own[1], r.own[2]});
        record.data.resize(r.length);
        const auto cues = decode_cues(record.data, "ext", 0);
        ASSERT_EQ(cues.size(), 1u);
        EXPECT_EQ(cues[0].display_color(), r.shown);
    }
}

}  // namespace
