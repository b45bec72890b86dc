#pragma once

// Intrusive smart pointers of one word.
//
// Both kinds point at the object's control block and through it at the object. A block is made
// when the first pointer to an object is: an object that no pointer ever saw has none. The last
// strong pointer ends the object; the block itself goes with the last pointer of either kind.
// A null pointer points at the one shared null block, so no pointer in the engine is ever zero.
//
// Counts are plain integers: a block belongs to the thread that runs its interpreter's scripts,
// the owner or whoever holds the global lock. Objects that live outside any interpreter
// (tvr_outside_interpreters()) have immortal blocks, which are written once, under a lock, and
// then only read: interpreters on several threads share them.
//
// Objects end inside of each other's end, to a limited depth: a list of a million nodes ends
// without a stack of a million calls.

#include <atomic>
#include <concepts>
#include <cstdint>
#include <utility>

#include "runtime/memory/type_id.h"

class tvrptr_base_internal;
struct tvr_thread_local;

struct tvrptr_control_block {
    static constexpr int32_t null_count = -1;      // the shared null block
    static constexpr int32_t immortal_count = -2;  // of an object outside every interpreter
    static constexpr uint8_t not_pooled = 0xFF;

    // The block of all null pointers. Never written.
    static tvrptr_control_block* null_block();

    // A new block, from the interpreter's pool or from the heap: when `pooled` is false, where no
    // script code may run, and while the thread wants no pools.
    static tvrptr_control_block* create(bool pooled);

    // Gives a block back where it came from. Any thread.
    static void destroy(tvrptr_control_block* block);

    constexpr tvrptr_control_block() = default;
    constexpr tvrptr_control_block(tvrptr_base_internal* of, int32_t count)
        : object(of), strong(count) {}

    // Whether a pointer may take a count: the object is there and not being destroyed.
    bool holds_object() const { return object != nullptr && alive != 0; }
    bool counts() const { return strong >= 0; }

    void add_strong() {
        if (counts()) ++strong;
    }
    void add_weak() {
        if (counts()) ++weak;
    }
    void drop_strong() {
        if (counts() && --strong == 0) end_object();
    }
    void drop_weak() {
        if (counts() && --weak == 0 && strong == 0 && object == nullptr) destroy(this);
    }

    tvrptr_base_internal* object = nullptr;  // null once it is gone
    int32_t strong = 0;
    int32_t weak = 0;
    uint8_t alive = 1;  // 0 while the object is being destroyed
    uint8_t slot = not_pooled;

private:
    friend class tvrptr_base_internal;

    // Objects that end inside of each other's end; more of them are put off until the outermost
    // has ended.
    static constexpr uint32_t max_nested_ends = 128;

    [[gnu::noinline]] void end_object();
    void finish_object() noexcept;
    void lose_object();
    void put_off(tvr_thread_local& local);
    static tvrptr_control_block* next_put_off(tvr_thread_local& local);
};

inline tvrptr_control_block* tvrptr_control_block::null_block() {
    static constinit tvrptr_control_block block{nullptr, null_count};
    return &block;
}

// Base of everything that smart pointers can hold.
class tvrptr_base_internal {
public:
    tvrptr_base_internal() = default;
    // A copy is an object of its own and has no block yet.
    tvrptr_base_internal(const tvrptr_base_internal&) {}
    tvrptr_base_internal& operator=(const tvrptr_base_internal&) { return *this; }
    // An object that ends while pointers to it exist, such as one on the stack: they become null.
    virtual ~tvrptr_base_internal();

    // Called when the last strong pointer has gone, before the object is disposed of. Pointers to
    // the object that are made from here on are null.
    virtual void release() {}

    // False for objects whose block comes from the heap.
    virtual bool tvr_pooled_control_block() const { return true; }

    // Whether interpreters on several threads share the object: its block is immortal then, and
    // so is the object.
    virtual bool tvr_outside_interpreters() const { return !tvr_pooled_control_block(); }

    // The name keeps clear of every name that a native class could choose.
    // NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming)
    tvrptr_control_block* __tvr_get_or_create_control_block() {
        tvrptr_control_block* known = control_block_if_any();
        return known != nullptr ? known : make_control_block();
    }
    tvrptr_control_block* control_block_if_any() const {
        return block.load(std::memory_order_acquire);
    }

protected:
    // Ends the object's life after release(): deletes it. Pooled types give themselves back to
    // their pool instead; they have no block by then, and will get a new one.
    virtual void dispose();

private:
    friend struct tvrptr_control_block;

