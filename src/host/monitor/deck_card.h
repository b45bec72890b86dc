#pragma once

// A deck as one card: who plays what, how fast, where in the track, and what comes next.
//
// The card takes what space it gets: the most important rows first, a taller preview with what
// is left. Pure.

#include "host/monitor/canvas.h"
#include "host/monitor/picture.h"
#include "host/monitor/view.h"

namespace monitor {

void draw_card(const area& on, const deck_picture& deck, const set_picture& set, const view& how);

}  // namespace monitor
