#include "runtime/memory/reserve.h"

#include <atomic>
#include <cstdlib>

namespace {

constexpr size_t reserve_bytes = size_t(1) << 20;  // never touched, so it costs addresses alone

constinit std::atomic<void*> kept{nullptr};  // null while it is given up

}  // namespace

void tvr_keep_reserve() {
    if (kept.load(std::memory_order_relaxed) != nullptr) return;
    void* none = nullptr;
    void* made = std::malloc(reserve_bytes);
    if (!kept.compare_exchange_strong(none, made)) std::free(made);
}

void tvr_give_up_reserve() {
    std::free(kept.exchange(nullptr));
}
