#pragma once

// One player or mixer on the DJ network, and the smooth values between its beats.
//
// The bridge tells when a beat happens; visuals want phase, position and countdown at any moment.
// All functions are pure reads at a time t, in s on the steady clock.
// Locking: none inside; callers hold session::mutex.

#include <cstdint>
#include <string>

#include "track/track.h"

namespace deckbus {

inline constexpr int max_player = 64;  // players are numbered from 1
inline constexpr int32_t type_mixer = 2;
inline constexpr int32_t type_computer = 3;

struct player {
    // Tempo with pitch applied, beats a minute.
    double effective_bpm() const { return bpm * (pitch / 100.0 + 1.0); }

    // Fraction of the current beat, 0 to 0.999. A late beat holds it just short of 1 for up to
    // two beat lengths; then it rests at 0. It never wraps on its own.
    double beat_phase(double t) const;

    // Fraction of the current bar, 0 to just below 1; 0 while the place in the bar is unknown.
    double bar_phase(double t) const;

    // Beats until the next cue, or -1.
    int beats_to_cue() const;

    // Rises from 0 to 1 over the last 16 beats before a cue.
    double cue_ramp(double t) const;

    // Position in ms, or -1 when unknown: from a position line for one second, else from the
    // beat and the grid of `loaded`, which may be null.
    double position_ms(double t, const track* loaded) const;

    // Whether this is something that plays tracks, and on the network.
    bool is_deck() const { return present && type != type_mixer && type != type_computer; }

    // Forgets what belonged to the track before.
    void new_track();

    bool present = false;     // on the network; only these appear in snapshots
    std::string name;         // of the device
    int32_t type = 0;         // of the device; type_mixer for a mixer
    double bpm = 0;           // track tempo as reported, before pitch
    double pitch = 0;         // percent
    int32_t beat_in_bar = 0;  // 1 to 4 when known
    int32_t beat = -1;        // number within the track; 0 or less means unknown
    double beat_time = 0;     // s, line time of the last beat line
    bool playing = false;
    bool on_air = false;
    bool master = false;  // the player's own claim to be tempo master
    bool sync = false;
    int32_t cue_in = -1;         // last reported beats to the next cue, negative when none
    int32_t cue_beat = 0;        // beat number of the next cue, 0 when none
    int32_t cue_fired_beat = 0;  // beat of the last cue event, so that one beat fires only once
    double cue_time = 0;         // s, line time of the last cue event
    int64_t pos_ms = 0;          // from the last position line
    int32_t length_s = 0;        // track length from the last position line
    double pos_time = 0;         // s, line time of the last position line; 0 means none is fresh
    std::string track_id;        // key of the loaded track in the store, empty for none
    bool meta_expected = false;  // the bridge can get metadata for this track
};

}  // namespace deckbus
