#pragma once

// The bridge's line input: short stretches of the sound that goes out to the room.
// Pure, any thread.

#include "bridge_sim/recorder.h"

namespace bridge_sim {

void add_sound_lines(const set_plan& plan, line_list& lines);

}  // namespace bridge_sim
