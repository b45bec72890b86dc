#pragma once

// The last events and the set list, newest at the bottom. Pure functions.

#include "host/monitor/canvas.h"
#include "host/monitor/picture.h"
#include "host/monitor/view.h"

namespace monitor {

void draw_events(const area& on, const view& how);

void draw_history(const area& on, const heard_list& history);

}  // namespace monitor
