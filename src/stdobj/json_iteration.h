#pragma once

// Callbacks over the entries of a json: foreach, map, reduce, filter, any, all.
//
// The calling task waits until every entry has had its call. Each entry is read when it is reached,
// so what a callback appends is visited, and what it erases moves the rest up.
//
// A callback that ends at once costs a frame: it runs inside of the method's own instruction, in
// one task that is used again and again, and the method returns without having waited. When one
// suspends, its task becomes a task like others, the caller suspends, and the end of the callback
// goes on with the next entry; so neither way deepens the native stack. A callback that fails ends
// the iteration, and its error is the caller's.
//
// Script thread.

#include <cstdint>
#include <functional>
#include <memory>

#include "runtime/object/function_def.h"
#include "runtime/payload/std_json.h"
#include "runtime/task/task.h"

class tvr_json_iteration : public std::enable_shared_from_this<tvr_json_iteration> {
public:
    // How a method uses its callback. `fill` puts the arguments for an entry into the vector, whose
    // handles may be used again; `take` is given them and the result, and says whether to go on;
    // `end` gives the method's result.
    struct plan {
        std::function<void(tvr_native_args& args, tvr_std_json& json, size_t index)> fill;
        std::function<bool(const tvr_native_args& args, tvrvar& result)> take;
        std::function<tvrvar_shared()> end;
    };

    // Whether a plain value is what start() takes.
    static bool is_callback(const tvrvar& value);
    // How many parameters a callback declares; of native functions those that it needs.
    static uint32_t count_parameters(const tvrvar& callback);

    // Runs a plan. What it returns is the method's result, unless the calling task has been
    // suspended: then that is resumed with it.
    static tvrvar_shared start(tvr_std_json& json, tvr_vm_context& frame, tvrvar& callback,
                               plan how);

    // Key, or none, and value of an entry.
    static void key_value_args(tvr_native_args& args, tvr_std_json& json, size_t index);

    tvr_json_iteration(tvr_std_json& over, tvr_task& from, uint32_t depth, tvrvar& calls, plan how);

private:
    void run();
    bool call_next();
    bool call_native(tvr_task& caller);
    bool call_script(tvr_task& caller);
    bool take_result(tvrvar& result);
    bool finish();

    tvrptr_strong<tvr_task> fresh_task(tvr_task& caller) const;
    void wait_for(tvr_task& suspended);
    void go_on_after(tvr_task& ended);
    void resume(tvr_task& caller);

    const tvrptr_strong<tvr_std_json> json;
    const tvrptr_weak<tvr_task> calling;  // it keeps itself alive while it waits
    const uint32_t base_depth;            // of the method's frame
    const tvrvar_shared callback;
    const plan how;
    tvr_native_args args;
    tvrptr_strong<tvr_task> task;  // for the next call; null when there is none to use again
    size_t index = 0;
    bool done = false;
};
