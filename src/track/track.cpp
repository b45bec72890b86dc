#include "track/track.h"

#include <array>
#include <utility>

#include "track/sections.h"

namespace deckbus {
namespace {

struct blob_kind {
    std::string_view name;
    void (*store)(track& t, bytes&& data, std::string_view fmt, int32_t count);
};

void store_art(track& t, bytes&& data, std::string_view, int32_t) {
    t.art = std::move(data);
}

void store_grid(track& t, bytes&& data, std::string_view, int32_t) {
    t.grid = decode_grid(data);
    t.has_grid = true;
    t.update_phrases();
}

void store_preview(track& t, bytes&& data, std::string_view fmt, int32_t) {
    t.preview = decode_waveform(data, fmt, false);
}

void store_detail(track& t, bytes&& data, std::string_view fmt, int32_t) {
    t.detail = decode_waveform(data, fmt, true);
    t.update_phrases();
}

void store_cues(track& t, bytes&& data, std::string_view fmt, int32_t count) {
    t.cues = decode_cues(data, fmt, count);
    t.has_cues = true;
}

void store_phrases(track& t, bytes&& data, std::string_view, int32_t) {
    t.rb_phrases = decode_phrases(data, t.mood);
    t.update_phrases();
}

constexpr std::array<blob_kind, 6> blob_kinds = {{{"art", store_art},
                                                  {"grid", store_grid},
                                                  {"wfp", store_preview},
                                                  {"wfd", store_detail},
                                                  {"cues", store_cues},
                                                  {"phrase", store_phrases}}};

const char* mood_name(int32_t mood) {
    switch (mood) {
    case 1: return "high";
    case 2: return "mid";
    case 3: return "low";
    default: return nullptr;
    }
}

json style_of(const waveform& wave) {
    return wave.columns > 0 ? json(wave.style_name()) : json();
}

json cues_json(const track& t) {
    if (!t.has_cues) return nullptr;
    json list = json::array();
    for (const cue& point : t.cues) list.push_back(point.to_json());
    return list;
}

json phrase_json(const phrase& part, const track& t, double duration_ms) {
    json out = {{"beat", part.beat},
                {"endBeat", part.end_beat},
                {"name", part.name},
                {"group", part.group}};
    if (part.detected) out["detected"] = true;
    if (t.has_grid) {
        // The last phrase ends behind the last beat, where the grid knows no time.
        const bool in_grid = part.end_beat <= int64_t(t.grid.beats());
        out["ms"] = t.grid.time_of(part.beat);
        out["endMs"] = in_grid ? t.grid.time_of(part.end_beat) : duration_ms;
    }
    return out;
}

json phrases_json(const track& t, double duration_ms) {
    json list = json::array();
    for (const phrase& part : t.phrases) list.push_back(phrase_json(part, t, duration_ms));
    return list;
}

}  // namespace

bool track::store_blob(std::string_view kind, bytes data, std::string_view fmt, int32_t count) {
    for (const blob_kind& known : blob_kinds) {
        if (known.name != kind) continue;
        known.store(*this, std::move(data), fmt, count);
        return true;
    }
    return false;
}

void track::update_phrases() {
    if (rb_phrases.empty()) {
        phrases = has_grid ? detect_sections(grid, detail) : std::vector<phrase>();
        phrases_from = phrases.empty() ? "" : "waveform";
    } else {
        phrases = has_grid ? find_buildups(rb_phrases, grid, detail) : rb_phrases;
        phrases_from = "rekordbox";
    }
}

double track::duration_ms() const {
    if (detail.columns > 0) return detail.columns * 1000.0 / detail_columns_per_s;
    return number(meta, "dur", 0) * 1000.0;
}

json track::info(bool full) const {
    const double duration = duration_ms();
    json out = meta.is_object() ? meta : json::object();
    out["complete"] = complete;
    if (!error.empty()) out["error"] = error;
    out["durationMs"] = duration;
    out["preview"] = style_of(preview);
    out["detail"] = style_of(detail);
    out["beats"] = grid.beats();
    if (full) out["cues"] = cues_json(*this);
    if (!phrases.empty()) {
        out["phrases"] = phrases_json(*this, duration);
        out["phrasesFrom"] = phrases_from;
        if (const char* name = mood_name(mood)) out["mood"] = name;
    }
    out["hasArt"] = !art.empty();
    out["rev"] = rev;
    return out;
}

}  // namespace deckbus
