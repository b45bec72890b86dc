#pragma once

// Pools that lend objects and take them back, so that traffic allocates nothing once it is warm.
//
// An object keeps its memory while it rests. At most max_resting rest; what comes back above that
// is freed. tvrnet_recycler belongs to one thread, tvrnet_recycler_locked to any.

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "base/sync.h"

template <typename T>
class tvrnet_recycler {
public:
    explicit tvrnet_recycler(size_t limit) : max_resting(limit) {}

    // One that rested, else a new one. Never null.
    std::unique_ptr<T> take() {
        in_use++;
        if (resting.empty()) return std::make_unique<T>();
        auto lent = std::move(resting.back());
        resting.pop_back();
        return lent;
    }

    void give_back(std::unique_ptr<T> object) {
        in_use--;
        if (resting.size() < max_resting) resting.push_back(std::move(object));
    }

    size_t in_use = 0;  // lent and not given back

private:
    const size_t max_resting;
    std::vector<std::unique_ptr<T>> resting;
};

template <typename T>
class tvrnet_recycler_locked {
public:
    explicit tvrnet_recycler_locked(size_t limit) : pool(limit) {}

    std::unique_ptr<T> take() TVR_EXCLUDES(mutex) {
        tvr_lock hold(mutex);
        return pool.take();
    }

    void give_back(std::unique_ptr<T> object) TVR_EXCLUDES(mutex) {
        tvr_lock hold(mutex);
        pool.give_back(std::move(object));
    }

    size_t in_use() TVR_EXCLUDES(mutex) {
        tvr_lock hold(mutex);
        return pool.in_use;
    }

private:
    tvr_mutex mutex;
    tvrnet_recycler<T> pool TVR_GUARDED_BY(mutex);
};
