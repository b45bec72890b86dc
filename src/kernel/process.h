#pragma once

// What the kernels of a process share: the chosen engine, the policy of native code, the table of
// ahead-of-time functions and the launches that exist.
//
// Made at first use and never destroyed, and one for host and module: see base/forever.h.

#include <atomic>
#include <cstdint>
#include <map>
#include <string>

#include "base/forever.h"
#include "base/sync.h"
#include "kernel/execute.h"
#include "kernel/jit.h"

struct tvrk_launch;

struct tvrk_process {
    static constexpr int policy_unread = -1;  // the environment has not been asked

    std::atomic<tvrk_mode> mode{tvrk_mode::automatic};
    std::atomic<tvrk_batch_function> batch{nullptr};  // chosen at first use
    std::atomic<int> policy{policy_unread};
    std::atomic<uint32_t> temporary_names{0};  // makes names in the cache directory unique
    std::atomic<uint32_t> generation{1};       // of the table; raised when it grows

    tvr_mutex toolchain_mutex;  // held while compilers are tried out; nothing is taken under it
    bool searched TVR_GUARDED_BY(toolchain_mutex) = false;
    std::string compiler TVR_GUARDED_BY(toolchain_mutex);
    std::string directory TVR_GUARDED_BY(toolchain_mutex);

    tvr_mutex table_mutex;  // every launch may ask; nothing is taken under it
    std::map<uint64_t, tvrk_native_function> ahead_of_time TVR_GUARDED_BY(table_mutex);

    tvr_mutex launch_mutex;  // of changes to the list; nothing is taken under it
    std::atomic<tvrk_launch*> first_launch{nullptr};
    std::atomic<uint32_t> launch_walkers{0};  // who goes through the list at this moment
};

inline tvrk_process& tvrk_the_process() {
    static tvr_forever<tvrk_process> held;
    return held.get();
}
