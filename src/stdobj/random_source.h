#pragma once

// Pseudo-random numbers that are the same on every machine: xoshiro256**, seeded by splitmix64.
//
// Not for secrets. Locking: none; one for each interpreter.

#include <array>
#include <cstdint>

class tvr_random_source {
public:
    explicit tvr_random_source(uint64_t number) { seed(number); }

    void seed(uint64_t number);
    uint64_t next();

    // 0 to below 1, in steps of 2^-53.
    double unit();

    // lo to hi, both included, each as often as the others. lo is not above hi.
    int64_t between(int64_t lo, int64_t hi);

private:
    std::array<uint64_t, 4> state{};
};
