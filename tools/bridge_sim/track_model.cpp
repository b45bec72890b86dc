#include "bridge_sim/track_model.h"

#include <algorithm>
#include <cassert>
#include <span>

#include "bridge_sim/random_source.h"
#include "bridge_sim/track_names.h"

namespace bridge_sim {

namespace {

struct plan_row {
    section_kind kind;
    int bars;
};

using enum section_kind;

// Short tracks: a drop every half minute, and an outro as long as the mix into the next track.
constexpr plan_row plan_two_drops[] = {{intro, 8},   {drop, 8}, {pause, 2},
                                       {buildup, 6}, {drop, 8}, {outro, 8}};
constexpr plan_row plan_early_rise[] = {{intro, 4},   {buildup, 4}, {drop, 8}, {pause, 4},
                                        {buildup, 4}, {drop, 4},    {outro, 8}};
constexpr plan_row plan_late_drop[] = {{intro, 8},   {drop, 4}, {pause, 4},
                                       {buildup, 4}, {drop, 8}, {outro, 4}};
constexpr plan_row plan_with_verse[] = {{intro, 4}, {verse, 4},   {buildup, 4}, {drop, 8},
                                        {pause, 4}, {buildup, 4}, {drop, 4},    {outro, 8}};

std::span<const plan_row> plan_of(int number) {
    switch (number % 4) {
    case 0: return plan_two_drops;
    case 1: return plan_early_rise;
    case 2: return plan_late_drop;
    default: return plan_with_verse;
    }
}

// Every way in which tracks are analysed comes up within six of them. Sections are detected only
// where no phrases are stored, and never in a blue waveform.
struct analysis {
    wave_style style;
    cue_layout cues;
    phrase_form phrases;
    int mood;
};

constexpr analysis analyses[] = {
    {wave_style::three_band, cue_layout::ext, phrase_form::masked, 1},
    {wave_style::rgb, cue_layout::ext, phrase_form::none, 1},
    {wave_style::blue, cue_layout::nexus, phrase_form::plain, 2},
    {wave_style::three_band, cue_layout::nexus, phrase_form::none, 1},
    {wave_style::rgb, cue_layout::ext, phrase_form::masked, 3},
    {wave_style::three_band, cue_layout::ext, phrase_form::plain, 2},
};

void lay_sections(track_model& track, std::span<const plan_row> plan) {
    int beat = 1;
    for (const plan_row& row : plan) {
        track.sections.push_back({row.kind, beat, beat + row.bars * 4});
        beat += row.bars * 4;
    }
}

// Every fifth track speeds up by one beat a minute at its last drop, as live recordings do.
void lay_grid(track_model& track, const track_wish& wish) {
    constexpr int64_t us_per_minute_x100 = 6'000'000'000;
    constexpr int64_t tail_us = 400'000;
    const int beats = track.sections.back().end_beat - 1;
    const int faster_from = wish.number % 5 == 3 ? track.sections.end()[-2].first_beat : beats + 1;
    int64_t t = 20'000 + int64_t(track.seed % 60) * 1000;
    for (int beat = 1; beat <= beats; beat++) {
        const int bpm_x100 = wish.bpm_x100 + (beat >= faster_from ? 100 : 0);
        track.beat_us.push_back(t);
        track.bpm_x100.push_back(bpm_x100);
        t += us_per_minute_x100 / bpm_x100;
    }
    track.length_us = t + tail_us;
}

}  // namespace

track_model make_track(const track_wish& wish) {
    track_model track;
    track.seed = hash_of(wish.seed, uint64_t(wish.number), 1);
    track.id = std::to_string(wish.player) + ":3:" + std::to_string(101 + 7 * wish.number);
    track.tags = invent_tags(track.seed, wish.number);
    const analysis& a = analyses[size_t(wish.number) % std::size(analyses)];
    track.style = a.style;
    track.cues = a.cues;
    track.phrases = a.phrases;
    track.mood = a.mood;
    lay_sections(track, plan_of(wish.number));
    lay_grid(track, wish);
    return track;
}

int64_t track_model::time_of(int beat) const {
    assert(beat >= 1 && beat <= beats() + 1);
    if (beat <= beats()) return beat_us[size_t(beat - 1)];
    return 2 * beat_us.back() - beat_us[beat_us.size() - 2];
}

int track_model::tempo_at(int beat) const {
    return bpm_x100[size_t(std::clamp(beat, 1, beats()) - 1)];
}

const section& track_model::section_at(int beat) const {
    for (const section& s : sections) {
        if (beat < s.end_beat) return s;
    }
    return sections.back();
}

const section* track_model::next_section(section_kind kind, int beat) const {
    for (const section& s : sections) {
        if (s.kind == kind && s.first_beat >= beat) return &s;
    }
    return nullptr;
}

}  // namespace bridge_sim
