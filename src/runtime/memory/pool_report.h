#pragma once

// What pools say about broken memory, all of it on the log's error level. Each points at a bug in
// native code, and none stops the host.
//
// Out of line and cold, so that the paths which find the faults stay a few instructions.

#include <cstdint>

struct tvr_pool_report {
    [[gnu::cold]] static void double_allocate();
    [[gnu::cold]] static void double_free();
    [[gnu::cold]] static void no_memory();
    [[gnu::cold]] static void chunks_left();
    [[gnu::cold]] static void wrong_magic(uint32_t found, uint32_t wanted);
    // An element with this slot number lies in no chunk of the pool.
    [[gnu::cold]] static void no_chunk_of(uint8_t slot);
    // An element lies in this chunk, and its slot number is another one than it says.
    [[gnu::cold]] static void wrong_slot(const void* element, const void* chunk, uint8_t says,
                                         uint8_t is);
    [[gnu::cold]] static void already_freed();
};
