#pragma once

// Waiting for what another thread does. The deadline is generous: it fails a test that would
// otherwise hang, and no test passes because of it.

#include <chrono>
#include <functional>
#include <thread>

namespace deckbus::test {

inline bool eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace deckbus::test
