#include "stdobj/random_source.h"

#include <bit>

void tvr_random_source::seed(uint64_t number) {
    for (uint64_t& word : state) {
        number += 0x9E3779B97F4A7C15;
        uint64_t mixed = number;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
        word = mixed ^ (mixed >> 31);
    }
}

uint64_t tvr_random_source::next() {
    const uint64_t result = std::rotl(state[1] * 5, 7) * 9;
    const uint64_t shifted = state[1] << 17;
    state[2] ^= state[0];
    state[3] ^= state[1];
    state[1] ^= state[2];
    state[0] ^= state[3];
    state[2] ^= shifted;
    state[3] = std::rotl(state[3], 45);
    return result;
}

double tvr_random_source::unit() {
    return double(next() >> 11) * 0x1p-53;
}

int64_t tvr_random_source::between(int64_t lo, int64_t hi) {
    const uint64_t span = uint64_t(hi) - uint64_t(lo) + 1;  // 0: all 2^64 of them
    if (span == 0) return int64_t(next());
    // Numbers below the remainder would make the first results more frequent than the last.
    const uint64_t remainder = (0 - span) % span;
    uint64_t drawn = next();
    while (drawn < remainder) drawn = next();
    return int64_t(uint64_t(lo) + drawn % span);
}
