#pragma once

// A frame: one running routine with its locals.
//
// Every function call, loop body and scoped block that has variables of its own runs in a frame, so
// that leaving one is popping frames. Frames come from a pool and their locals from another; a
// frame taken again keeps its vector's memory. Script thread.

#include <cstdint>
#include <utility>
#include <vector>

#include "frontend/program/program_block.h"
#include "runtime/local/pool_set.h"
#include "runtime/memory/pointer.h"
#include "runtime/object/class_instance.h"
#include "runtime/value/value.h"

class tvr_task;

// What `execute` came to; bits, so that the loop needs one test.
enum tvr_vm_code : int32_t {
    vm_running = 0,
    vm_return = 2,
    vm_break = 4,
    vm_continue = 8,
    vm_frame_pushed = 0x10,
    vm_suspended = 0x20,
    vm_block_end = 0x40,
    vm_error = 0x80,
};

// How the result of an operator method comes back into the instruction that called it.
enum class tvr_operator_mode : uint8_t {
    none = 0,
    keep = 1,      // as it is
    truth = 2,     // as int, by the truth test
    no_truth = 3,  // its opposite
};

class tvr_vm_context {
public:
    static constexpr uint32_t from_start = 0;

    // Makes this the frame of a call: one fresh variable for each local of the routine.
    void set(tvr_task& of, tvr_task& base, tvr_program_block_routine& block, tvr_class* instance);
    void reset();  // back to an unused frame, locals released

    // For native functions that run in this frame.
    void suspend_wait();                // until somebody resumes the task
    void suspend_schedule(int64_t ms);  // until then
    void error_stop() { code = vm_error; }

    tvr_task* task = nullptr;       // owns this frame
    tvr_task* base_task = nullptr;  // the scope that the routine closes over
    tvr_program_block_routine* routine = nullptr;
    const uint8_t* instruction = nullptr;  // while running
    uint32_t saved_offset = from_start;    // where it goes on when it is entered again
    int32_t stack_count = 0;               // values of this frame on the task's stack
    uint32_t num_args = 0;                 // how many were given
    uint64_t args_given = 0;               // a bit for each of the first 64 that was set
    uint32_t native_depth = 0;             // of native calls, at entry
    uint32_t call_depth = 0;               // of prepared calls, at entry
    std::vector<tvrvar_static> locals;
    tvrptr_strong<tvr_class> self;  // `this`
    int32_t code = vm_running;
    bool default_arg_pending = false;
    bool in_execute = false;
    tvr_operator_mode operator_mode = tvr_operator_mode::none;
    uint8_t slot = tvr_not_pooled;
};

template <>
struct tvr_pool_traits<tvr_vm_context> {
    static constexpr tvr_pool_kind kind = tvr_pool_kind::vm_contexts;
    using pool = tvr_pool_threadsafe<tvr_vm_context, tvr_pool_chunk_static<tvr_vm_context>>;
};

// Owns a frame; gives it back to the pool.
class tvr_vm_context_ptr {
public:
    tvr_vm_context_ptr() = default;
    tvr_vm_context_ptr(tvr_task& task, tvr_task& base, tvr_program_block_routine& routine,
                       tvr_class* instance);
    tvr_vm_context_ptr(tvr_vm_context_ptr&& other) noexcept
        : frame(std::exchange(other.frame, nullptr)) {}
    tvr_vm_context_ptr& operator=(tvr_vm_context_ptr&& other) noexcept {
        std::swap(frame, other.frame);
        return *this;
    }
    ~tvr_vm_context_ptr() { release(); }
    void release();

    tvr_vm_context* get() const { return frame; }
    tvr_vm_context* operator->() const { return frame; }
    tvr_vm_context& operator*() const { return *frame; }

private:
    tvr_vm_context* frame = nullptr;
};

// Runs a frame until it has to hand control back; its code says why.
int32_t tvr_execute(tvr_vm_context& frame);
