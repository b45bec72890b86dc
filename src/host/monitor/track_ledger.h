#pragma once

// Every track of the session, also those that the state has forgotten meanwhile, for the summary.
//
// Follows the events; bounded, the oldest go. Belongs to the monitor's thread.

#include <cstddef>
#include <deque>
#include <string>

#include "deck/session.h"

namespace monitor {

struct ledger_entry {
    std::string id, title, artist;
    size_t beats = 0, cues = 0, phrases = 0;
    std::string phrases_from;  // "rekordbox", "waveform" or empty
};

class track_ledger {
public:
    static constexpr size_t max_entries = 2000;

    // Notes the tracks that these events tell of, as they stand in the state now.
    void follow(const deckbus::event_queue& events, deckbus::session& session)
        TVR_EXCLUDES(session.mutex);

    // In the order in which they came first.
    const std::deque<ledger_entry>& entries() const { return all; }

private:
    void note(const std::string& id, const deckbus::track& t);

    std::deque<ledger_entry> all;
};

// "id  title - artist: 368 beats, 4 cues, 19 phrases (rekordbox)"
std::string ledger_text(const ledger_entry& e);

}  // namespace monitor
