#pragma once

// A frame: one running function with its variables.
//
// A frame is a row of pointers to cells of 16 bytes: the function's variables with those of all
// blocks inside it, then the machine's intermediate values, which the frame owns; behind them
// constants, statics and globals, which it borrows. An instruction names cells by their place in
// the row.
//
// A routine keeps a few ready frames with their cells, so that a call neither allocates nor
// initialises anything: on exit a cell with another owner is replaced, the others are reset in
// place. Script thread.

#include <cstdint>

#include "runtime/local/pool_set.h"
#include "runtime/memory/pointer.h"
#include "runtime/object/class_instance.h"
#include "runtime/value/value.h"

class tvr_machine_code;
class tvr_program_block_routine;
class tvr_task;
struct tvr_call_site;
struct tvr_machine_op;
struct tvr_member_site;

// What a run of the machine came to.
enum tvr_vm_code : int32_t {
    vm_running = 0,
    vm_suspended = 0x20,
    vm_block_end = 0x40,
    vm_error = 0x80,
};

// How the result of a call comes back into the instruction that made it.
enum class tvr_result_mode : uint8_t {
    keep = 1,      // as it is
    truth = 2,     // as int, by the truth test
    no_truth = 3,  // its opposite
    drop = 4,      // not at all: of a constructor, which yields `this`
    discard = 5    // not at all, and there is no cell for it
};

class tvr_vm_context {
public:
    // For native functions that are called from this frame. The result of the suspended call is
    // what resumes the task.

    void suspend_wait();                // until somebody resumes the task
    void suspend_schedule(int64_t ms);  // until so many ms have passed
    void error_stop();                  // ends the task like an error that was reported

    void set_self(tvr_class* instance) {
        self.acquire(instance);
        holds_more = true;
    }

    tvr_vm_context* caller = nullptr;  // the frame below on the same task; the next ready frame
    tvr_task* task = nullptr;          // runs this frame
    tvr_task* base_task = nullptr;     // whose globals it sees
    tvr_machine_code* machine = nullptr;
    const tvr_machine_op* next = nullptr;  // where it goes on
    tvrvar** cells = nullptr;
    tvr_member_site* member_sites = nullptr;  // of its machine code
    tvr_call_site* call_sites = nullptr;
    tvrptr_strong<tvr_class> self;    // `this`
    tvrptr_strong<tvr_class> making;  // an instance whose constructor is about to run
    uint32_t num_args = 0;            // that were given
    uint64_t args_given = 0;          // a bit for each of the first 64 parameters
    uint32_t depth = 0;               // frames and blocks below and here, along the whole chain
    int16_t result_cell = 0;          // register of the caller
    int16_t resume_cell = 0;          // register that takes the result of a suspended call
    bool resuming = false;
    bool holds_more = false;  // than its cells: self, making or resuming may be set
    tvr_result_mode result_mode = tvr_result_mode::keep;
    uint8_t slot = tvr_not_pooled;
};

template <>
struct tvr_pool_traits<tvr_vm_context> {
    static constexpr tvr_pool_kind kind = tvr_pool_kind::vm_contexts;
    using pool = tvr_pool_threadsafe<tvr_vm_context, tvr_pool_chunk_static<tvr_vm_context>>;
};
