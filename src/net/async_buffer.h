#pragma once

// A ring between one writer and one reader: packets of any size, several in one slot.
//
// A slot holds up to 1400 bytes of packets, each behind a record of 16 bytes with its address and
// length. The writer appends to its slot and publishes how far it is filled; the reader follows.
// It leaves a slot only after the writer has opened a later one, so a half-filled slot waits for
// nobody.
//
// The slots' memory is reserved at once and touched slot by slot.
//
// Threads: one writes, one reads; they share `filled`, `write_slot` and `read_slot`, each written
// by one side only. Release when publishing, acquire when looking: the bytes are there before the
// number that says so.

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>

#include "net/address.h"
#include "net/packet.h"

template <size_t DATAGRAM, size_t SLOTS, typename ADDRESS = tvrnet_ip>
class tvrnet_async_buffer_spsc {
public:
    static constexpr size_t record_bytes = 16;
    static constexpr size_t slot_bytes = DATAGRAM + 20;  // a record and room for its alignment

    struct packet {
        ADDRESS to;
        const uint8_t* data = nullptr;
        size_t length = 0;
    };

    // Where the reader stands, or would stand after the packets that it has looked at.
    struct place {
        size_t slot = 0;
        size_t offset = 0;
    };

    tvrnet_async_buffer_spsc()
        : memory(std::make_unique_for_overwrite<std::array<uint8_t, slot_bytes>[]>(SLOTS)) {}

    // Writer: appends one packet. False, and overflow() true, when the ring is full; false for a
    // size that fits no slot.
    bool write(const ADDRESS& to, const void* data, size_t length) {
        if (length < 1 || length > DATAGRAM) return false;
        size_t slot = write_slot.load(std::memory_order_relaxed);
        size_t at = filled[slot].load(std::memory_order_relaxed);
        if (at > 0 && at + record_bytes + length + record_bytes > slot_bytes) {
            const size_t next = (slot + 1) % SLOTS;
            if (next == read_slot.load(std::memory_order_acquire)) {
                refused = true;
                return false;
            }
            filled[next].store(0, std::memory_order_relaxed);  // the reader is not there yet
            write_slot.store(next, std::memory_order_release);
            slot = next;
            at = 0;
        }
        put(slot, at, to, data, length);
        return true;
    }

    // Reader: the packet at this place, which moves behind it. False when there is none yet.
    bool look(place& from, packet& out) {
        for (;;) {
            // Before `filled`: a slot that was left by the writer will not grow any more.
            const size_t writer = write_slot.load(std::memory_order_acquire);
            if (from.offset < filled[from.slot].load(std::memory_order_acquire)) break;
            if (writer == from.slot) return false;
            from = {(from.slot + 1) % SLOTS, 0};
        }
        const uint8_t* at = memory[from.slot].data() + from.offset;
        record head;
        std::memcpy(&head, at, sizeof head);
        out = {head.to, at + record_bytes, head.length};
        from.offset += record_bytes + head.length;
        return true;
    }

    // Reader: everything before this place is done with and can be written over.
    void release(const place& until) {
        read_place = until;
        read_slot.store(until.slot, std::memory_order_release);
    }

    // Reader: where it stands.
    place reader() const { return read_place; }

    // Reader: nothing is there to be read.
    bool empty() const {
        const size_t writer = write_slot.load(std::memory_order_acquire);
        return read_place.slot == writer &&
               read_place.offset == filled[writer].load(std::memory_order_acquire);
    }

    // One thread that has both sides, with nothing left to read: begins at the first slot again,
    // whose memory is still warm.
    void rewind() {
        const size_t slot = write_slot.load(std::memory_order_relaxed);
        if (slot == 0) return;
        filled[0].store(0, std::memory_order_relaxed);
        write_slot.store(0, std::memory_order_relaxed);
        release({0, 0});
    }

    // Writer: a packet was refused.
    bool overflow() const { return refused; }

private:
    struct record {
        ADDRESS to;
        uint16_t length;
    };
    static_assert(sizeof(record) <= record_bytes);

    void put(size_t slot, size_t at, const ADDRESS& to, const void* data, size_t length) {
        uint8_t* out = memory[slot].data() + at;
        const record head{to, uint16_t(length)};
        std::memcpy(out, &head, sizeof head);
        std::memcpy(out + record_bytes, data, length);
        filled[slot].store(uint32_t(at + record_bytes + length), std::memory_order_release);
    }

    // Each side's own stand together, away from the other's.
    alignas(64) std::atomic<size_t> write_slot{0};
    bool refused = false;
    alignas(64) std::atomic<size_t> read_slot{0};
    place read_place;  // reader's
    std::unique_ptr<std::array<uint8_t, slot_bytes>[]> memory;
    std::array<std::atomic<uint32_t>, SLOTS> filled{};  // bytes in each slot; the writer's
};
