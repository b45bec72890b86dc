#pragma once

// An event as one line for people. Pure function, any thread.

#include <string>

#include "deck/event.h"

namespace monitor {

// Kind and payload, without time and without line end; safe for a terminal.
std::string event_text(const deckbus::event& e);

}  // namespace monitor
