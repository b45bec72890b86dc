#pragma once

// Waiting for what another thread or process does. The deadline is generous: it fails a test that
// would otherwise hang, and no test passes because of it.

#include <chrono>
#include <functional>
#include <thread>

namespace test_support {

constexpr std::chrono::milliseconds deadline{60000};

// True once the condition holds; false when the deadline passed before.
inline bool eventually(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace test_support
