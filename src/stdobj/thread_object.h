#pragma once

// std.threading: runs a function as tasks on the workers, and collects what they return.
//
// Tasks take turns under the interpreter's global lock, wherever they run. The object does not end
// them when it goes. Script thread.

#include <vector>

#include "runtime/object/object.h"
#include "runtime/task/task.h"

class tvr_std_thread : public tvrobject<tvr_std_thread, "std.thread"> {
public:
    static void script_register(tvrobject_metadata& metadata);

    ~tvr_std_thread() override;

    // With the function as its argument, or without one.
    void construct(tvr_vm_context& frame, tvr_native_args& args);

    tvrvar_shared run(tvr_vm_context& frame, tvr_native_args& args);
    // Suspends the caller until the tasks that run now have ended.
    tvrvar_shared join(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared get_results(tvr_vm_context& frame, tvr_native_args& args);

private:
    struct joining;
    using task_list = std::vector<tvrptr_strong<tvr_task>>;

    void take_results(const task_list& ended);
    tvrvar_shared self_value();

    tvrvar_shared callback;              // null without one
    task_list active;                    // begun by run(), not joined
    std::vector<tvrvar_shared> results;  // of joined tasks, in the order of their runs
    bool joined = false;                 // and nothing was run since
};
