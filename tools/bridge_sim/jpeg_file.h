#pragma once

// Pixels as a JPEG file in memory, by libjpeg. Any thread.

#include <cstdint>
#include <span>

#include "bridge_sim/byte_writer.h"

namespace bridge_sim {

// 3 bytes a pixel, red first, rows from the top. Ends the program when memory
// runs out.
bytes encode_jpeg(std::span<const uint8_t> pixels, int width, int height);

}  // namespace bridge_sim
