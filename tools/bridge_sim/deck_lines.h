#pragma once

// Lines about what decks and mixer do: status five times a second, position ten times, the
// faders, the mixer's tempo, and a line for every beat. Pure, any thread.

#include "bridge_sim/recorder.h"

namespace bridge_sim {

void add_deck_lines(const set_plan& plan, line_list& lines);

}  // namespace bridge_sim
