#pragma once

// An event in words for people. Pure functions, any thread.

#include <string>

#include "deck/event.h"

namespace monitor {

// The payload in words, safe for a terminal. An event of an unknown kind shows it as it is.
std::string event_words(const deckbus::event& e);

// Kind and payload as one line without its end.
std::string event_text(const deckbus::event& e);

}  // namespace monitor
