#include "bridge_sim/set_plan.h"

#include <algorithm>
#include <limits>

#include "bridge_sim/random_source.h"

namespace bridge_sim {

namespace {

constexpr int64_t first_beat_us = first_us + 4 * us_per_s;
constexpr int64_t forever_us = std::numeric_limits<int64_t>::max();
constexpr int64_t open_end = std::numeric_limits<int64_t>::max();
constexpr int lowest_tempo = 12200, highest_tempo = 13000;

// Builds the plan track by track; what the next one needs of those before it stands here.
struct planner {
    explicit planner(const record_wish& wish) : random(wish.seed) {
        plan.wish = wish;
        plan.end_us = first_us + int64_t(wish.minutes) * 60 * us_per_s;
        plan.clock = set_clock(first_beat_us, 12400 + 50 * random.between(0, 4));
    }

    void add_track();
    void lay_spans(planned_track& p) const;
    void lay_faders(planned_track& p) const;
    void hand_over(planned_track& p);
    void drift_tempo();
    void make_room(int number, planned_track& p);
    void change_mind(int number, planned_track& p);

    set_plan plan;
    random_source random;
    int64_t start = 0;    // set beat on which the next track starts
    int64_t overlap = 0;  // set beats that it shares with the track before it
};

int outro_beat(const track_model& track) {
    return track.sections.back().first_beat;
}

int64_t end_beat(const planned_track& p) {
    return p.spans.back().to;
}

// The first track enters shortly before its last drop, so that the evening begins with one. Now
// and then a break is looped once: the beat number falls and the cue comes again.
void planner::lay_spans(planned_track& p) const {
    const section& last_drop = p.track.sections.end()[-2];
    const int behind_last = p.track.beats() + 1;
    const size_t number = plan.tracks.size();
    int from_beat = number == 0 ? last_drop.first_beat - 16 : 1;
    int64_t at = start;
    const section* pause = p.track.next_section(section_kind::pause, 1);
    if (number % 4 == 2 && pause != nullptr) {
        const int64_t length = pause->end_beat - from_beat;
        p.spans.push_back({at, at + length, from_beat});
        at += length;
        from_beat = pause->end_beat - 8;
    }
    p.spans.push_back({at, at + behind_last - from_beat, from_beat});
}

// A short look with the fader, then the mix.
void planner::lay_faders(planned_track& p) const {
    if (overlap > 0) {
        p.audible.push_back({start + overlap / 8, start + overlap / 4});
        p.audible.push_back({start + overlap / 2, open_end});
    } else {
        p.audible.push_back({start - 1, open_end});
    }
    p.master = {start + overlap * 5 / 8, open_end};
}

// Closes the open ends of the track before this one.
void planner::hand_over(planned_track& p) {
    if (plan.tracks.empty()) return;
    planned_track& before = plan.tracks.back();
    before.master.to = std::min(p.master.from, end_beat(before));
    before.audible.back().to = overlap > 0 ? start + overlap * 7 / 8 : end_beat(before);
}

// The fader of the tempo moves in small steps while one track plays alone.
void planner::drift_tempo() {
    constexpr int steps = 8;
    const int64_t solo = start + overlap + 4;
    int step = random.between(0, 1) == 0 ? 15 : -15;
    if (plan.clock.tempo() + steps * step > highest_tempo) step = -15;
    if (plan.clock.tempo() + steps * step < lowest_tempo) step = 15;
    for (int i = 0; i < steps; i++) {
        plan.clock.set_tempo(solo + 2 * i, plan.clock.tempo() + step);
    }
}

// The track that had this deck goes when it has run out, and its stick may be pulled meanwhile.
void planner::make_room(int number, planned_track& p) {
    const int decks = plan.wish.decks;
    if (number < decks) {
        p.load_us = first_us + us_per_s + number * 2'600'000;
        return;
    }
    planned_track& before = plan.tracks[size_t(number - decks)];
    const int64_t run_out = plan.clock.us_of(end_beat(before));
    p.load_us = run_out + 2'500'000;
    before.unload_us = p.load_us;
    const int pull_at = decks > 1 ? decks + 1 : 1;
    if (number == pull_at) {
        before.unload_us = run_out + 500'000;
        plan.pulls.push_back({decks > 1 ? 2 : 1, run_out + 900'000, run_out + 2'200'000});
    } else if (number % 2 == 1) {
        before.unload_us = run_out + 1'200'000;
    }
    if (number % 4 == 2 && decks > 2) change_mind(number, p);
}

// The track after the next one is tried on this deck first and taken off again.
void planner::change_mind(int number, planned_track& p) {
    constexpr int64_t tried_us = 4 * us_per_s, pause_us = 800'000;
    plan.brief_loads.push_back({p.deck, size_t(number + 1), p.load_us, p.load_us + tried_us});
    p.load_us += tried_us + pause_us;
}

void planner::add_track() {
    const int number = int(plan.tracks.size());
    const int spread = 50 * random.between(-6, 6);
    planned_track p;
    p.deck = number % plan.wish.decks + 1;
    const int player = p.deck == 2 ? 2 : 1;
    const int tempo = (plan.clock.tempo() + spread + 25) / 50 * 50;
    p.track = make_track({plan.wish.seed, number, player, tempo});
    p.unload_us = forever_us;
    make_room(number, p);
    lay_spans(p);
    lay_faders(p);
    hand_over(p);
    drift_tempo();
    const int64_t outro = end_beat(p) - (p.track.beats() + 1 - outro_beat(p.track));
    const int64_t behind = end_beat(p);
    plan.tracks.push_back(std::move(p));
    if (plan.wish.decks > 1) {
        start = outro;
        overlap = behind - outro;
    } else {
        start = behind + 16;
    }
}

}  // namespace

set_plan plan_set(const record_wish& wish) {
    planner build(wish);
    // One more than is heard: a track that is tried early must exist.
    while (build.plan.tracks.empty() || build.plan.tracks.back().load_us < build.plan.end_us) {
        build.add_track();
    }
    build.add_track();
    return std::move(build.plan);
}

}  // namespace bridge_sim
