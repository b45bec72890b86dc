#pragma once

// Random numbers that are the same on every machine and with every library.
//
// splitmix64: a counter through a mixing function, so the n-th number of a stream can also be
// had directly, without drawing those before it. Pure, any thread.

#include <cstdint>

namespace bridge_sim {

constexpr uint64_t golden_step = 0x9E3779B97F4A7C15u;

// Spreads the bits of a number over all 64.
constexpr uint64_t mix_bits(uint64_t x) {
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9u;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBu;
    return x ^ (x >> 31);
}

// One number for a place in a stream, for draws that must not depend on those before them.
constexpr uint64_t hash_of(uint64_t seed, uint64_t a, uint64_t b = 0) {
    return mix_bits(mix_bits(seed + golden_step * (a + 1)) + golden_step * (b + 1));
}

// 0 up to but not including 1.
constexpr double unit_of(uint64_t bits) {
    constexpr double unit = 1.0 / 9007199254740992.0;  // 2^-53
    return double(bits >> 11) * unit;
}

struct random_source {
    explicit constexpr random_source(uint64_t seed) : state(mix_bits(seed + golden_step)) {}

    constexpr uint64_t next() { return mix_bits(state += golden_step); }

    // lo to hi, both included. Needs lo <= hi.
    constexpr int between(int lo, int hi) { return lo + int(next() % uint64_t(hi - lo + 1)); }

    constexpr double unit() { return unit_of(next()); }

    uint64_t state;
};

}  // namespace bridge_sim
