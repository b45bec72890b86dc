#include "net/chunk_bits.h"

#include <algorithm>
#include <bit>

void tvrnet_chunk_bits::reset(size_t chunks) {
    count = chunks;
    const size_t needed = (chunks + 63) / 64;
    if (words.size() < needed) words.resize(needed);
    std::fill_n(words.begin(), needed, 0);
}

void tvrnet_chunk_bits::add_range(size_t first, size_t last) {
    for (size_t index = first; index <= last; index++) add(index);
}

size_t tvrnet_chunk_bits::next(size_t from, uint64_t flip) const {
    if (from >= count) return none;
    size_t word = from / 64;
    uint64_t bits = (words[word] ^ flip) & ~uint64_t(0) << (from % 64);
    while (bits == 0) {
        if (++word * 64 >= count) return none;
        bits = words[word] ^ flip;
    }
    const size_t index = word * 64 + size_t(std::countr_zero(bits));
    return index < count ? index : none;
}
