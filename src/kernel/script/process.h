#pragma once

// What the scripts of a process share about kernels: compiled units, and how many threads launches
// may use.
//
// Made at first use and never destroyed, and one for host and module: see base/forever.h.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

#include "base/forever.h"
#include "base/sync.h"

struct tvrk_unit;

struct tvr_kernel_process {
    std::atomic<uint32_t> thread_limit{0};  // of a launch, its own thread included; 0: no limit

    tvr_mutex mutex;  // nothing is taken under it
    std::unordered_map<std::string, std::shared_ptr<const tvrk_unit>> units TVR_GUARDED_BY(mutex);
};

inline tvr_kernel_process& tvr_the_kernel_process() {
    static tvr_forever<tvr_kernel_process> held;
    return held.get();
}
