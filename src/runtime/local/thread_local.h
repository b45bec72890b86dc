#pragma once

// What a thread knows of the engine: its interpreter, that interpreter's pools, log and files,
// and what runs on it at the moment. One record a thread, reached by tvr_local().
//
// The lower floors find everything here that belongs to an interpreter without knowing what an
// interpreter is. Each record is touched by its own thread only; wakeup() by any thread, for as
// long as the record's own thread runs.

#include <atomic>
#include <cstdint>
#include <string_view>

#include "runtime/local/wakeup.h"

class tvr_error_sink;
class tvr_filesys;
class tvr_log_base;
class tvr_pool_set;
class tvr_task;
class tvr_vm_context;
class tvrscript;
struct tvr_interpreter_lock;
struct tvr_update_lists;
struct tvr_vm_signals;
struct tvrptr_control_block;
struct tvrvar_ptr_function;

struct tvr_thread_local {
    static constexpr size_t name_bytes = 64;

    // The name that log lines carry; longer ones are cut. Empty for none.
    std::string_view thread_name() const { return {name, name_length}; }
    void set_thread_name(std::string_view text);

    // A number for each thread of the process, from 1, in order of first use.
    uint64_t thread_id();

    // Whether script code may run here: the interpreter's owner, or a holder of its global lock.
    bool is_script_thread() const { return owns_interpreter || holds_global_lock; }

    // Ends the wait of this record's thread, or its next one. See wakeup.h.
    void wakeup() { event.wakeup(); }
    bool wait_for_wakeup(double until) { return event.wait_for_wakeup(until); }

    tvrscript* script = nullptr;                // the interpreter bound to this thread
    tvr_pool_set* pools = nullptr;              // of that interpreter; null without one
    tvr_interpreter_lock* lock = nullptr;       // of that interpreter
    tvr_vm_signals* signals = nullptr;          // of that interpreter; see signals.h
    tvr_update_lists* updates = nullptr;        // of that interpreter; see object/update_hooks.h
    tvr_log_base* log = nullptr;                // null: the process-wide default
    tvr_filesys* filesys = nullptr;             // null: the machine's files
    tvr_error_sink* errors = nullptr;           // null: errors go to the log
    tvr_task* task = nullptr;                   // runs here now
    tvr_vm_context* context = nullptr;          // its top frame
    tvrptr_control_block* root_task = nullptr;  // of the task that `task` descends from
    uint32_t no_pool = 0;                       // above 0 variables come from the heap
    uint32_t native_nesting = 0;                // runs of the machine inside of each other
    bool owns_interpreter = false;
    bool holds_global_lock = false;

    // Objects that end inside of each other's end; see memory/pointer.cpp.
    uint32_t ending_depth = 0;
    tvrptr_control_block* ending_later = nullptr;
    // The same of functions, through what they have captured; see value/value.cpp.
    uint32_t functions_ending = 0;
    tvrvar_ptr_function* functions_ending_later = nullptr;

private:
    uint64_t id = 0;
    size_t name_length = 0;
    char name[name_bytes] = {};
    tvr_wakeup event;
};

// Numbers for threads, one count for the whole process.
inline uint64_t tvr_next_thread_id() {
    static constinit std::atomic<uint64_t> last{0};
    return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

// The calling thread's record. No constructor runs, so this is a plain thread-local address.
inline tvr_thread_local& tvr_local() {
    static constinit thread_local tvr_thread_local local;
    return local;
}

inline tvrscript* tvr_script_local() {
    return tvr_local().script;
}
