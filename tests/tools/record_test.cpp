// Recordings that the simulator makes: fit for the decks, and the same everywhere.

#include "bridge_sim/recorder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "deck/state.h"

namespace bridge_sim {
namespace {

using deckbus::json;

std::string recording_of(const record_wish& wish) {
    std::ostringstream out;
    EXPECT_TRUE(write_recording(out, record_lines(plan_set(wish))));
    return out.str();
}

std::vector<std::string> lines_of(std::istream& in) {
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

std::vector<std::string> lines_of(const record_wish& wish) {
    std::istringstream in(recording_of(wish));
    return lines_of(in);
}

// libjpeg decides about the payload of artwork, and so about its size and its parts.
std::vector<std::string> without_art(std::vector<std::string> lines) {
    std::erase_if(lines, [](const std::string& line) {
        return line.find("\"kind\":\"art\"") != std::string::npos;
    });
    return lines;
}

TEST(recording, same_wish_same_bytes) {
    const record_wish wish{.seed = 3, .minutes = 1, .decks = 2};
    EXPECT_EQ(recording_of(wish), recording_of(wish));
    EXPECT_NE(recording_of(wish), recording_of({.seed = 4, .minutes = 1, .decks = 2}));
}

TEST(recording, defaults_make_the_example) {
    std::ifstream file(EXAMPLE_RECORDING);
    ASSERT_TRUE(file.is_open());
    const auto shipped = without_art(lines_of(file)), made = without_art(lines_of(record_wish{}));
    ASSERT_EQ(shipped.size(), made.size());
    for (size_t i = 0; i < made.size(); i++) ASSERT_EQ(shipped[i], made[i]) << "line " << i + 1;
}

// A set fed through the decks, and what they said about it.
struct listened {
    explicit listened(const record_wish& wish) {
        state.on_connected(0, "test");
        for (const std::string& line : lines_of(wish)) take(line);
    }

    void take(const std::string& text) {
        const json line = json::parse(text);
        const double rx = line.at("rx");
        EXPECT_GE(rx, time);
        time = rx;
        EXPECT_TRUE(state.feed(text, time, false));
        note(line);
        for (const deckbus::event& e : state.take_events()) events[e.kind]++;
    }

    // Tracks are looked at when they are complete: their stick may be pulled later.
    void note(const json& line) {
        const std::string kind = line.at("t");
        kinds.insert(kind);
        if (kind == "blob") promised[line.at("id")].insert(std::string(line.at("kind")));
        if (kind == "blob")
            words.insert(std::string(line.at("kind")) + " " + std::string(line.at("fmt")));
        if (kind == "metaok") tracks[line.at("id")] = state.get_track(line.at("id"));
    }

    deckbus::state state;
    double time = 0;
    std::map<std::string, int> events;
    std::set<std::string> kinds, words;
    std::map<std::string, std::set<std::string>> promised;
    std::map<std::string, deckbus::track> tracks;
};

std::map<std::string, int> groups_of(const deckbus::track& track) {
    std::map<std::string, int> groups;
    for (const deckbus::phrase& p : track.phrases) groups[p.group]++;
    return groups;
}

void expect_whole(const deckbus::track& track, const std::set<std::string>& promised) {
    EXPECT_TRUE(track.complete);
    EXPECT_EQ(track.error, "");
    EXPECT_GT(track.preview.columns, 0);
    EXPECT_GT(track.detail.columns, 0);
    EXPECT_GT(track.grid.beats(), 100u);
    EXPECT_GE(track.cues.size(), 4u);
    ASSERT_GT(track.art.size(), 4u);
    EXPECT_EQ(track.art[0], 0xFF);
    EXPECT_EQ(track.art[1], 0xD8);
    EXPECT_EQ(track.phrases_from, promised.count("phrase") ? "rekordbox" : "waveform");
    auto groups = groups_of(track);
    EXPECT_GE(groups["drop"], 1);
    EXPECT_GE(groups["break"] + groups["buildup"], 1);
}

TEST(recording, every_set_is_whole) {
    const record_wish wishes[] = {{.seed = 1, .minutes = 3, .decks = 1},
                                  {.seed = 2, .minutes = 6, .decks = 2},
                                  {.seed = 3, .minutes = 6, .decks = 3},
                                  {.seed = 4, .minutes = 8, .decks = 4},
                                  {.seed = 5, .minutes = 4, .decks = 6}};
    for (const record_wish& wish : wishes) {
        SCOPED_TRACE(wish.decks);
        listened set(wish);
        EXPECT_EQ(set.events["warn"], 0);
        EXPECT_EQ(set.events["error"], 0);
        EXPECT_EQ(set.events["restart"], 0);
        EXPECT_GE(set.events["cue"], 3);
        EXPECT_GE(set.events["master"], 2);
        EXPECT_GE(set.tracks.size(), 2u);
        for (const auto& [id, track] : set.tracks) {
            SCOPED_TRACE(id);
            expect_whole(track, set.promised[id]);
        }
    }
}

TEST(recording, everything_that_a_bridge_sends_occurs) {
    listened set(record_wish{});
    for (const char* kind : {"hello", "net", "vcdj", "dev", "media", "air", "trk", "meta", "metaok",
                             "blob", "part", "beat", "st", "mix", "pos", "hb", "pcm"}) {
        EXPECT_TRUE(set.kinds.count(kind)) << kind;
    }
    for (const char* word : {"wfd blue", "wfd rgb", "wfd 3band", "wfp blue", "wfp rgb", "wfp 3band",
                             "cues nexus", "cues ext"}) {
        EXPECT_TRUE(set.words.count(word)) << word;
    }
    EXPECT_GE(set.events["media"], 4);
    EXPECT_GT(set.events["track"], 8);
}

// The detection must find the structure that the track was built from.
TEST(recording, detected_sections_stand_where_they_were_composed) {
    const set_plan plan = plan_set(record_wish{});
    listened set(record_wish{});
    int checked = 0;
    for (const planned_track& p : plan.tracks) {
        const auto found = set.tracks.find(p.track.id);
        if (found == set.tracks.end() || p.track.phrases != phrase_form::none) continue;
        checked++;
        SCOPED_TRACE(p.track.id);
        for (const deckbus::phrase& phrase : found->second.phrases) {
            const section& composed = p.track.section_at(phrase.beat);
            EXPECT_EQ(composed.kind == section_kind::drop, phrase.group == "drop") << phrase.beat;
        }
        EXPECT_GE(groups_of(found->second)["buildup"], 1);
    }
    EXPECT_GE(checked, 2);
}

TEST(recording, phrases_come_plain_and_masked) {
    const set_plan plan = plan_set(record_wish{});
    listened set(record_wish{});
    std::set<phrase_form> forms;
    for (const planned_track& p : plan.tracks) {
        const auto found = set.tracks.find(p.track.id);
        if (found == set.tracks.end() || p.track.phrases == phrase_form::none) continue;
        forms.insert(p.track.phrases);
        EXPECT_EQ(found->second.mood, p.track.mood);
        EXPECT_EQ(found->second.rb_phrases.back().end_beat, p.track.beats() + 1);
    }
    EXPECT_EQ(forms, (std::set{phrase_form::plain, phrase_form::masked}));
}

// Whoever looks for half a minute shall see a drop and the beginning of a mix.
TEST(recording, something_happens_within_the_first_minute) {
    const set_plan plan = plan_set(record_wish{});
    ASSERT_GE(plan.tracks.size(), 2u);
    const planned_track &first = plan.tracks[0], &second = plan.tracks[1];
    const int64_t drop = first.spans[0].from + 16;
    EXPECT_EQ(first.track.section_at(first.spans[0].track_beat + 16).kind, section_kind::drop);
    EXPECT_LT(plan.clock.us_of(drop) - first_us, 15 * us_per_s);
    EXPECT_LT(plan.clock.us_of(second.spans[0].from) - first_us, 30 * us_per_s);
    EXPECT_LT(plan.clock.us_of(second.master.from) - first_us, 45 * us_per_s);
}

}  // namespace
}  // namespace bridge_sim
