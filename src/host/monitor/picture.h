#pragma once

// What one picture shows: plain values, copied from the state and then independent of it.
//
// The collector fills it under the session's lock; every widget draws from it without one.

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "track/beat_grid.h"
#include "track/cue.h"
#include "track/phrase.h"
#include "track/waveform.h"

namespace monitor {

// A track as the deck shows it. Made anew when its revision changes, then never changed, so many
// pictures share one.
struct track_picture {
    std::string id;
    int32_t rev = 0;
    std::string title, artist, key;
    deckbus::waveform preview, detail;
    deckbus::beat_grid grid;
    std::vector<deckbus::cue> cues;
    std::vector<deckbus::phrase> phrases;
    std::string phrases_from;
};

// Where a beat stands among a track's phrases.
struct phrase_place {
    const deckbus::phrase* now = nullptr;   // null when no phrase holds the beat
    const deckbus::phrase* next = nullptr;  // null behind the last
    int beats_left = 0;                     // until the present one ends
};

struct deck_picture {
    int number = 0;
    std::string name;  // of the device
    bool playing = false, on_air = false, master = false, sync = false;
    double bpm = 0, effective_bpm = 0;  // without and with pitch
    double pitch = 0;                   // percent
    int beat_in_bar = 0;                // 1 to 4, else unknown
    int beat = -1;                      // from 1, else unknown
    double beat_phase = 0, bar_phase = 0;
    int beats_to_cue = -1;          // negative when none
    double cue_ramp = 0;            // 0 to 1 over the last 16 beats
    double since_cue_s = -1;        // since the last cue was reached; negative when none was
    double position_ms = -1;        // negative when unknown
    double duration_ms = 0;         // 0 when unknown
    std::array<float, 3> levels{};  // low, mid, high, 0 to 1
    std::string track_id;           // empty when nothing is loaded
    bool complete = false;          // all of the track has come
    std::string problem;            // why something of the track is missing
    std::shared_ptr<const track_picture> track;  // null while nothing is known
};

struct link_picture {
    bool connected = false;
    std::string port;      // in use or asked for
    std::string status;    // the last connection problem
    std::string firmware;  // and below: what the bridge says of itself; empty, 0 when it did not
    std::string address;
    std::string network_phase;
    int64_t uptime_s = 0;
    bool network_link = false;
};

struct heard_line {
    std::string time;  // "HH:MM", local
    int deck = 0;
    std::string title, artist;
    double bpm = 0;
};

using heard_list = std::vector<heard_line>;  // oldest first

struct set_picture {
    double t = 0;  // s, steady clock
    link_picture link;
    int master = 0;  // 0 when there is none
    double master_bpm = 0, master_phase = 0;
    bool air_known = false;            // someone tells what is on air; else nothing is dimmed
    std::vector<deck_picture> decks;   // in the order of a mixer's channels
    std::vector<std::string> devices;  // what else is on the network
    // Shared with other pictures, as it seldom changes; never null.
    std::shared_ptr<const heard_list> history = std::make_shared<heard_list>();
};

// 3 1 2 4: the second pair stands outside the first, as decks stand around a mixer.
bool stands_left_of(int deck, int other);

phrase_place find_phrase(const deck_picture& deck);

// How far this deck's beat is ahead of the master's, in beats from -0.5 to 0.5; 0 for the master.
// False when there is nothing to compare.
bool phase_against_master(const deck_picture& deck, const set_picture& set, double& ahead);

}  // namespace monitor
