#pragma once

// What a deck does at one moment of the plan. Pure, any thread.

#include <cstdint>

#include "bridge_sim/set_plan.h"

namespace bridge_sim {

struct deck_view {
    const track_model* track = nullptr;  // loaded; null for an empty deck. Lives in the plan
    bool playing = false;
    bool on_air = false;
    bool master = false;
    int beat = -1;           // within the track, -1 for an empty deck
    int cue_in = -1;         // beats to the next memory point, -1 for none in reach
    int64_t pos_us = 0;      // from the start of the track
    int pitch_x100 = 0;      // percent
    int effective_x100 = 0;  // beats a minute as heard, 0 for an empty deck
};

// Players are never exactly together: each deck lags the set's beat by so much.
int64_t deck_lag_us(int deck);

deck_view view_deck(const set_plan& plan, int deck, int64_t us);

// The view at the moment of a beat that a deck plays. The beat must lie inside one of its spans.
deck_view view_beat(const set_plan& plan, const planned_track& p, int64_t set_beat);

// The deck that leads the tempo, or 0.
int master_deck(const set_plan& plan, int64_t us);

int bar_beat(int beat);  // 1 to 4; 0 for no beat

}  // namespace bridge_sim
