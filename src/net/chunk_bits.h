#pragma once

// A set of chunk indices: a bit for each, with the lowest and highest that is set.
//
// Thread: the owner's.

#include <cstddef>
#include <cstdint>
#include <vector>

class tvrnet_chunk_bits {
public:
    static constexpr size_t none = SIZE_MAX;

    // Room for so many chunks, none of them in the set.
    void reset(size_t chunks);

    bool has(size_t index) const { return (words[index / 64] >> (index % 64) & 1) != 0; }
    void add(size_t index) { words[index / 64] |= uint64_t(1) << (index % 64); }
    void remove(size_t index) { words[index / 64] &= ~(uint64_t(1) << (index % 64)); }

    // Adds first to last; the caller has clipped them to the room.
    void add_range(size_t first, size_t last);

    // The first index at or above `from` that is in the set, or that is not; `none` without one.
    size_t next_in(size_t from) const { return next(from, 0); }
    size_t next_out(size_t from) const { return next(from, ~uint64_t(0)); }

    size_t size() const { return count; }

private:
    size_t next(size_t from, uint64_t flip) const;

    std::vector<uint64_t> words;  // never shrinks
    size_t count = 0;
};
