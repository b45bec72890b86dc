#pragma once

// What happens on the decks and is worth telling a listener.
//
//   kind            payload
//   "connected"     port
//   "disconnected"  port, reason
//   "restart"       nothing
//   "hello"         what the bridge says of itself
//   "beat"          n, bpm (effective), bb, beat, cue, master, air
//   "cue"           n, beat, master
//   "master"        n, 0 for none
//   "track"         n, id (null when the deck is empty)
//   "meta"          id, title, artist, players
//   "trackdata"     id, kind, rev
//   "media"         n, slot, on
//   "device"        n, on, name, type
//   "warn"          msg
//   "error"         msg
//
// Events are made on the feeding thread, wait in the state, and are copied to every listener's
// queue by session::publish(). There is none for a phrase change: that is read from player views.

#include <deque>
#include <string>

#include "track/json.h"

namespace deckbus {

struct event {
    std::string kind;
    json data;     // an object
    double t = 0;  // s, steady clock, line time at which it happened
};

using event_queue = std::deque<event>;

inline constexpr size_t max_events = 1024;      // of any queue of events; the oldest are dropped
inline constexpr size_t max_event_text = 4096;  // bytes of each text in an event; the rest is cut

}  // namespace deckbus
