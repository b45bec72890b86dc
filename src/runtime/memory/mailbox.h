#pragma once

// What foreign threads have freed, on its way back to its owner.
//
// A ring of pointers. A writer reserves the next place by compare-and-swap on the head, and stores
// its pointer into that place by compare-exchange on an empty entry, waiting while the entry of
// the round before still stands there. Only the owner reads, from tail to head. Places that are
// neighbours in time lie in different cache lines: with i the position in the ring and
// m = ((i >> 3) ^ i) & 7, place i stands at i ^ m ^ (m << 3), so eight neighbours spread over
// eight lines.
//
// Whoever holds the interpreter's global lock counts as the owner.

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

class tvr_mailbox {
public:
    static constexpr uint32_t places = 0x4000;

    // Where a position stands in the ring; positions count on past its end.
    static constexpr uint32_t place_of(uint32_t position) {
        const uint32_t i = position & (places - 1);
        const uint32_t m = ((i >> 3) ^ i) & 7;
        return i ^ m ^ (m << 3);
    }

    // Drops a pointer in; false when the ring is full. Any thread, no lock.
    bool put(void* element);

    // Takes the oldest pointer out. Null when there is none, or when its writer has reserved the
    // place but not stored yet: it is never waited for. Owner thread only.
    void* take();

    // How many are outstanding; may be out of date when it comes back.
    uint32_t outstanding() const;

private:
    std::array<std::atomic<void*>, places> entries{};
    alignas(64) std::atomic<uint32_t> head{0};  // writers advance it
    alignas(64) std::atomic<uint32_t> tail{0};  // the owner alone advances it; writers read it
};
