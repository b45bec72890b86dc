#pragma once

// The whole picture for a screen of a given size: pure, so that it can be looked at without one.

#include "host/monitor/canvas.h"
#include "host/monitor/picture.h"
#include "host/monitor/view.h"

namespace monitor {

canvas draw_screen(const set_picture& set, const view& how, int width, int height);

}  // namespace monitor
