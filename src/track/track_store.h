#pragma once

// The tracks that a connection remembers: bounded, and never without one that a deck has loaded.
//
// The store does not know the decks. Where it matters which tracks are loaded, the caller hands
// in their ids. Locking: none inside; callers hold session::mutex. References given out stay
// valid until the next store_track().

#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "track/track.h"

namespace deckbus {

// Ids of the tracks on the decks, each once or more.
using loaded_ids = std::vector<std::string_view>;

struct track_store {
    static constexpr size_t max_tracks = 64;
    static constexpr size_t max_refetched = 1024;

    // Puts a fresh track with this metadata under id, replacing whatever was known of it. While
    // there are more than max_tracks, the track stored longest ago that is neither loaded nor
    // this one goes; when there is none, the store stays over its limit.
    track& store_track(const std::string& id, json meta, const loaded_ids& loaded);

    // The track, created with only its id as metadata when it is missing.
    track& get_track(const std::string& id, const loaded_ids& loaded);

    // The track, or null.
    const track* find(const std::string& id) const;
    track* find(const std::string& id);

    // Marks a change of the track: a new revision, higher than any other.
    int32_t touch(track& t);

    // Removes the tracks whose id begins with prefix, but those in `keep`. An empty prefix means
    // all of them, and the requests made for them.
    void forget_tracks(std::string_view prefix, const loaded_ids& keep);

    // Notes that this track is asked for once more. False if it was before: a track is asked for
    // again once, however many of its blobs fail.
    bool note_refetch(const std::string& id);

    std::map<std::string, track> tracks;  // by track id
    int32_t track_rev = 0;                // the highest revision given so far
    std::deque<std::string> track_order;  // ids, oldest store_track first
    std::set<std::string> refetched;      // ids that were asked for again

private:
    void evict(const std::string& stored, const loaded_ids& loaded);
};

}  // namespace deckbus
