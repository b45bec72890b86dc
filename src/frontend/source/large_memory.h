#pragma once

// Memory for what grows with the source: tokens, commands, nodes.
//
// A long script fills megabytes once, from front to back, and half of its compile would be page
// faults of 4 KiB. Blocks of 2 MiB and more are therefore aligned so that the kernel can give them
// out in huge pages, and it is asked to; smaller ones come from the heap as usual. Thread: any.

#include <cstddef>
#include <memory_resource>
#include <vector>

// Throw std::bad_alloc when there is none. Free with the size that was asked for.
void* tvr_allocate_large(size_t bytes);
void tvr_free_large(void* block, size_t bytes);

template <typename T>
struct tvr_large_allocator {
    static_assert(alignof(T) <= alignof(std::max_align_t));
    using value_type = T;

    tvr_large_allocator() = default;
    template <typename U>
    tvr_large_allocator(const tvr_large_allocator<U>&) {}

    T* allocate(size_t count) { return static_cast<T*>(tvr_allocate_large(count * sizeof(T))); }
    void deallocate(T* block, size_t count) { tvr_free_large(block, count * sizeof(T)); }
    bool operator==(const tvr_large_allocator&) const { return true; }
};

template <typename T>
using tvr_large_vector = std::vector<T, tvr_large_allocator<T>>;

// The same for arenas. Alignment up to that of std::max_align_t.
class tvr_large_memory : public std::pmr::memory_resource {
private:
    void* do_allocate(size_t bytes, size_t) override { return tvr_allocate_large(bytes); }
    void do_deallocate(void* block, size_t bytes, size_t) override { tvr_free_large(block, bytes); }
    bool do_is_equal(const memory_resource& other) const noexcept override {
        return dynamic_cast<const tvr_large_memory*>(&other) != nullptr;
    }
};
