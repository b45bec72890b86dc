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
// Chunks stay with the pool until its end. One that still has elements handed out then is left in
// memory for whoever holds them; what is freed into it afterwards is ignored.
//
// Allocating and freeing take no lock: they belong to the interpreter's owner thread or to a
// thread that holds the global lock. tvr_pool_threadsafe adds a mailbox (mailbox.h) into which
// any other thread drops what it frees; the owner empties it once a frame.
//
// Terms: T has a byte for its slot, 0xFF while it is not pooled. It is found through
// tvr_pool_slot(T&): the field `slot`, unless an overload beside T names another one.

#include <bitset>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <utility>
#include <vector>

#include "runtime/local/global_lock.h"
#include "runtime/memory/mailbox.h"
#include "runtime/memory/pool_report.h"

inline constexpr size_t tvr_chunk_slots = 255;
inline constexpr uint8_t tvr_not_pooled = 0xFF;
inline constexpr uint32_t tvr_chunk_live = 0xFFABCDEF;
inline constexpr uint32_t tvr_chunk_ending = 0xFFAB0DED;  // frees into it are ignored

template <typename T>
uint8_t& tvr_pool_slot(T& element) requires requires {
    element.slot;
}
{ return element.slot; }

// What both kinds of chunk have. The elements stand first, at the chunk's own address.
template <typename T>
struct tvr_pool_chunk {
    static_assert(alignof(T) <= alignof(std::max_align_t), "chunks come from malloc");

    tvr_pool_chunk() {
        // The lowest slot on top, so that a new chunk fills from its front.
        for (size_t i = 0; i < tvr_chunk_slots; ++i) {
            free_slots[i] = uint8_t(tvr_chunk_slots - 1 - i);
        }
    }

    static void* get_memory(size_t bytes) { return std::malloc(bytes); }

    T* element(size_t slot) { return std::launder(reinterpret_cast<T*>(elements) + slot); }

    // The slot in which an address lies, tvr_not_pooled for none. For addresses of any origin.
    uint8_t find_slot(const void* address) const {
        const size_t offset = uintptr_t(address) - uintptr_t(this);
        const bool inside = offset < sizeof elements && offset % sizeof(T) == 0;
        return inside ? uint8_t(offset / sizeof(T)) : tvr_not_pooled;
    }

    alignas(T) std::byte elements[tvr_chunk_slots * sizeof(T)];
    uint8_t free_slots[tvr_chunk_slots];  // a stack
    uint8_t free_count = tvr_chunk_slots;
    std::bitset<tvr_chunk_slots + 1> allocated;
    uint32_t magic = tvr_chunk_live;
    uint8_t in_free_list = 1;  // 0 once it ran empty, so that the first free puts it back
};

// Elements are constructed with the chunk and stay so. For what is handed out all the time.
template <typename T>
struct tvr_pool_chunk_static : tvr_pool_chunk<T> {
    tvr_pool_chunk_static() {
        for (size_t i = 0; i < tvr_chunk_slots; ++i) ::new (this->elements + i * sizeof(T)) T();
    }
    T* start(size_t slot) { return this->element(slot); }
    void finish(T*) {}

    // Ends the elements that nobody holds.
    void end_unused() {
        for (size_t i = 0; i < tvr_chunk_slots; ++i) {
            if (!this->allocated[i]) this->element(i)->~T();
        }
    }
};

// Elements live from their allocation to their release. For what owns other things.
template <typename T>
struct tvr_pool_chunk_dynamic : tvr_pool_chunk<T> {
    template <typename... ARGS>
    T* start(size_t slot, ARGS&&... args) {
        return ::new (this->elements + slot * sizeof(T)) T(std::forward<ARGS>(args)...);
    }
    void finish(T* element) {
        // The number outlives its element, so that a second free is told from a foreign pointer.
        uint8_t* at = &tvr_pool_slot(*element);
        const uint8_t slot = *at;
        element->~T();
        *at = slot;
    }
    void end_unused() {}
};

