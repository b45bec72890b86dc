#pragma once

// A thread with a small stack: what does not overflow there overflows nowhere.

#include <pthread.h>

#include <functional>

#include <gtest/gtest.h>

// AddressSanitizer puts a wide margin around every variable.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr size_t small_stack_bytes = 2048 * 1024;
#define SMALL_STACK_IS_KNOWN
#endif
#endif
#ifndef SMALL_STACK_IS_KNOWN
inline constexpr size_t small_stack_bytes = 512 * 1024;
#endif

inline void on_small_stack(const std::function<void()>& work) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, small_stack_bytes), 0);
    pthread_t thread;
    const auto run = [](void* what) -> void* {
        (*static_cast<const std::function<void()>*>(what))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run,
                             const_cast<void*>(static_cast<const void*>(&work))),
              0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}
