#include "bridge_sim/deck_view.h"

#include <algorithm>
#include <vector>

#include "bridge_sim/analysis_blobs.h"

namespace bridge_sim {

namespace {

constexpr int farthest_cue = 256;

const track_model* loaded_track(const set_plan& plan, int deck, int64_t us) {
    for (const brief_load& b : plan.brief_loads) {
        if (b.deck == deck && us >= b.load_us && us < b.unload_us)
            return &plan.tracks[b.track].track;
    }
    return nullptr;
}

const planned_track* planned_on(const set_plan& plan, int deck, int64_t us) {
    for (const planned_track& p : plan.tracks) {
        if (p.deck == deck && us >= p.load_us && us < p.unload_us) return &p;
    }
    return nullptr;
}

bool contains(const beat_range& range, int64_t beat) {
    return beat >= range.from && beat < range.to;
}

int beats_to_cue(const track_model& track, int beat) {
    int nearest = farthest_cue + 1;
    for (const cue_mark& cue : cues_of(track)) {
        if (cue.hot == 0 && cue.beat >= beat) nearest = std::min(nearest, cue.beat - beat);
    }
    return nearest <= farthest_cue ? nearest : -1;
}

// Percent by which a track must be faster than it is, in hundredths, to have this tempo.
int pitch_for(int track_x100, int wanted_x100) {
    const int64_t scaled = int64_t(wanted_x100 - track_x100) * 10000;
    return int((scaled + (scaled < 0 ? -track_x100 : track_x100) / 2) / track_x100);
}

void fill_tempo(deck_view& view, int wanted_x100) {
    view.effective_x100 = wanted_x100;
    view.pitch_x100 = pitch_for(view.track->tempo_at(view.beat), wanted_x100);
}

// A deck that stands still: before its first span on that span's beat, behind its last at the end.
void stand_still(deck_view& view, const planned_track* p, const set_place& place) {
    const bool done = p != nullptr && place.beat >= p->spans.back().to;
    view.beat = p == nullptr ? 1 : done ? view.track->beats() : p->spans.front().track_beat;
    view.pos_us = done ? view.track->length_us : view.track->time_of(view.beat);
    view.cue_in = beats_to_cue(*view.track, view.beat);
    fill_tempo(view, place.bpm_x100);
}

bool play_along(deck_view& view, const planned_track& p, const set_place& place) {
    for (const play_span& span : p.spans) {
        if (place.beat < span.from || place.beat >= span.to) continue;
        view.playing = true;
        view.beat = span.track_beat + int(place.beat - span.from);
        const int64_t begin = view.track->time_of(view.beat);
        const int64_t length = view.track->time_of(view.beat + 1) - begin;
        view.pos_us = begin + int64_t(place.fraction * double(length));
        view.cue_in = beats_to_cue(*view.track, view.beat);
        fill_tempo(view, place.bpm_x100);
        return true;
    }
    return false;
}

}  // namespace

int64_t deck_lag_us(int deck) {
    return int64_t(deck * 1730 % 4100);
}

int bar_beat(int beat) {
    return beat < 1 ? 0 : (beat - 1) % 4 + 1;
}

deck_view view_deck(const set_plan& plan, int deck, int64_t us) {
    deck_view view;
    const planned_track* p = planned_on(plan, deck, us);
    view.track = p != nullptr ? &p->track : loaded_track(plan, deck, us);
    if (view.track == nullptr) return view;
    const set_place place = plan.clock.place_at(us - deck_lag_us(deck));
    if (p == nullptr || !play_along(view, *p, place)) stand_still(view, p, place);
    if (p == nullptr) return view;
    view.on_air = std::any_of(p->audible.begin(), p->audible.end(),
                              [&](const beat_range& r) { return contains(r, place.beat); });
    view.master = view.playing && contains(p->master, place.beat);
    return view;
}

deck_view view_beat(const set_plan& plan, const planned_track& p, int64_t set_beat) {
    return view_deck(plan, p.deck, plan.clock.us_of(set_beat) + deck_lag_us(p.deck));
}

int master_deck(const set_plan& plan, int64_t us) {
    for (int deck = 1; deck <= plan.wish.decks; deck++) {
        if (view_deck(plan, deck, us).master) return deck;
    }
    return 0;
}

}  // namespace bridge_sim
