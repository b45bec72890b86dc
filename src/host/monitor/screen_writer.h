#pragma once

// The bytes that turn what a terminal shows into the next picture: changed cells only.
//
// Pure; the terminal's own thread writes the result. The terminal has automatic line wrap turned
// off, so a glyph in the last column does not scroll.

#include <string>

#include "host/monitor/canvas.h"
#include "host/monitor/color.h"

namespace monitor {

// Empty when nothing changed for the eye. A `shown` of another size than `next` stands for an
// unknown screen: it is cleared, and everything is written.
std::string screen_update(const canvas& shown, const canvas& next, color_depth depth);

}  // namespace monitor
