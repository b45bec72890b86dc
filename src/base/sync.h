#pragma once

// Mutex and lock that clang checks at compile time.
//
// A field marked TVR_GUARDED_BY(mutex) can be touched only where the compiler sees the lock; a
// function marked TVR_REQUIRES(mutex) can be called only there. Under gcc the marks vanish.

#include <mutex>

#if defined(__clang__)
#define TVR_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define TVR_THREAD_ATTRIBUTE(x)
#endif

#define TVR_CAPABILITY(name) TVR_THREAD_ATTRIBUTE(capability(name))
#define TVR_SCOPED_CAPABILITY TVR_THREAD_ATTRIBUTE(scoped_lockable)
#define TVR_GUARDED_BY(m) TVR_THREAD_ATTRIBUTE(guarded_by(m))
#define TVR_REQUIRES(...) TVR_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define TVR_EXCLUDES(...) TVR_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define TVR_ACQUIRE(...) TVR_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define TVR_RELEASE(...) TVR_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define TVR_NO_THREAD_CHECK TVR_THREAD_ATTRIBUTE(no_thread_safety_analysis)

class TVR_CAPABILITY("mutex") tvr_mutex {
public:
    void lock() TVR_ACQUIRE() { inner.lock(); }
    void unlock() TVR_RELEASE() { inner.unlock(); }

private:
    std::mutex inner;
};

// Holds the mutex for the length of a block.
class TVR_SCOPED_CAPABILITY tvr_lock {
public:
    explicit tvr_lock(tvr_mutex& m) TVR_ACQUIRE(m) : held(m) { held.lock(); }
    ~tvr_lock() TVR_RELEASE() { held.unlock(); }
    tvr_lock(const tvr_lock&) = delete;
    tvr_lock& operator=(const tvr_lock&) = delete;

private:
    tvr_mutex& held;
};
