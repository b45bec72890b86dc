#pragma once

// The detail waveform of a deck, moving under a playhead that stands still.
//
// A cell stands for a fixed stretch of the track, whatever the position: so the picture moves by
// whole cells, and no peak flickers in and out. Pure.

#include "host/monitor/canvas.h"
#include "host/monitor/picture.h"
#include "host/monitor/view.h"

namespace monitor {

// The first row shows the cues, the others the waveform with its beats.
void draw_detail(const area& on, const deck_picture& deck, const view& how);

}  // namespace monitor