    [[gnu::noinline]] tvrptr_control_block* make_control_block();
    tvrptr_control_block* make_immortal_block();

    // Atomic for the objects that interpreters share, whose block is stored once, with release.
    std::atomic<tvrptr_control_block*> block{nullptr};
};

template <typename T>
class tvrptr_weak;

// Keeps its object alive.
template <typename T>
class tvrptr_strong {
public:
    tvrptr_strong() : block(tvrptr_control_block::null_block()) {}
    explicit tvrptr_strong(T* object) : tvrptr_strong() { acquire(object); }
    tvrptr_strong(const tvrptr_strong& other) : block(other.block) { block->add_strong(); }
    tvrptr_strong(tvrptr_strong&& other) noexcept
        : block(std::exchange(other.block, tvrptr_control_block::null_block())) {}
    template <typename U>
    requires std::convertible_to<U*, T*> tvrptr_strong(const tvrptr_strong<U>& other)
        : tvrptr_strong() {
        acquire(other.control_block());
    }
    ~tvrptr_strong() { block->drop_strong(); }

    tvrptr_strong& operator=(const tvrptr_strong& other) {
        tvrptr_strong copy(other);
        std::swap(block, copy.block);
        return *this;
    }
    tvrptr_strong& operator=(tvrptr_strong&& other) noexcept {
        tvrptr_strong taken(std::move(other));  // what was held here goes now, not with `other`
        std::swap(block, taken.block);
        return *this;
    }

    // Takes a count of a block's object, or becomes null when that is gone or going.
    void acquire(tvrptr_control_block* from) {
        tvrptr_control_block* taken =
            from->holds_object() ? from : tvrptr_control_block::null_block();
        taken->add_strong();
        std::exchange(block, taken)->drop_strong();
    }
    void acquire(T* object) {
        acquire(object == nullptr ? tvrptr_control_block::null_block()
                                  : object->__tvr_get_or_create_control_block());
    }
    void release() { acquire(tvrptr_control_block::null_block()); }

    T* get() const { return static_cast<T*>(block->object); }
    T* operator->() const { return get(); }
    T& operator*() const { return *get(); }
    explicit operator bool() const { return block->object != nullptr; }
    bool operator==(const tvrptr_strong& other) const { return block == other.block; }
    tvrptr_control_block* control_block() const { return block; }

private:
    tvrptr_control_block* block;
};

// Observes its object. Its last release lets the block go, but never the object.
template <typename T>
class tvrptr_weak {
public:
    tvrptr_weak() : block(tvrptr_control_block::null_block()) {}
    explicit tvrptr_weak(T* object) : tvrptr_weak() { acquire(object); }
    template <typename U>
    requires std::convertible_to<U*, T*> tvrptr_weak(const tvrptr_strong<U>& strong)
        : tvrptr_weak() {
        acquire(strong.control_block());
    }
    tvrptr_weak(const tvrptr_weak& other) : block(other.block) { block->add_weak(); }
    tvrptr_weak(tvrptr_weak&& other) noexcept
        : block(std::exchange(other.block, tvrptr_control_block::null_block())) {}
    ~tvrptr_weak() { block->drop_weak(); }

    tvrptr_weak& operator=(const tvrptr_weak& other) {
        tvrptr_weak copy(other);
        std::swap(block, copy.block);
        return *this;
    }
    tvrptr_weak& operator=(tvrptr_weak&& other) noexcept {
        tvrptr_weak taken(std::move(other));
        std::swap(block, taken.block);
        return *this;
    }

    void acquire(tvrptr_control_block* from) {
        tvrptr_control_block* taken =
            from->holds_object() ? from : tvrptr_control_block::null_block();
        taken->add_weak();
        std::exchange(block, taken)->drop_weak();
    }
    void acquire(T* object) {
        acquire(object == nullptr ? tvrptr_control_block::null_block()
                                  : object->__tvr_get_or_create_control_block());
    }
    void release() { acquire(tvrptr_control_block::null_block()); }

    // A strong pointer, null when the object is gone or going.
    tvrptr_strong<T> lock() const {
        tvrptr_strong<T> strong;
        strong.acquire(block);
        return strong;
    }

    // The object while somebody else keeps it; null when it is gone or going.
    T* get() const { return block->holds_object() ? static_cast<T*>(block->object) : nullptr; }
    explicit operator bool() const { return get() != nullptr; }
    bool operator==(const tvrptr_weak& other) const { return block == other.block; }
    tvrptr_control_block* control_block() const { return block; }

private:
    tvrptr_control_block* block;
};
