#pragma once

// The connection in one line, the keys in another, and the help. Pure functions.

#include "host/monitor/canvas.h"
#include "host/monitor/picture.h"
#include "host/monitor/view.h"

namespace monitor {

void draw_status(const area& row, const set_picture& set, const view& how);

// `hidden` decks have no room on this screen.
void draw_footer(const area& row, const view& how, int hidden);

// The keys and marks explained, in the middle of the area.
void draw_help(const area& on);

}  // namespace monitor
