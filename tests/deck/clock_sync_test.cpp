#include "deck/clock_sync.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

using deckbus::clock_sync;

namespace {

// One update whose offset is `offset`, at host time `host`.
bool update(clock_sync& clock, double host, double offset) {
    return clock.update(host, int64_t((host - offset) * 1000000.0));
}

TEST(clock_sync, keeps_the_fastest_line_of_the_window) {
    clock_sync clock;
    update(clock, 100.0, 5);
    update(clock, 100.1, 3);
    update(clock, 100.2, 4);
    ASSERT_EQ(clock.samples.size(), 2u);
    EXPECT_DOUBLE_EQ(clock.samples[0].offset, 3);
    EXPECT_DOUBLE_EQ(clock.to_host(1000000), 4.0);

    update(clock, 130.05, 4.5);  // 29.95 s later: the fastest still counts
    EXPECT_DOUBLE_EQ(clock.to_host(0), 3);
    update(clock, 131.1, 6);  // 31 s later it does not, nor does the second one: 4.5 is left
    EXPECT_NEAR(clock.to_host(0), 4.5, 1e-6);
}

TEST(clock_sync, tells_a_restart_from_lines_out_of_order) {
    constexpr int64_t most = std::numeric_limits<int64_t>::max();
    constexpr int64_t least = std::numeric_limits<int64_t>::min();
    struct row {
        const char* what;
        int64_t before, us;
        bool restarted;
    };
    const row rows[] = {
        {"forward", 5000000, 6000000, false},
        {"back by exactly a second", 5000000, 4000000, false},
        {"back by a microsecond more", 5000000, 3999999, true},
        {"back to the start", 5000000, 0, true},
        {"from one end of the range to the other", most, least, true},
        {"negative, however far back", -5, least, false},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        clock_sync clock;
        clock.update(1.0, r.before);
        EXPECT_EQ(clock.update(1.1, r.us), r.restarted);
        EXPECT_EQ(clock.last_us, r.restarted ? r.us : std::max({r.before, r.us, int64_t(-1)}));
        EXPECT_EQ(clock.samples.back().host, 1.1);
    }
}

TEST(clock_sync, remembers_the_bridge_over_a_break) {
    clock_sync clock;
    clock.update(1.0, 9000000);
    clock.reset();
    EXPECT_TRUE(clock.samples.empty());
    EXPECT_TRUE(clock.update(20.0, 100));
}

}  // namespace
