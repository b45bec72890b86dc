#pragma once

// What makes the machine look up from its work: one word for an interpreter, of which every
// instruction that may have raised something, every call and every backward jump looks at all bits
// at once.
//
// `stop` and `lock_wanted` are raised by any thread, the first by signal handlers too; the others
// by the thread that runs script code, for the task that it runs.

#include <atomic>
#include <cstdint>

class tvr_class;

enum tvr_vm_signal : uint32_t {
    tvr_signal_error = 0x01,        // the running instruction failed
    tvr_signal_suspend = 0x02,      // a native function suspended the task
    tvr_signal_dying = 0x04,        // instances wait for their destructors
    tvr_signal_stop = 0x08,         // the run has been asked to end
    tvr_signal_lock_wanted = 0x10,  // another thread waits for the interpreter's lock
};

struct tvr_vm_signals {
    void raise(tvr_vm_signal signal) { raised.fetch_or(signal, std::memory_order_relaxed); }
    void lower(tvr_vm_signal signal) {
        raised.fetch_and(~uint32_t(signal), std::memory_order_relaxed);
    }
    bool is_raised(tvr_vm_signal signal) const {
        return (raised.load(std::memory_order_relaxed) & signal) != 0;
    }

    std::atomic<uint32_t> raised{0};

    // Instances whose last pointer went and whose destructors have still to run, oldest first,
    // linked through tvr_class::next_dying. Script thread.
    tvr_class* first_dying = nullptr;
    tvr_class* last_dying = nullptr;
};
