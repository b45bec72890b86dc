#pragma once

// A track that was never recorded: its structure, its grid, and how loud it is at any moment.
//
// Everything that the simulator tells of a track is worked out of this one record, so waveform,
// grid, cues, phrases and the sound of the line input agree. Pure, any thread.

#include <cstdint>
#include <string>
#include <vector>

namespace bridge_sim {

enum class section_kind { intro, verse, buildup, drop, pause, outro };

// Beats count from 1; end_beat is the first beat behind the section.
struct section {
    section_kind kind;
    int first_beat;
    int end_beat;
};

enum class wave_style { blue, rgb, three_band };
enum class cue_layout { nexus, ext };
enum class phrase_form { none, plain, masked };

// How much of each band is heard, 0 to 1.
struct band_levels {
    double low, mid, high;
};

struct track_tags {
    std::string title, artist, album, genre, key, comment;  // UTF-8
    int year = 0;
    int rating = 0;  // stars, 0 to 5
};

struct track_model {
    int beats() const { return int(beat_us.size()); }

    // Time of a beat in us from the start of the track; one beat past the last is the end.
    int64_t time_of(int beat) const;

    // Tempo at a beat, hundredths of a beat a minute.
    int tempo_at(int beat) const;

    const section& section_at(int beat) const;

    // First section of a kind at or behind a beat, or null.
    const section* next_section(section_kind kind, int beat) const;

    band_levels levels_at(int64_t us) const;

    std::string id;  // player:slot:number
    track_tags tags;
    uint64_t seed = 0;
    wave_style style = wave_style::three_band;
    cue_layout cues = cue_layout::ext;
    phrase_form phrases = phrase_form::plain;
    int mood = 1;  // 1 high, 2 mid, 3 low
    std::vector<section> sections;
    std::vector<int64_t> beat_us;  // beat b stands at index b - 1
    std::vector<int> bpm_x100;
    int64_t length_us = 0;
};

// What tells one track of a set from the next.
struct track_wish {
    uint64_t seed = 0;
    int number = 0;  // place in the set, from 0
    int player = 1;  // whose stick it comes from
    int bpm_x100 = 12500;
};

track_model make_track(const track_wish& wish);

}  // namespace bridge_sim
