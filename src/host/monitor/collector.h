#pragma once

// Copies out of the state what a picture needs, holding the session's lock no longer than that.
//
// A track's waveforms are copied only when its revision has changed, and the history when its
// own has. Belongs to the monitor's thread.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "deck/session.h"
#include "host/monitor/picture.h"

namespace monitor {

class collector {
public:
    explicit collector(std::shared_ptr<deckbus::session> source) : session(std::move(source)) {}

    // The decks at the time t, in s on the steady clock.
    set_picture collect(double t);

private:
    using track_map = std::map<std::string, std::shared_ptr<const track_picture>>;

    void read_players(const deckbus::state& state, set_picture& set);
    deck_picture read_deck(const deckbus::state& state, int n, double t);
    std::shared_ptr<const track_picture> read_track(const std::string& id, const deckbus::track& t);

    std::shared_ptr<deckbus::session> session;
    track_map tracks;  // on the decks now
    std::shared_ptr<const heard_list> history = std::make_shared<heard_list>();
    int32_t history_rev = 0;  // of `history`
};

}  // namespace monitor
