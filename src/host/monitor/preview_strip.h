#pragma once

// The whole track at a glance: its preview waveform, what stands above it and below it.
//
// The part that has been played is dark, as on the players. Pure functions; each draws into an
// area of one row, the waveform into one of any height.

#include "host/monitor/canvas.h"
#include "host/monitor/picture.h"
#include "host/monitor/view.h"

namespace monitor {

void draw_preview(const area& on, const deck_picture& deck, const view& how);

// Hot cues as letters in their colour, memory points as triangles, loops as lines.
void draw_preview_cues(const area& row, const deck_picture& deck);

// A tick a minute, with its number where there is room.
void draw_minutes(const area& row, const deck_picture& deck);

// The cell of a time in a strip of this width; -1 when time or length are unknown.
int strip_cell(double ms, double duration_ms, int width);

}  // namespace monitor
