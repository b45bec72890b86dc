#pragma once

// Memory that kernels may run over: a std.buffer, and objects of other libraries such as a bitmap.
//
//     class bitmap : public tvrobject<bitmap, "club.bitmap">, public tvr_kernel_memory {
//     public:
//         tvr_kernel_bytes kernel_bytes() override { return {pixels.data(), pixels.size()}; }
//         void* query_interface(tvr_type_id type) override {
//             return type == tvr_typeid<tvr_kernel_memory>()
//                        ? static_cast<tvr_kernel_memory*>(this)
//                        : nullptr;
//         }
//
// A launch holds a lock for each of its bindings until it has been waited for: a write lock for
// what it may change, else a read lock. Under a lock the object must not move or free its bytes; it
// asks `locked_for_reading()` and `locked_for_writing()` before it lets a script near them.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include "runtime/memory/pointer.h"
#include "runtime/memory/type_id.h"

class tvrobject_base;
class tvrvar;

struct tvr_kernel_bytes {
    uint8_t* base = nullptr;
    size_t count = 0;
    bool writable = true;  // false: const parameters only
};

class tvr_kernel_memory {
public:
    // Where the bytes lie. Script thread.
    virtual tvr_kernel_bytes kernel_bytes() = 0;

    // Whether a launch keeps a script from reading, from changing the bytes. Any thread. Acquire:
    // whoever finds the last launch gone also sees what it wrote.
    bool locked_for_reading() const { return write_locks.load(std::memory_order_acquire) != 0; }
    bool locked_for_writing() const {
        return locked_for_reading() || read_locks.load(std::memory_order_acquire) != 0;
    }

    // Counted by tvr_kernel_memory_ref on the script thread.
    std::atomic<uint32_t> read_locks{0};
    std::atomic<uint32_t> write_locks{0};

protected:
    tvr_kernel_memory() = default;
    tvr_kernel_memory(const tvr_kernel_memory&) = delete;
    tvr_kernel_memory& operator=(const tvr_kernel_memory&) = delete;
    ~tvr_kernel_memory() = default;
};

// The memory that a plain value offers, null for none.
tvr_kernel_memory* tvr_find_kernel_memory(tvrvar& value);

// "std.buffer is in use by a running kernel launch (call wait() on the launch first)"
std::string tvr_kernel_memory_in_use(const tvrobject_base& object);

// Keeps and locks the memory of one binding, until it is released. Script thread.
class tvr_kernel_memory_ref {
public:
    // The caller has seen that the lock can be had.
    tvr_kernel_memory_ref(tvrobject_base& object, tvr_kernel_memory& memory, bool writes);
    tvr_kernel_memory_ref(tvr_kernel_memory_ref&& other) noexcept;
    tvr_kernel_memory_ref& operator=(tvr_kernel_memory_ref&&) = delete;
    ~tvr_kernel_memory_ref();

private:
    tvrptr_strong<tvrobject_base> owner;
    std::atomic<uint32_t>* lock;  // a count of the memory; null once moved from
};
