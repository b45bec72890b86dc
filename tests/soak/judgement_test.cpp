// The judge of the long night has to see what it is there for.

#include "judgement.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using soak::sample;

// A night of 400 samples that holds what the function says at each second.
soak::record night(sample (*holds)(double s)) {
    constexpr int seconds = 400;
    soak::record seen;
    for (int s = 0; s < seconds; ++s) {
        sample at = holds(s);
        at.at = s;
        seen.samples.push_back(at);
        if (s % 100 == 99) seen.calms.push_back(at);
    }
    return seen;
}

TEST(judgement, finds_what_grows) {
    struct row {
        const char* what;
        sample (*holds)(double s);
        const char* fault;  // null for none
    };
    const row rows[] = {
        {"flat",
         [](double) {
             return sample{0, 50, 20, 8};
         },
         nullptr},
        {"a long warm-up",
         [](double s) {
             return sample{0, 50 + 40 * std::min(s, 100.0) / 100, 20, 8};
         },
         nullptr},
        {"saws of memory, with one more descriptor",
         [](double s) {
             return sample{0, 50 + std::fmod(s, 7), 20 + long(s) % 9 / 8, 8};
         },
         nullptr},
        {"memory is lost",
         [](double s) {
             return sample{0, 50 + s / 20, 20, 8};
         },
         "it grew from 57.5 to 67.5 MiB, where 6.0 more are allowed"},
        {"a descriptor is lost every minute",
         [](double s) {
             return sample{0, 50, 20 + long(s) / 60, 8};
         },
         "it held 26 descriptors in a calm moment, earlier 23"},
        {"a burst of threads",
         [](double s) {
             return sample{0, 50, 20, s > 300 && s < 310 ? 30 : 8};
         },
         "it held 30 threads at most, earlier 8"},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        const auto faults = soak::faults_of("it", night(r.holds), true);
        ASSERT_EQ(faults.size(), r.fault == nullptr ? 0 : 1) << testing::PrintToString(faults);
        if (r.fault != nullptr) {
            EXPECT_EQ(faults[0], r.fault);
        }
    }
}

}  // namespace
