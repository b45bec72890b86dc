#include "host/monitor/track_ledger.h"

#include <algorithm>
#include <set>

#include "host/monitor/format.h"
#include "host/monitor/terminal_text.h"

namespace monitor {

namespace {

std::string counted(size_t n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

}  // namespace

void track_ledger::follow(const deckbus::event_queue& events, deckbus::session& session) {
    std::set<std::string> touched;
    for (const deckbus::event& e : events) {
        if (e.kind == "meta" || e.kind == "trackdata") {
            touched.emplace(deckbus::text(e.data, "id"));
        }
    }
    if (touched.empty()) return;
    tvr_lock hold(session.mutex);
    for (const std::string& id : touched) {
        if (const deckbus::track* t = std::as_const(session.state.store).find(id)) note(id, *t);
    }
}

void track_ledger::note(const std::string& id, const deckbus::track& t) {
    auto known =
        std::find_if(all.begin(), all.end(), [&](const ledger_entry& e) { return e.id == id; });
    if (known == all.end()) {
        if (all.size() == max_entries) all.pop_front();
        known = all.insert(all.end(), ledger_entry{});
    }
    *known = {id,
              std::string(deckbus::text(t.meta, "title")),
              std::string(deckbus::text(t.meta, "artist")),
              t.grid.beats(),
              t.cues.size(),
              t.phrases.size(),
              t.phrases_from};
}

std::string ledger_text(const ledger_entry& e) {
    std::string line = e.id + "  " + (e.title.empty() ? "(no title)" : e.title);
    if (!e.artist.empty()) line += " - " + e.artist;
    line += ": " + counted(e.beats, "beat", "beats") + ", " + counted(e.cues, "cue", "cues") +
            ", " + counted(e.phrases, "phrase", "phrases");
    if (!e.phrases_from.empty()) line += " (" + e.phrases_from + ")";
    return safe_text(line);
}

}  // namespace monitor
