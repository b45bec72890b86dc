#include "track/track_store.h"

#include <gtest/gtest.h>

using namespace deckbus;

namespace {

std::string id_of(int n) {
    return "1:3:" + std::to_string(n);
}

TEST(track_store, evicts_the_oldest_that_is_not_loaded) {
    track_store store;
    for (int n = 1; n <= 64; ++n) store.store_track(id_of(n), {}, {});
    store.store_track(id_of(2), {}, {});  // now the youngest
    const std::string loaded = id_of(1);
    for (int n = 65; n <= 67; ++n) store.store_track(id_of(n), {}, {loaded});
    EXPECT_EQ(store.tracks.size(), 64u);
    for (int n = 1; n <= 67; ++n) EXPECT_EQ(store.find(id_of(n)) != nullptr, n < 3 || n > 5) << n;
    EXPECT_EQ(store.track_order.size(), 64u);
}

TEST(track_store, stays_over_its_limit_while_all_are_loaded) {
    track_store store;
    std::vector<std::string> ids;
    for (int n = 1; n <= 66; ++n) ids.push_back(id_of(n));
    const loaded_ids all(ids.begin(), ids.end() - 1);
    for (const std::string& id : ids) store.store_track(id, {}, all);
    EXPECT_EQ(store.tracks.size(), 66u);  // the last is not loaded, but just stored
    store.store_track(ids[0], {}, {});
    EXPECT_EQ(store.tracks.size(), 64u);
    EXPECT_TRUE(store.find(ids[0]));
    EXPECT_FALSE(store.find(ids[1]) || store.find(ids[2]));
}

TEST(track_store, revisions_rise_over_all_tracks) {
    track_store store;
    EXPECT_EQ(store.store_track("a", {{"title", "A"}}, {}).rev, 1);
    track& b = store.get_track("b", {});
    EXPECT_EQ(b.rev, 2);
    EXPECT_EQ(b.meta, json({{"id", "b"}}));
    EXPECT_EQ(store.get_track("b", {}).rev, 2);
    EXPECT_EQ(store.touch(b), 3);
    EXPECT_EQ(store.find("a")->rev, 1);
    store.find("a")->has_cues = true;
    EXPECT_FALSE(store.store_track("a", {}, {}).has_cues);
    EXPECT_EQ(store.find("a")->rev, 4);
    EXPECT_EQ(store.track_order, (std::deque<std::string>{"b", "a"}));
}

TEST(track_store, forgets_by_prefix) {
    struct row {
        const char* prefix;
        loaded_ids keep;
        std::deque<std::string> left;
        std::set<std::string> refetched;
    };
    const row rows[] = {
        {"1:3:", {}, {"1:2:1", "11:3:1"}, {"1:2:1", "1:3:9"}},
        {"1:3:", {"1:3:1"}, {"1:3:1", "1:2:1", "11:3:1"}, {"1:2:1", "1:3:1", "1:3:9"}},
        {"1:3:1", {}, {"1:2:1", "1:3:2", "11:3:1"}, {"1:2:1", "1:3:9"}},
        {"1:3:111",
         {},
         {"1:3:1", "1:2:1", "1:3:2", "11:3:1", "1:3:11"},
         {"1:2:1", "1:3:1", "1:3:9"}},
        {"", {}, {}, {}},
        {"", {"1:3:1"}, {"1:3:1"}, {}},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.prefix);
        track_store store;
        for (const char* id : {"1:3:1", "1:2:1", "1:3:2", "11:3:1", "1:3:11"})
            store.store_track(id, {}, {});
        for (const char* id : {"1:3:1", "1:2:1", "1:3:9"}) store.note_refetch(id);
        store.forget_tracks(r.prefix, r.keep);
        EXPECT_EQ(store.track_order, r.left);
        EXPECT_EQ(store.tracks.size(), r.left.size());
        for (const std::string& id : r.left) EXPECT_TRUE(store.find(id)) << id;
        EXPECT_EQ(store.refetched, r.refetched);
    }
}

TEST(track_store, asks_once_and_forgets_the_gone) {
    track_store store;
    store.store_track("kept", {}, {});
    EXPECT_TRUE(store.note_refetch("kept"));
    EXPECT_FALSE(store.note_refetch("kept"));
    for (size_t n = 0; n < track_store::max_refetched; ++n)
        EXPECT_TRUE(store.note_refetch("gone " + std::to_string(n)));
    EXPECT_LE(store.refetched.size(), 2u);
    EXPECT_FALSE(store.note_refetch("kept"));
}

}  // namespace
