#pragma once

// Titles, artists and the other tags of tracks that do not exist. Pure, any thread.

#include <cstdint>

#include "bridge_sim/track_model.h"

namespace bridge_sim {

// Tags for the number-th track of a set. Titles repeat only after a few hundred tracks.
track_tags invent_tags(uint64_t seed, int number);

}  // namespace bridge_sim
