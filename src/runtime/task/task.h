#pragma once

// One running piece of script: a stack of frames, a stack of values, and a state.
//
// Tasks are cooperative. They run on the interpreter's thread in tvrscript::update(), or on a
// worker under the global lock, and give way where they suspend. The root task of a program holds
// its globals and outlives its end. Script thread, but for task_resume_from_thread().

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "runtime/memory/pointer.h"
#include "runtime/value/value.h"
#include "runtime/vm/context.h"

class tvr_task : public tvrptr_base_internal {
public:
    // A call that has been prepared and not performed yet.
    struct call_record {
        using setter = bool (*)(tvr_task& task, uint32_t index, tvrvar& value);
        std::vector<tvrvar_static>* targets = nullptr;  // parameters of the prepared frame
        tvrptr_weak<tvr_function_def> native;
        tvrptr_strong<tvrobject_base> bound;
        setter set = nullptr;  // set_variable_block or set_variable_ext
        bool is_native = false;
    };

    tvr_task(tvr_program_block_routine& routine, tvr_task* parent);
    ~tvr_task() override;

    // Runs until the top frame suspends or the task ends. True when it has ended.
    bool task_continue();

    // Wakes the task in so many ms; 0 is as soon as possible. Once, however often it is asked.
    void task_schedule(int64_t ms);
    void task_wait();
    void task_resume();
    // From a foreign thread: hands a result over and wakes the interpreter.
    void task_resume_from_thread(bool ok, tvrobject_base* object, tvrvar_shared result);
    void task_terminate();  // its frames go at its next entry
    void release_global_scope();

    // Whether an error raised now would be caught.
    bool error_caught_by_try() const;
    // Drops the prepared calls that a frame has left behind.
    void restore_call_depth(const tvr_vm_context& frame);
    size_t get_num_parameters() const;
    tvrvar_shared stack_back_deref();

    tvrptr_weak<tvr_task> parent;
    bool has_parent = false;
    std::string name;
    bool active = true;
    bool threaded = false;
    std::function<void(tvrvar_shared&)> on_finished;
    double started = 0;  // s
    bool scheduled = false;
    int64_t wake_ms = 0;
    uint32_t children = 0;
    std::string caught_error;  // on its way to a catch

    std::vector<tvr_vm_context_ptr> blocks;       // frames, the running one last
    std::vector<tvr_vm_context_ptr> call_frames;  // prepared, not entered
    std::vector<call_record> call_records;
    std::vector<tvrvar_shared> stack;
    std::vector<tvr_native_args> native_frames;  // argument vectors, used again
    uint32_t native_depth = 0;
    bool constructor_pending = false;
    tvrvar_shared constructor_argument;

    void release() override;
};

// Makes a task current on this thread for a scope, and gives the thread its name.
class tvr_task_scope {
public:
    explicit tvr_task_scope(tvr_task& task);
    ~tvr_task_scope();
    tvr_task_scope(const tvr_task_scope&) = delete;
    tvr_task_scope& operator=(const tvr_task_scope&) = delete;

private:
    tvr_task* outer;
    std::string outer_name;
};