// The root of all pools, as the interpreter keeps them.
class tvr_pool_base {
public:
    tvr_pool_base() = default;
    tvr_pool_base(const tvr_pool_base&) = delete;
    tvr_pool_base& operator=(const tvr_pool_base&) = delete;
    virtual ~tvr_pool_base() = default;

    // Takes in what foreign threads have freed. Owner thread, once a frame.
    virtual void collect_garbage() {}

    // Elements that are handed out.
    virtual size_t live() const { return 0; }
};

template <typename T, typename CHUNK>
class tvr_pool : public tvr_pool_base {
public:
    ~tvr_pool() override { end_chunks(); }

    // An element, or null when there is no memory. The arguments, which dynamic chunks alone take,
    // go to its constructor.
    template <typename... ARGS>
    T* allocate(ARGS&&... args) {
        uint8_t slot = tvr_not_pooled;
        CHUNK* chunk = take_slot(slot);
        if (chunk == nullptr) [[unlikely]]
            return nullptr;
        T* element = start(*chunk, slot, std::forward<ARGS>(args)...);
        tvr_pool_slot(*element) = slot;
        return element;
    }

    // Gives an element back. Null does nothing.
    void deallocate(T* element) {
        if (element == nullptr) return;
        const uint8_t slot = tvr_pool_slot(*element);
        if (slot == tvr_not_pooled) [[unlikely]]
            return deallocate_recover_owner(element);
        CHUNK* chunk = base_of(element, slot);
        if (chunk->magic != tvr_chunk_live) [[unlikely]]
            return refuse(element, chunk->magic);
        release(*chunk, slot, element);
    }

    // Frees an element whose slot number or chunk cannot be trusted: searches all chunks for the
    // one that it lies in, says what it finds, repairs the number and the magic.
    [[gnu::cold, gnu::noinline]] void deallocate_recover_owner(T* element) {
        uint8_t& noted = tvr_pool_slot(*element);
        for (CHUNK* chunk : chunks) {
            const uint8_t slot = chunk->find_slot(element);
            if (slot == tvr_not_pooled) continue;
            tvr_pool_report::wrong_slot(element, chunk, noted, slot);
            if (!chunk->allocated[slot]) return tvr_pool_report::already_freed();
            noted = slot;
            chunk->magic = tvr_chunk_live;
            return release(*chunk, slot, element);
        }
        tvr_pool_report::no_chunk_of(noted);
    }

    size_t live() const override { return live_elements; }

    // Calls visit(T&) for each element that is handed out. It may free any of them and allocate;
    // what it allocates may be visited too.
    template <typename VISIT>
    void for_each_live(VISIT&& visit) {
        for (size_t i = 0; i < chunks.size(); ++i) {
            for (size_t slot = 0; slot < tvr_chunk_slots; ++slot) {
                if (chunks[i]->allocated[slot]) visit(*chunks[i]->element(slot));
            }
        }
    }

private:
    static CHUNK* base_of(T* element, uint8_t slot) {
        auto* address = reinterpret_cast<std::byte*>(element) - slot * sizeof(T);
        return std::launder(reinterpret_cast<CHUNK*>(address));
    }

    // Marks a slot as handed out. Null when there is no memory.
    CHUNK* take_slot(uint8_t& slot) {
        ++live_elements;
        while (true) {
            if (free_chunks.empty() || free_chunks.back()->free_count == 0) [[unlikely]] {
                if (!find_chunk()) return nullptr;
            }
            CHUNK* chunk = free_chunks.back();
            slot = chunk->free_slots[--chunk->free_count];
            assert(slot != tvr_not_pooled);
            if (!chunk->allocated[slot]) [[likely]] {
                chunk->allocated[slot] = true;
                return chunk;
            }
            tvr_pool_report::double_allocate();
        }
    }

    template <typename... ARGS>
    T* start(CHUNK& chunk, uint8_t slot, ARGS&&... args) {
        try {
            return chunk.start(slot, std::forward<ARGS>(args)...);
        } catch (...) {
            chunk.allocated[slot] = false;
            return_slot(chunk, slot);
            throw;
        }
    }

