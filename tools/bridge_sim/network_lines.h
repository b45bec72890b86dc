#pragma once

// Lines about the bridge itself, the devices on its network and their media. Pure, any thread.

#include "bridge_sim/recorder.h"

namespace bridge_sim {

void add_network_lines(const set_plan& plan, line_list& lines);

}  // namespace bridge_sim
