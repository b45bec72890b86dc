#pragma once

// Cues as marks in a row above a waveform. Pure functions.

#include <cstdint>

#include "host/monitor/canvas.h"
#include "track/cue.h"

namespace monitor {

color cue_color(const deckbus::cue& c);

// The letter of a hot cue, or a triangle for a memory point or loop, at x.
void draw_cue_mark(const area& row, int x, const deckbus::cue& c);

// The same, and its comment as far as the row is free.
void draw_cue_name(const area& row, int x, const deckbus::cue& c);

// The line of a loop from x to `end`; nothing for a point.
void draw_cue_span(const area& row, int64_t x, int64_t end, const deckbus::cue& c);

}  // namespace monitor
