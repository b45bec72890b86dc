#pragma once

// Pools of equal elements, for one interpreter.
//
// A pool keeps chunks of 255 slots. Each element carries its slot number in one byte, so element
// to chunk is arithmetic: the chunk's base is the element's address minus slot times size. Each
// chunk knows by a bitset what is handed out and by a magic number that it is a chunk at all, so
// double frees, foreign pointers and overwritten memory are told in the log and change nothing.
//
// Static chunks construct their elements once; a freed element stays constructed and is reset by
// whoever frees it. Dynamic chunks construct at every allocation and destroy at every release.
//
// Allocating and freeing take no lock: they belong to the interpreter's owner thread or to a
// thread that holds the global lock. tvr_pool_threadsafe adds a mailbox (mailbox.h) into which
// any other thread drops what it frees; the owner empties it once a frame.
//
// Terms: T needs `uint8_t slot`, found through tvr_pool_slot(T&), 0xFF while it is not pooled.

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "runtime/memory/mailbox.h"

inline constexpr size_t tvr_chunk_slots = 255;
inline constexpr uint8_t tvr_not_pooled = 0xFF;
inline constexpr uint32_t tvr_chunk_live = 0xFFABCDEF;
inline constexpr uint32_t tvr_chunk_ending = 0xFFAB0DED;  // frees into it are ignored

// The root of all pools, as the interpreter keeps them.
class tvr_pool_base {
public:
    virtual ~tvr_pool_base() = default;

    // Takes in what foreign threads have freed. Owner thread, once a frame.
    virtual void collect_garbage() {}

    // Elements that are handed out.
    virtual size_t live() const { return 0; }
};
