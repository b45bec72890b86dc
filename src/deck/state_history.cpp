// The set list: what was really heard, in order.

#include "base/bounded.h"
#include "deck/state.h"

namespace deckbus {

namespace {

constexpr double scan_interval_s = 0.5;
constexpr double longest_step_s = 5.0;  // a longer gap is a broken link, not listening
constexpr double heard_after_s = 30.0;

bool mixer_among(const std::map<int, player>& players) {
    for (const auto& [n, p] : players) {
        if (p.present && p.type == type_mixer) return true;
    }
    return false;
}

}  // namespace

void state::scan_history(double now) {
    const double dt = now - history_scan_time;
    if (dt < scan_interval_s) return;
    history_scan_time = now;
    if (dt <= longest_step_s) {
        // With a mixer on the bus on-air flags can be trusted; without one, playing counts.
        const bool mixer_seen = mixer_among(players);
        for (const auto& [n, p] : players) {
            if (p.is_deck()) count_heard(n, p, dt, mixer_seen, now);
        }
    }
    fill_history();
}

void state::count_heard(int n, const player& p, double dt, bool mixer_seen, double now) {
    heard_track& heard = history_seen[n];
    if (heard.id != p.track_id) heard = {p.track_id};
    if (heard.id.empty() || heard.counted || !p.playing || (mixer_seen && !p.on_air)) return;

    heard.audible_s += dt;
    if (heard.audible_s < heard_after_s) return;
    heard.counted = true;
    const json info = track_json(heard.id);
    json entry = {{"t", now}, {"n", n}, {"id", heard.id}, {"bpm", p.bpm}};
    for (const char* key : {"title", "artist", "key", "genre"}) entry[key] = text(info, key);
    history.push_back(std::move(entry));
    tvr_drop_oldest(history, max_history);
    ++history_rev;
}

void state::fill_history() {
    for (json& entry : history) {
        if (!text(entry, "title").empty()) continue;
        const track* known = store.find(std::string(text(entry, "id")));
        if (known == nullptr || text(known->meta, "title").empty()) continue;
        entry["title"] = text(known->meta, "title");
        entry["artist"] = text(known->meta, "artist");
        ++history_rev;
    }
}

json state::history_json(double now) const {
    json items = json::array();
    for (const json& entry : history) items.push_back(entry);
    return {{"now", now}, {"items", std::move(items)}};
}

void state::clear_history() {
    history.clear();
    ++history_rev;
}

}  // namespace deckbus
