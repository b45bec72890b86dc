#pragma once

// The small instruments of a deck: beat lights, phase meter, levels and cue countdown.
//
// Each draws into one row, on the ground that it finds there. Pure functions.

#include "host/monitor/canvas.h"
#include "host/monitor/picture.h"

namespace monitor {

// Four lights; the present beat is lit and fades towards the next, the downbeat in its own colour.
void draw_beat_lights(const area& row, const deck_picture& deck);

// How far the deck is ahead of the master: a mark right of the middle is early, left of it late.
void draw_phase_meter(const area& row, const deck_picture& deck, const set_picture& set);

// Low, mid and high side by side.
void draw_levels(const area& row, const deck_picture& deck);

// Bars and beats to the next cue, and a bar that fills over the last 16 beats.
void draw_cue_countdown(const area& row, const deck_picture& deck);

}  // namespace monitor
