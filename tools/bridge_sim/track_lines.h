#pragma once

// Lines that come with a loaded track: its id, the metadata, and its blobs in parts.
// Pure, any thread.

#include "bridge_sim/recorder.h"

namespace bridge_sim {

void add_track_lines(const set_plan& plan, line_list& lines);

}  // namespace bridge_sim
