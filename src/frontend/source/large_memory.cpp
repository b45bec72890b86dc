#include "frontend/source/large_memory.h"

#include <sys/mman.h>

#include <cstdint>
#include <new>

namespace {

constexpr size_t huge_page_bytes = size_t(2) << 20;

size_t whole_pages(size_t bytes) {
    return (bytes + huge_page_bytes - 1) / huge_page_bytes * huge_page_bytes;
}

}  // namespace

// Not from the heap: there huge pages are torn apart again and again as its end moves, which costs
// more than they save.
void* tvr_allocate_large(size_t bytes) {
    if (bytes < huge_page_bytes) return ::operator new(bytes);
    const size_t wanted = whole_pages(bytes), mapped = wanted + huge_page_bytes;
    void* found = mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (found == MAP_FAILED) throw std::bad_alloc();
    char* start = static_cast<char*>(found);
    const size_t before = whole_pages(uintptr_t(start)) - uintptr_t(start);
    if (before > 0) munmap(start, before);
    munmap(start + before + wanted, huge_page_bytes - before);
    madvise(start + before, wanted, MADV_HUGEPAGE);  // where there are none, small pages serve
    return start + before;
}

void tvr_free_large(void* block, size_t bytes) {
    if (bytes < huge_page_bytes)
        ::operator delete(block);
    else
        munmap(block, whole_pages(bytes));
}
