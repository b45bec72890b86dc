#pragma once

// An object that is made at first use and never destroyed.
//
// For what the process needs until its very end, whatever thread or atexit handler still runs.
// Stands as a static inside an inline function, so that host and module share one instance:
//
//     inline registry& the_registry() {
//         static tvr_forever<registry> held;
//         return held.get();
//     }

#include <new>

template <typename T>
class tvr_forever {
public:
    tvr_forever() { ::new (storage) T(); }
    tvr_forever(const tvr_forever&) = delete;
    tvr_forever& operator=(const tvr_forever&) = delete;

    T& get() { return *std::launder(reinterpret_cast<T*>(storage)); }

private:
    alignas(T) unsigned char storage[sizeof(T)];
};
