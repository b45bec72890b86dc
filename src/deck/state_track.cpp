// Tracks: what is loaded, its metadata, and its blobs.

#include "deck/state.h"

namespace deckbus {

void state::apply_loaded(const json& line, player& p, int n, double t) {
    const std::string id(text(line, "id"));
    const bool changed = id != p.track_id;
    if (changed) p.new_track();
    p.track_id = id;
    p.meta_expected = flag(line, "meta");
    if (changed) add_event("track", {{"n", n}, {"id", id.empty() ? json() : json(id)}}, t);

    if (id.empty() || !p.meta_expected || t >= info_until) return;
    const track* known = store.find(id);
    const bool wanting = known == nullptr || (!known->complete && known->error.empty());
    if (wanting) add_command("fetch " + std::to_string(n));
}

void state::apply_meta(const json& line, double t) {
    const std::string id(text(line, "id"));
    if (id.empty()) return;
    json meta = line;
    meta.erase("t");
    store_track(id, std::move(meta));
    transfers.drop_track(id);

    json holders = json::array();
    for (const auto& [n, p] : players) {
        if (p.track_id == id) holders.push_back(n);
    }
    add_event("meta",
              {{"id", id},
               {"title", text(line, "title")},
               {"artist", text(line, "artist")},
               {"players", std::move(holders)}},
              t);
}

void state::apply_meta_end(const json& line, bool complete) {
    track* known = store.find(std::string(text(line, "id")));
    if (known == nullptr) return;
    if (complete) {
        known->complete = true;
    } else {
        known->error = text(line, "msg");
    }
}

void state::apply_blob(const json& line, double t) {
    pending_blob blob;
    const auto step = transfers.open(line, t, blob);
    if (step == blob_transfers::step::ignored || step == blob_transfers::step::going_on) return;

    const std::string id(text(line, "id")), kind(text(line, "kind"));
    if (step == blob_transfers::step::finished) return finish_blob(id, kind, blob, t);
    add_event("warn", {{"msg", "Track " + id + ": " + kind + " block header invalid"}}, t);
}

void state::apply_part(const json& line, double t) {
    pending_blob blob;
    if (transfers.add_part(line, blob) != blob_transfers::step::finished) return;
    finish_blob(std::string(text(line, "id")), std::string(text(line, "kind")), blob, t);
}

void state::finish_blob(const std::string& id, const std::string& kind, pending_blob& blob,
                        double now) {
    track& t = get_track(id);
    if (!blob.good()) {
        t.error = kind + ": transfer error";
        add_event("warn", {{"msg", "Track " + id + ": " + kind + " transfer error"}}, now);
        refetch(id);
        return;
    }
    if (!t.store_blob(kind, std::move(blob.data), blob.fmt, blob.count)) return;
    const int32_t rev = store.touch(t);
    add_event("trackdata", {{"id", id}, {"kind", kind}, {"rev", rev}}, now);
}

void state::refetch(const std::string& id) {
    if (!store.note_refetch(id)) return;
    for (const auto& [n, p] : players) {
        if (p.track_id == id) return add_command("fetch " + std::to_string(n));
    }
}

const track* state::track_of(int n) const {
    const auto p = players.find(n);
    if (p == players.end() || p->second.track_id.empty()) return nullptr;
    return store.find(p->second.track_id);
}

track& state::store_track(const std::string& id, json meta) {
    return store.store_track(id, std::move(meta), loaded());
}

track& state::get_track(const std::string& id) {
    return store.get_track(id, loaded());
}

void state::forget_tracks(std::string_view prefix, bool keep_loaded) {
    store.forget_tracks(prefix, keep_loaded ? loaded() : loaded_ids{});
    transfers.drop_prefix(prefix);
}

loaded_ids state::loaded() const {
    loaded_ids ids;
    for (const auto& [n, p] : players) {
        if (!p.track_id.empty()) ids.push_back(p.track_id);
    }
    return ids;
}

}  // namespace deckbus
