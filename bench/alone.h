#pragma once

// What the programs share that measure by themselves, beside Google Benchmark's: an end with a
// reason, and how latencies are told.

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <vector>

[[noreturn]] inline void bench_fail(const char* why) {
    std::fprintf(stderr, "%s: %s\n", program_invocation_short_name, why);
    std::_Exit(1);
}

// Prints a line: what, the median of the times in s, the far percentiles, the largest and the mean.
inline void bench_tell(const char* what, std::vector<double> times) {
    if (times.empty()) bench_fail("nothing was measured");
    std::sort(times.begin(), times.end());
    const auto us_at = [&](double share) {
        return 1e6 * times[std::min(times.size() - 1, size_t(share * double(times.size())))];
    };
    const double sum = std::accumulate(times.begin(), times.end(), 0.0);
    std::printf("%s median %.1f us p90 %.1f us p99 %.1f us max %.1f us mean %.1f us\n", what,
                us_at(0.5), us_at(0.9), us_at(0.99), us_at(1), 1e6 * sum / double(times.size()));
}
