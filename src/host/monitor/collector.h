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
    set_picture collect(double t) TVR_EXCLUDES(session->mutex);

private:
    using track_map = std::map<std::string, std::shared_ptr<const track_picture>>;

    void read_players(set_picture& set) TVR_REQUIRES(session->mutex);
    void read_link(link_picture& link) TVR_REQUIRES(session->mutex);
    deck_picture read_deck(int n, const deckbus::player& p, double t) TVR_REQUIRES(session->mutex);
    std::shared_ptr<const track_picture> read_track(const std::string& id, const deckbus::track& t);
    void read_history(double t) TVR_REQUIRES(session->mutex);

    std::shared_ptr<deckbus::session> session;
    track_map tracks;                 // on the decks now
    std::vector<heard_line> history;  // as of history_rev
    int32_t history_rev = -1;
};

}  // namespace monitor