    void release(CHUNK& chunk, uint8_t slot, T* element) {
        if (!chunk.allocated[slot]) [[unlikely]]
            return tvr_pool_report::double_free();
        chunk.allocated[slot] = false;
        // Between bit and stack: what the destructor frees or allocates cannot meet this slot.
        chunk.finish(element);
        return_slot(chunk, slot);
    }

    void return_slot(CHUNK& chunk, uint8_t slot) {
        chunk.free_slots[chunk.free_count++] = slot;
        if (chunk.in_free_list == 0) [[unlikely]] {
            chunk.in_free_list = 1;
            free_chunks.push_back(&chunk);  // never allocates, see add_chunk()
        }
        --live_elements;
    }

    [[gnu::cold, gnu::noinline]] void refuse(T* element, uint32_t magic) {
        if (magic == tvr_chunk_ending) return;
        tvr_pool_report::wrong_magic(magic, tvr_chunk_live);
        deallocate_recover_owner(element);
    }

    // Takes chunks that ran empty off the stack until one with a free slot is on top; makes one at
    // the end. False when there is no memory.
    [[gnu::noinline]] bool find_chunk() {
        while (!free_chunks.empty()) {
            if (free_chunks.back()->free_count > 0) return true;
            free_chunks.back()->in_free_list = 0;
            free_chunks.pop_back();
        }
        return add_chunk();
    }

    bool add_chunk() {
        void* memory = CHUNK::get_memory(sizeof(CHUNK));
        if (memory == nullptr) {
            --live_elements;
            tvr_pool_report::no_memory();
            return false;
        }
        chunks.push_back(::new (memory) CHUNK);
        free_chunks.reserve(chunks.capacity());
        free_chunks.push_back(chunks.back());
        return true;
    }

    // Step by step for all of them, since elements free each other: no memory goes while one ends.
    void end_chunks() {
        if (live_elements > 0) tvr_pool_report::chunks_left();
        for (CHUNK* chunk : chunks) chunk->magic = tvr_chunk_ending;
        for (CHUNK* chunk : chunks) chunk->end_unused();
        for (CHUNK* chunk : chunks) {
            if (chunk->allocated.none()) std::free(chunk);
        }
    }

    std::vector<CHUNK*> free_chunks;  // a stack; all have in_free_list set
    size_t live_elements = 0;
    std::vector<CHUNK*> chunks;  // all of them, until the end
};

// A pool whose elements other threads may free.
template <typename T, typename CHUNK>
class tvr_pool_threadsafe final : public tvr_pool<T, CHUNK> {
public:
    // The lock is that of the pool's interpreter and outlives the pool.
    explicit tvr_pool_threadsafe(tvr_interpreter_lock& owner_lock) : lock(owner_lock) {}
    ~tvr_pool_threadsafe() override { collect(); }

    // Gives an element back from a thread that may not run script code: the owner takes it in
    // with its next collect_garbage(). With the mailbox full it waits for the global lock.
    void deallocate_from_thread(T* element) {
        if (element == nullptr || mailbox.put(element)) return;
        const tvr_global_lock hold(&lock);
        take_in(element);
    }

    void collect_garbage() override { collect(); }

private:
    // No more than there are at its begin, so that busy threads cannot keep the owner here.
    void collect() {
        for (uint32_t left = mailbox.outstanding(); left > 0; --left) {
            void* element = mailbox.take();
            if (element == nullptr) return;
            take_in(static_cast<T*>(element));
        }
    }

    // Elements that own something are sent home with it: tvr_pool_arrived(T&), declared beside T,
    // lets go of it here, and says whether the element is one of a pool.
    void take_in(T* element) {
        if constexpr (requires { tvr_pool_arrived(*element); }) {
            if (!tvr_pool_arrived(*element)) return;
        }
        this->deallocate(element);
    }

    tvr_interpreter_lock& lock;
    tvr_mailbox mailbox;
};
