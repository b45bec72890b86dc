#pragma once

// Who plays what when: the set, worked out before a single line is written.
//
//   set_plan        tracks in the order of the set, each with its deck, its times and its fader
//   deck_view       what one deck does at a moment (deck_view.h)
//   recorder        lines for all of it (recorder.h)
//
// Decks take turns. A track starts when the one before it reaches its outro; both run together,
// the fader opens in the middle, the master changes, the older one runs to its end and makes
// room for the next. Pure, any thread.

#include <cstdint>
#include <string>
#include <vector>

#include "bridge_sim/set_clock.h"
#include "bridge_sim/track_model.h"

namespace bridge_sim {

struct record_wish {
    uint64_t seed = 7;
    int minutes = 5;
    int decks = 4;
    int pcm_s = 8;  // seconds of line input; 0 for none
};

constexpr int max_decks = 6;
constexpr int mixer_number = 33;
constexpr int stick_slot = 3;
constexpr int64_t us_per_s = 1'000'000;

// When the bridge's own clock stands where the recording begins.
constexpr int64_t first_us = 4'812'345;

// A stretch of playing without a jump. Set beats; the track's beat moves along.
struct play_span {
    int64_t from = 0, to = 0;  // to: not included
    int track_beat = 1;        // at `from`
};

struct beat_range {
    int64_t from = 0, to = 0;  // set beats, to: not included
};

struct planned_track {
    track_model track;
    int deck = 1;
    int64_t load_us = 0;
    int64_t unload_us = 0;  // an empty deck from here on; the next load otherwise
    std::vector<play_span> spans;
    std::vector<beat_range> audible;  // fader up
    beat_range master;                // holds the tempo
};

// A track that was loaded and taken off again unheard.
struct brief_load {
    int deck = 1;
    size_t track = 0;  // index into set_plan::tracks
    int64_t load_us = 0, unload_us = 0;
};

// A stick that was pulled and put back.
struct stick_pull {
    int player = 1;
    int64_t out_us = 0, in_us = 0;
};

struct set_plan {
    record_wish wish;
    set_clock clock{0, 12500};
    std::vector<planned_track> tracks;  // in order of play
    std::vector<brief_load> brief_loads;
    std::vector<stick_pull> pulls;
    int64_t end_us = 0;  // nothing is recorded from here on
};

set_plan plan_set(const record_wish& wish);

}  // namespace bridge_sim
