#pragma once

// A cover for a track that has none: colours and shapes drawn from the track's number.
// Pure but for libjpeg's own allocations, any thread.

#include <cstdint>

#include "bridge_sim/byte_writer.h"

namespace bridge_sim {

// A JPEG of 240 by 240 pixels. The picture is the same everywhere; its bytes may differ between
// versions of libjpeg.
bytes draw_cover(uint64_t seed);

}  // namespace bridge_sim
