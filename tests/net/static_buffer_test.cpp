// Buffers that a node offers and its peers write into.

#include "net/static_buffer.h"

#include <gtest/gtest.h>

#include <random>

#include "sim_node.h"

using namespace net_test;

namespace {

TEST(static_buffer, only_what_changed_travels) {
    tvrnet_static_buffer image("x", 10);
    const std::vector<uint8_t> zeros(10), part = {0, 1, 2};
    EXPECT_TRUE(image.write(0, zeros));
    EXPECT_FALSE(image.dirty());
    EXPECT_TRUE(image.write(4, part));
    std::vector<uint8_t> bytes = image.take_dirty_part(3);
    tvrnet_kv_reader record(bytes);
    EXPECT_EQ(record.read_int32("idx"), 3);
    EXPECT_EQ(record.read_int32("offset"), 5) << "the first byte was 0 before";
    ASSERT_TRUE(record.read_key("data"));
    EXPECT_EQ(std::vector<uint8_t>(record.value.begin(), record.value.end()),
              (std::vector<uint8_t>{1, 2}));
    EXPECT_FALSE(image.dirty());
    EXPECT_FALSE(image.write(8, part)) << "past the end";
    EXPECT_TRUE(image.write(7, part)) << "up to the end";
}

TEST(static_buffer, parts_that_do_not_fit_change_nothing) {
    tvrnet_offered_buffers offered;
    ASSERT_EQ(offered.offer("x", 10), 0U);
    EXPECT_EQ(offered.offer("large", tvrnet_offered_buffers::max_bytes + 1), SIZE_MAX);
    struct row {
        const char* what;
        int32_t index, offset;
        size_t size;
        bool ok;
    };
    const row rows[] = {
        {"whole", 0, 0, 10, true},
        {"to the end", 0, 7, 3, true},
        {"nothing at the end", 0, 10, 0, true},
        {"one too many", 0, 7, 4, false},
        {"behind the end", 0, 11, 0, false},
        {"no such buffer", 1, 0, 1, false},
        {"below 0", -1, 0, 1, false},
        {"offset below 0", 0, -1, 1, false},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        tvrnet_kv_writer w;
        w.add_bytes("data", std::vector<uint8_t>(r.size, 7));
        w.add_int32("offset", r.offset);
        w.add_int32("idx", r.index);
        tvrnet_kv_reader record(w.data);
        EXPECT_EQ(offered.take_part(record), r.ok);
    }
}

TEST(static_buffer, a_peer_lists_no_more_than_can_be_kept) {
    tvrnet_offered_buffers offered;
    for (int i = 0; i < 20; i++) {
        offered.offer("buffer " + std::to_string(i), tvrnet_offered_buffers::max_bytes);
    }
    std::vector<uint8_t> listing = offered.listing();
    EXPECT_EQ(tvrnet_read_listing(listing).size(),
              tvrnet_offered_buffers::max_image_bytes / tvrnet_offered_buffers::max_bytes);
}

TEST(static_buffer, an_image_reaches_its_owner_through_loss) {
    for (uint64_t seed = 1; seed <= 50; seed++) {
        SCOPED_TRACE(seed);
        sim_pair pair(seed, {.loss = 0.2, .delay_ms = 1, .jitter_ms = 3});
        ASSERT_EQ(pair.b.offered.offer("lights", 5000), 0U);
        ASSERT_EQ(pair.b.offered.offer("none", 0), 1U);
        ASSERT_TRUE(pair.meet());
        const auto b = pair.a.peer(pair.b.mac());
        ASSERT_TRUE(pair.until(30000, [&] { return b->static_buffers.size() == 2; }));
        EXPECT_EQ(b->static_buffers[0].name, "lights");
        std::mt19937_64 random(seed);
        for (int n = 0; n < 40; n++) {
            const std::vector<uint8_t> part(random() % 400, uint8_t(n + 1));
            EXPECT_TRUE(b->static_buffers[0].write(random() % 4600, part));
            pair.run(random() % 4);
        }
        const auto same = [&] {
            const auto image = b->static_buffers[0].data();
            return std::equal(image.begin(), image.end(), pair.b.offered.buffers[0].data.begin());
        };
        EXPECT_TRUE(pair.until(30000, [&] { return same() && b->must_wait(); }));
        pair.run(100);
        EXPECT_TRUE(same());
    }
}

}  // namespace
