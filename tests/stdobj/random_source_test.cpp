// The generator behind std.random.

#include "stdobj/random_source.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace {

constexpr int64_t lowest = std::numeric_limits<int64_t>::min();
constexpr int64_t highest = std::numeric_limits<int64_t>::max();

TEST(random_source, gives_the_numbers_of_its_kind) {
    tvr_random_source source(0);
    for (const uint64_t expected : {11091344671253066420U, 13793997310169335082U,
                                    1900383378846508768U, 7684712102626143532U}) {
        EXPECT_EQ(source.next(), expected);
    }
    source.seed(0);
    EXPECT_EQ(source.next(), 11091344671253066420U) << "a seed begins anew";
}

TEST(random_source, stays_inside_of_its_bounds_and_meets_both) {
    struct row {
        int64_t lo, hi;
    };
    const row rows[] = {{0, 0}, {1, 6}, {-3, 3}, {lowest, lowest + 1}, {highest - 2, highest}};
    for (const row& r : rows) {
        SCOPED_TRACE(r.lo);
        tvr_random_source source(7);
        bool met_lo = false, met_hi = false;
        for (int i = 0; i < 1000; ++i) {
            const int64_t drawn = source.between(r.lo, r.hi);
            ASSERT_GE(drawn, r.lo);
            ASSERT_LE(drawn, r.hi);
            met_lo = met_lo || drawn == r.lo;
            met_hi = met_hi || drawn == r.hi;
        }
        EXPECT_TRUE(met_lo && met_hi);
    }
    tvr_random_source source(7);
    bool negative = false, positive = false;
    for (int i = 0; i < 100; ++i) {
        (source.between(lowest, highest) < 0 ? negative : positive) = true;
        const double unit = source.unit();
        EXPECT_GE(unit, 0.0);
        EXPECT_LT(unit, 1.0);
    }
    EXPECT_TRUE(negative && positive);
}

}  // namespace
