#include "runtime/memory/mailbox.h"

#include <thread>

bool tvr_mailbox::put(void* element) {
    uint32_t at = head.load(std::memory_order_relaxed);
    do {
        // Signed: a head that is out of date may lie behind the tail, and is then exchanged in
        // vain. Acquire: whoever sees the tail also sees that the owner has emptied the places
        // before it.
        const auto ahead = int32_t(at - tail.load(std::memory_order_acquire));
        if (ahead >= int32_t(places)) return false;
    } while (!head.compare_exchange_weak(at, at + 1, std::memory_order_relaxed));

    std::atomic<void*>& entry = entries[place_of(at)];
    void* empty = nullptr;
    // Release: the owner finds the element as this thread has left it.
    while (!entry.compare_exchange_strong(empty, element, std::memory_order_release,
                                          std::memory_order_relaxed)) {
        empty = nullptr;
        std::this_thread::yield();
    }
    return true;
}

void* tvr_mailbox::take() {
    const uint32_t at = tail.load(std::memory_order_relaxed);
    std::atomic<void*>& entry = entries[place_of(at)];
    void* element = entry.load(std::memory_order_acquire);
    if (element == nullptr) return nullptr;
    entry.store(nullptr, std::memory_order_relaxed);
    tail.store(at + 1, std::memory_order_release);
    return element;
}

uint32_t tvr_mailbox::outstanding() const {
    const uint32_t from =
        tail.load(std::memory_order_acquire);  // first, so that head is not behind
    return head.load(std::memory_order_acquire) - from;
}
