#include "track/track_store.h"

#include <algorithm>
#include <utility>

namespace deckbus {
namespace {

bool holds(const loaded_ids& ids, std::string_view id) {
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

}  // namespace

track& track_store::store_track(const std::string& id, json meta, const loaded_ids& loaded) {
    track fresh;
    fresh.meta = std::move(meta);
    touch(fresh);
    track& stored = tracks.insert_or_assign(id, std::move(fresh)).first->second;
    std::erase(track_order, id);
    track_order.push_back(id);
    evict(id, loaded);
    return stored;
}

void track_store::evict(const std::string& stored, const loaded_ids& loaded) {
    while (tracks.size() > max_tracks) {
        const auto oldest =
            std::find_if(track_order.begin(), track_order.end(),
                         [&](const std::string& id) { return id != stored && !holds(loaded, id); });
        if (oldest == track_order.end()) return;
        tracks.erase(*oldest);
        track_order.erase(oldest);
    }
}

track& track_store::get_track(const std::string& id, const loaded_ids& loaded) {
    if (track* known = find(id)) return *known;
    return store_track(id, {{"id", id}}, loaded);
}

const track* track_store::find(const std::string& id) const {
    const auto found = tracks.find(id);
    return found == tracks.end() ? nullptr : &found->second;
}

track* track_store::find(const std::string& id) {
    const auto found = tracks.find(id);
    return found == tracks.end() ? nullptr : &found->second;
}

int32_t track_store::touch(track& t) {
    return t.rev = ++track_rev;
}

void track_store::forget_tracks(std::string_view prefix, const loaded_ids& keep) {
    auto next = tracks.lower_bound(std::string(prefix));
    while (next != tracks.end() && next->first.starts_with(prefix)) {
        const std::string& id = next->first;
        if (holds(keep, id)) {
            ++next;
            continue;
        }
        std::erase(track_order, id);
        refetched.erase(id);
        next = tracks.erase(next);
    }
    if (prefix.empty()) refetched.clear();
}

bool track_store::note_refetch(const std::string& id) {
    if (!refetched.insert(id).second) return false;
    if (refetched.size() > max_refetched)
        std::erase_if(refetched,
                      [&](const std::string& asked) { return asked != id && !find(asked); });
    return true;
}

}  // namespace deckbus
