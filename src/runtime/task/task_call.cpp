// Native code that calls functions of scripts: each call is a task of its own, run to its end
// inside of the task that made it.

#include <exception>
#include <new>

#include "frontend/program/program_block.h"
#include "runtime/local/error_sink.h"
#include "runtime/memory/reserve.h"
#include "runtime/object/class_instance.h"
#include "runtime/object/function_def.h"
#include "runtime/script/script.h"
#include "runtime/task/task.h"
#include "runtime/value/plain_value.h"
#include "runtime/value/records.h"
#include "runtime/vm/machine.h"
#include "runtime/vm/push.h"

namespace {

// A run of the machine inside of another one uses the native stack.
class native_nesting {
public:
    native_nesting() { ++tvr_local().native_nesting; }
    ~native_nesting() { --tvr_local().native_nesting; }
    native_nesting(const native_nesting&) = delete;
    native_nesting& operator=(const native_nesting&) = delete;
};

bool may_nest() {
    if (tvr_local().native_nesting < tvr_max_native_nesting) return true;
    runtime_error("maximum call depth of ", tvr_max_native_nesting,
                  " exceeded (endless recursion?)");
    return false;
}

bool failed() {
    const tvr_task* task = tvr_local().task;
    return task != nullptr && task->error_pending;
}

void run_native(const tvr_function_def& definition, tvrobject_base* object, tvr_vm_context& frame,
                tvr_native_args& args, tvrvar_shared& result) {
    try {
        result = definition.callback(object, frame, args);
    } catch (const std::bad_alloc&) {
        tvr_give_up_reserve();
        runtime_error(definition.name, ": out of memory");
    } catch (const std::exception& error) {
        runtime_error(definition.name, ": ", error.what());
    } catch (...) {
        runtime_error(definition.name, ": unknown native exception");
    }
}

bool call_native(tvrvar_ptr_ext_function& callee, tvr_native_args& args, tvrvar_shared& result) {
    const tvr_function_def* definition = callee.definition.get();
    if (definition == nullptr) {
        runtime_error("not a function!");
        return false;
    }
    if (args.size() < definition->min_params || args.size() > definition->max_params) {
        runtime_error("invalid parameter count ", args.size(), " min: ", definition->min_params,
                      " max: ", definition->max_params);
        return false;
    }
    if (!may_nest()) return false;
    const native_nesting deeper;
    const tvrptr_strong<tvrobject_base> object = callee.object;
    tvr_vm_context none;  // for a host that calls outside of every frame
    none.task = tvr_local().task;
    tvr_vm_context* frame = tvr_local().context;
    run_native(*definition, object.get(), frame != nullptr ? *frame : none, args, result);
    return !failed();
}

// What became of a function's run, told to the caller.
bool take_outcome(tvr_task& task, tvr_vm_code code, tvrvar_shared& result) {
    if (code == vm_block_end) {
        result = std::move(task.result);
        return true;
    }
    if (code == vm_suspended) {
        tvr_drop_frames(task);
        runtime_error("A function that native code calls cannot wait.");
    } else if (tvr_task* caller = tvr_local().task) {
        tvr_pass_error(task, *caller);
    }
    return false;
}

tvrptr_strong<tvr_task> task_in_place(tvrscript& script) {
    const tvr_thread_local& local = tvr_local();
    tvrptr_strong<tvr_task> task(new tvr_task(script, local.task));
    task->in_place = task->called = true;
    task->in_destructor = local.task != nullptr && local.task->in_destructor;
    task->base_depth = local.context != nullptr ? local.context->depth : 0;
    return task;
}

// Whose globals the methods of a class see: those of the calling code's program, or of the last
// run of the class's own.
tvrptr_strong<tvr_task> scope_of(tvrscript& script, const tvr_program_block_class& definition) {
    const tvr_vm_context* frame = tvr_local().context;
    tvr_task* of_frame = frame != nullptr ? frame->base_task : nullptr;
    if (of_frame != nullptr && of_frame->program.get() == definition.root) {
        return tvrptr_strong<tvr_task>(of_frame);
    }
    for (const tvrptr_strong<tvr_task>& task : script.tasks.newest_first()) {
        if (task->is_root() && task->program.get() == definition.root) return task;
    }
    return {};
}

bool call_class(tvrscript& script, tvr_program_block_class& definition, tvr_native_args& args,
                tvrvar_shared& result) {
    if (!may_nest()) return false;
    const tvrptr_strong<tvr_task> scope = scope_of(script, definition);
    if (!scope) {
        runtime_error("Invalid class definition.");
        return false;
    }
    const tvrptr_strong<tvr_task> task = task_in_place(script);
    tvrvar_shared made, nothing;
    if (!tvr_push_class(*task, definition, *scope)) return false;
    if (!take_outcome(*task, task->run_in_place(), made)) return false;
    const tvrptr_strong<tvr_class> instance(static_cast<tvr_class*>(made->block->object));
    if (!definition.constructor) {
        if (!tvr_check_no_arguments(args.size())) return false;
    } else if (!tvr_push_constructor(*task, *instance, args) ||
               !take_outcome(*task, task->run_in_place(), nothing)) {
        return false;
    }
    result = std::move(made);
    return true;
}

bool call_script(tvrscript& script, tvrvar_ptr_function& callee, tvr_native_args& args,
                 tvrvar_shared& result) {
    if (!may_nest()) return false;
    const tvrptr_strong<tvr_task> task = task_in_place(script);
    if (!tvr_push_call(*task, callee, args)) return false;
    return take_outcome(*task, task->run_in_place(), result);
}

tvrptr_strong<tvr_program_block_class> class_of(const tvrvar& value) {
    tvrptr_strong<tvr_program_block_class> definition;
    definition.acquire(value.block);
    return definition;
}

}  // namespace

tvr_vm_code tvr_task::run_in_place() {
    const native_nesting deeper;
    state = tvr_task_state::running;
    const tvr_vm_code code = turn();
    state = code == vm_block_end ? tvr_task_state::finished : tvr_task_state::failed;
    return code;
}

tvr_vm_code tvr_task::run_callback() {
    const native_nesting deeper;
    state = tvr_task_state::running;
    const tvr_vm_code code = turn();
    if (code != vm_suspended) {
        state = code == vm_block_end ? tvr_task_state::finished : tvr_task_state::failed;
    } else if (state == tvr_task_state::running) {
        task_schedule(0);
    }
    return code;
}

bool tvr_task::call(tvrvar& function, std::vector<tvrvar_shared>& args, tvrvar_shared& result) {
    tvrscript* script = tvr_script_local();
    const tvr_global_lock hold;
    const tvr_plain_value callee(function);
    if (callee->type == tvrvar_type_ext_function) {
        return call_native(*callee->ext_function, args, result);
    }
    if (callee->type == tvrvar_type_class_def && script != nullptr) {
        const tvrptr_strong<tvr_program_block_class> definition = class_of(*callee);
        if (definition) return call_class(*script, *definition, args, result);
    }
    if (callee->type != tvrvar_type_function || script == nullptr) {
        runtime_error("not a function!");
        return false;
    }
    // The function must not go while it runs, whatever it does with the variable it came from.
    const tvrvar_shared kept = tvrvar_shared::make();
    kept->set(*callee);
    return call_script(*script, *kept->function, args, result);
}

tvrvar_shared tvrvar::call(std::vector<tvrvar_shared>* args) {
    std::vector<tvrvar_shared> none;
    tvrvar_shared result;
    if (!tvr_task::call(*this, args != nullptr ? *args : none, result) || !result) {
        result = tvrvar_shared::make();
    }
    return result;
}
