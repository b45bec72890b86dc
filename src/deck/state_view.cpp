// The decks as JSON, with everything derived for one moment.

#include <algorithm>
#include <array>

#include "deck/state.h"

namespace deckbus {

namespace {

// Where a deck is in its track's phrases.
struct phrase_place {
    json name, group, next;  // null without one
    int32_t beats_left = -1;
    double ramp = 0;
};

phrase_place place_in_phrases(const track* loaded, const player& p, double t) {
    phrase_place place;
    if (loaded == nullptr || p.beat <= 0) return place;
    const auto& phrases = loaded->phrases;
    const auto here = std::find_if(phrases.begin(), phrases.end(), [&](const phrase& ph) {
        return ph.beat <= p.beat && p.beat < ph.end_beat;
    });
    if (here == phrases.end()) return place;

    place.name = here->name;
    place.group = here->group;
    if (here + 1 != phrases.end()) place.next = (here + 1)->name;
    place.beats_left = here->end_beat - p.beat;
    const double length = std::max(here->end_beat - here->beat, 1);
    place.ramp = std::clamp((p.beat_phase(t) + p.beat - here->beat) / length, 0.0, 1.0);
    return place;
}

std::array<float, 3> levels_at(const track* loaded, double pos) {
    constexpr int radius = 2;            // columns; 1/30 of a second in all
    constexpr double latest_ms = 1.0e9;  // beyond any waveform, and safe to turn into a column
    std::array<float, 3> levels{};
    if (loaded == nullptr || !(pos >= 0)) return levels;
    loaded->detail.levels(int(detail_column(std::min(pos, latest_ms))), radius, levels);
    return levels;
}

// How far through the track, 0 to 1; null when position or length is unknown.
json progress(const track* loaded, const player& p, double pos) {
    double duration = 0;
    if (loaded != nullptr) {
        duration = loaded->duration_ms();
    } else if (p.length_s >= 1) {
        duration = p.length_s * 1000.0;
    }
    if (!(pos >= 0) || duration <= 0) return {};
    return std::clamp(pos / duration, 0.0, 1.0);
}

json track_view(const track* loaded, const player& p) {
    if (p.track_id.empty()) return {};
    if (loaded != nullptr) return loaded->info(false);
    return {{"id", p.track_id}, {"metaExpected", p.meta_expected}};
}

}  // namespace

json state::player_json(int n, double t) const {
    const auto found = players.find(n);
    if (found == players.end()) return {};
    const player& p = found->second;
    const track* loaded = track_of(n);
    const double pos = p.position_ms(t, loaded);
    const auto levels = levels_at(loaded, pos);
    phrase_place place = place_in_phrases(loaded, p, t);

    json out = json::object();
    out["n"] = n;
    out["present"] = p.present;
    out["name"] = p.name;
    out["bpm"] = p.bpm;
    out["pitch"] = p.pitch;
    out["effectiveBpm"] = p.effective_bpm();
    out["beatInBar"] = p.beat_in_bar;
    out["beat"] = p.beat;
    out["beatPhase"] = p.beat_phase(t);
    out["barPhase"] = p.bar_phase(t);
    out["playing"] = p.playing;
    out["onAir"] = p.on_air;
    out["master"] = p.master;
    out["sync"] = p.sync;
    out["beatsToCue"] = p.beats_to_cue();
    out["cueRamp"] = p.cue_ramp(t);
    out["sinceCueMs"] = p.cue_time > 0 ? (t - p.cue_time) * 1000.0 : -1.0;
    out["positionMs"] = pos >= 0 ? json(pos) : json();
    out["lengthS"] = p.length_s;
    out["progress"] = progress(loaded, p, pos);
    out["low"] = levels[0];
    out["mid"] = levels[1];
    out["high"] = levels[2];
    out["phrase"] = std::move(place.name);
    out["phraseGroup"] = std::move(place.group);
    out["nextPhrase"] = std::move(place.next);
    out["beatsToPhrase"] = place.beats_left;
    out["phraseRamp"] = place.ramp;
    out["track"] = track_view(loaded, p);
    return out;
}

json state::master_json(double t) const {
    return master_player == 0 ? json() : player_json(master_player, t);
}

json state::snapshot(double t) const {
    json present = json::array();
    for (const auto& [n, p] : players) {
        if (p.present) present.push_back(player_json(n, t));
    }
    return {{"connected", connected},
            {"port", port},
            {"master", master_player},
            {"esp", bridge},
            {"players", std::move(present)}};
}

json state::track_json(const std::string& id) const {
    const track* known = store.find(id);
    return known == nullptr ? json() : known->info(true);
}

bool state::artwork(int n, bytes& out) const {
    const track* loaded = track_of(n);
    if (loaded == nullptr || loaded->art.empty()) return false;
    out = loaded->art;
    return true;
}

bool state::deck_texture(int n, bytes& out) const {
    const track* loaded = track_of(n);
    if (loaded == nullptr || !loaded->has_waveform()) return false;
    out = loaded->texture();
    return true;
}

json state::deck_texture_info(int n) const {
    const track* loaded = track_of(n);
    if (loaded == nullptr || !loaded->has_waveform()) return {};
    const deck_layout layout = loaded->layout();
    const waveform& shown = loaded->detail.columns >= 1 ? loaded->detail : loaded->preview;
    return {{"id", players.at(n).track_id},
            {"rev", loaded->rev},
            {"width", layout.width},
            {"height", layout.height},
            {"rows", layout.rows},
            {"detailCount", layout.detail_count},
            {"previewCount", layout.preview_count},
            {"style", shown.style_name()},
            {"previewStyle", loaded->preview.columns >= 1 ? loaded->preview.style_name() : ""},
            {"durationMs", loaded->duration_ms()}};
}

}  // namespace deckbus
