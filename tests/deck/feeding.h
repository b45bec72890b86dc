#pragma once

// What the tests of the decks share: a state that is fed by short calls, and its events as text.

#include <string>
#include <vector>

#include "deck/state.h"

namespace deckbus::test {

// Lines arrive at the time given, without the bridge's clock.
inline bool feed(state& s, const std::string& line, double t = 1.0) {
    return s.feed(line, t, false);
}

// The kinds of the events since the last call, joined by blanks.
inline std::string kinds(state& s) {
    std::string out;
    for (const event& e : s.take_events()) out += (out.empty() ? "" : " ") + e.kind;
    return out;
}

// "kind payload" of the events since the last call; of one kind only if it is given.
inline std::vector<std::string> told(state& s, const std::string& kind = "") {
    std::vector<std::string> out;
    for (const event& e : s.take_events()) {
        if (kind.empty() || e.kind == kind) out.push_back(e.kind + " " + e.data.dump());
    }
    return out;
}

}  // namespace deckbus::test
