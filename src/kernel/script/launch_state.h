#pragma once

// One launch that a script made, from its arguments to its result.
//
//     const auto state = tvr_prepare_launch(unit, program, args);   // null after a runtime error
//     state->run();            // or start(), and wait() later
//     return state->result();
//
// Script thread throughout. Helpers on workers touch the tvrk_launch only. While a launch runs or
// is waited for the interpreter's lock is given back.

#include <cstdint>
#include <forward_list>
#include <memory>
#include <string>
#include <vector>

#include "kernel/launch.h"
#include "runtime/object/function_def.h"
#include "runtime/payload/kernel_memory.h"

struct tvr_kernel_launch_state {
    // Starts helpers and comes back at once; wait() works along until the end. A trap is raised by
    // the first wait() that sees the end; from then on there is a result and no lock.
    void start();
    void wait();
    void run();  // both with one change of the lock

    // None before the end, for void kernels and after a trap; a json for a struct.
    tvrvar_shared result() const;

    bool two_dimensional = false;  // the domain was a list
    bool finished = false;         // waited for: the memory is free
    std::shared_ptr<tvrk_launch> launch = std::make_shared<tvrk_launch>();
    std::vector<tvr_kernel_memory_ref> memory;
    std::forward_list<std::string> texts;  // copies of strings that kernels read
    std::vector<tvrk_reg> results;         // of the accumulators, once finished

private:
    void begin(uint64_t most_helpers);
    void finish();
    void report_trap() const;
};

// Takes the domain and the arguments of k.launch(domain, ...).
std::shared_ptr<tvr_kernel_launch_state> tvr_prepare_launch(std::shared_ptr<const tvrk_unit> unit,
                                                            const tvrk_program& program,
                                                            tvr_native_args& args);

// The threads that a launch of this thread's interpreter may use, its own included.
uint32_t tvr_kernel_thread_count();

// A register as a value: bool as int 0 or 1, u64 as its bit pattern.
tvrvar_shared tvr_kernel_value(tvrk_prim prim, tvrk_reg reg);
