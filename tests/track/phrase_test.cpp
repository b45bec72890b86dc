#include "track/phrase.h"

#include "blob_writer.h"

#include <gtest/gtest.h>

using namespace deckbus;
using namespace deckbus::test;

namespace {

struct entry {
    uint16_t beat, kind;
};

struct tag_sizes {
    uint32_t header = 32, entry = 24;
};

bytes make_tag(int mood, uint16_t end_beat, const std::vector<entry>& entries,
               tag_sizes sizes = {}) {
    blob_writer out;
    out.text("PSSI").u32_be(sizes.header).zeros(4).u32_be(sizes.entry);
    out.u16_be(uint32_t(entries.size())).u16_be(uint32_t(mood)).zeros(6).u16_be(end_beat).zeros(4);
    out.zeros(sizes.header > 32 ? sizes.header - 32 : 0);
    for (const entry& e : entries) {
        out.zeros(2).u16_be(e.beat).u16_be(e.kind);
        out.zeros(sizes.entry > 6 ? sizes.entry - 6 : 0);
    }
    return out.data;
}

std::string described(const std::vector<phrase>& phrases) {
    std::string out;
    for (const phrase& p : phrases)
        out += std::to_string(p.beat) + "-" + std::to_string(p.end_beat) + " " + p.name + "/" +
               p.group + (p.detected ? "*; " : "; ");
    return out;
}

TEST(phrase_blob, entries) {
    struct row {
        const char* what;
        bytes tag;
        int mood;
        const char* phrases;
    };
    const row rows[] = {
        {"in order", make_tag(2, 65, {{1, 1}, {33, 9}}), 2, "1-33 Intro/intro; 33-65 Drop/drop; "},
        {"sorted", make_tag(1, 65, {{33, 5}, {1, 2}, {17, 3}}), 1,
         "1-17 Buildup/buildup; 17-33 Break/break; 33-65 Drop/drop; "},
        {"no end beat", make_tag(3, 0, {{1, 7}}), 3, "1-2 Verse 2/verse; "},
        {"end beat", make_tag(3, 500, {{1, 10}}), 3, "1-500 Outro/outro; "},
        {"unknown kinds", make_tag(2, 9, {{1, 0}, {5, 11}}), 2,
         "1-5 Phrase/verse; 5-9 Phrase/verse; "},
        {"gap in mood 1", make_tag(1, 9, {{1, 4}, {5, 10}}), 1,
         "1-5 Phrase/verse; 5-9 Phrase/verse; "},
        {"smallest entry", make_tag(2, 9, {{1, 7}}, {32, 6}), 2, "1-9 Verse 6/verse; "},
        {"largest entry", make_tag(2, 9, {{1, 8}}, {40, 64}), 2, "1-9 Break/break; "},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        int32_t mood = 0;
        EXPECT_EQ(described(decode_phrases(r.tag, mood)), r.phrases);
        EXPECT_EQ(mood, r.mood);
    }
}

TEST(phrase_blob, refused) {
    const bytes good = make_tag(2, 9, {{1, 1}, {5, 2}});
    struct row {
        const char* what;
        size_t at;
        std::vector<uint8_t> instead;
    };
    const row rows[] = {
        {"another tag", 3, {'J'}},
        {"header of 31", 4, {0, 0, 0, 31}},
        {"header past the end", 4, {0, 0, 0, 81}},
        {"header of 4 GB", 4, {0xFF, 0xFF, 0xFF, 0xFF}},
        {"entry of 5", 12, {0, 0, 0, 5}},
        {"entry of 65", 12, {0, 0, 0, 65}},
        {"last entry past the end", 12, {0, 0, 0, 25}},
        {"no entries", 16, {0, 0}},
        {"mood 0, masked or not", 18, {0, 0}},
        {"mood 4, masked or not", 18, {0, 4}},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        bytes tag = good;
        std::copy(r.instead.begin(), r.instead.end(), tag.begin() + long(r.at));
        int32_t mood = 7;
        EXPECT_TRUE(decode_phrases(tag, mood).empty());
        EXPECT_EQ(mood, 7);
    }
    int32_t mood = 7;
    for (size_t length = 0; length < good.size(); ++length)
        EXPECT_TRUE(decode_phrases(std::span(good).first(length), mood).empty()) << length;
    EXPECT_EQ(mood, 7);
}

// A masked tag with 7 entries of mood low, in full.
constexpr uint8_t masked_tag[] = {
    0x50, 0x53, 0x53, 0x49, 0x00, 0x00, 0x00, 0x20, 0x00, 0x00, 0x00, 0x4A, 0x00, 0x00, 0x00,
    0x06, 0x00, 0x07, 0xD2, 0xEB, 0xF5, 0x01, 0xEC, 0xF5, 0xB4, 0xF5, 0xF1, 0xD8, 0xF0, 0xF2,
    0xE8, 0xF0, 0xFA, 0xEE, 0xF0, 0xFA, 0xE8, 0xD3, 0xE8, 0xF7, 0x01, 0xCD, 0xF5, 0xB6, 0xF5,
    0xF3, 0xD9, 0xB1, 0xF2, 0xE0, 0xF0, 0xFE, 0xEF, 0x91, 0xFB, 0xE1, 0xD2, 0xED, 0xF5, 0x80,
    0xEC, 0xFC, 0xB4, 0xF3, 0xF0, 0x78, 0xF0, 0xFA, 0xE8, 0xF7, 0xFA, 0x2E, 0xF0, 0xF1,
};

TEST(phrase_blob, masked) {
    int32_t mood = 0;
    EXPECT_EQ(described(decode_phrases(masked_tag, mood)),
              "1-33 Intro/intro; 33-65 Verse 1/verse; 65-97 Break/break; 97-129 Drop/drop; "
              "129-161 Drop/drop; 161-193 Break/break; 193-257 Outro/outro; ");
    EXPECT_EQ(mood, 3);
}

}  // namespace
