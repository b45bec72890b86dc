#include "binding/event_callback.h"

#include <algorithm>
#include <span>

#include "frontend/program/program_block.h"
#include "runtime/local/error_sink.h"
#include "runtime/local/thread_local.h"
#include "runtime/object/function_def.h"
#include "runtime/script/script.h"
#include "runtime/value/plain_value.h"
#include "runtime/value/records.h"
#include "runtime/vm/machine.h"
#include "stdobj/arguments.h"

namespace deckbus {

namespace {

constexpr size_t given_arguments = 1;

size_t required_arguments(const tvr_program_block_routine& routine) {
    return std::min(routine.num_params, routine.default_args);
}

size_t required_arguments(tvrvar& function) {
    if (function.type == tvrvar_type_ext_function) {
        const tvr_function_def* native = function.ext_function->definition.get();
        return native != nullptr ? native->min_params : 0;
    }
    const tvr_program_block_routine* routine = function.function->routine.get();
    return routine != nullptr ? required_arguments(*routine) : 0;
}

bool was_set(const auto& pointer) {
    return pointer.control_block() != tvrptr_control_block::null_block();
}

// Callbacks run inside of an update or of a call of events(); a callback that makes a device and
// asks it for events could go on so for ever.
class one_deeper {
public:
    one_deeper() { ++tvr_local().native_nesting; }
    ~one_deeper() { --tvr_local().native_nesting; }
    one_deeper(const one_deeper&) = delete;
    one_deeper& operator=(const one_deeper&) = delete;

    static bool possible() {
        if (tvr_local().native_nesting < tvr_max_native_nesting) return true;
        runtime_warning("deckbus.device: callbacks call each other too deeply, one is left out.");
        return false;
    }
};

tvrptr_strong<tvr_task> new_task(tvrscript& script, tvr_task* parent) {
    const tvr_task* outer = tvr_local().task;
    tvrptr_strong<tvr_task> task(new tvr_task(script, parent));
    task->in_destructor = outer != nullptr && outer->in_destructor;
    return task;
}

}  // namespace

bool open_calls::has_room() {
    if (tasks.size() < max_open) return true;
    std::erase_if(tasks, [](const tvrptr_weak<tvr_task>& task) {
        const tvr_task* known = task.get();
        return known == nullptr || known->ended();
    });
    if (tasks.size() < max_open) return true;
    if (!warned) {
        runtime_warning("deckbus.device: ", max_open,
                        " calls of callbacks wait for something; further ones are left out.");
    }
    warned = true;
    return false;
}

void event_callback::set(tvrvar& wanted, std::string_view method) {
    const tvr_plain_value given(wanted);
    const bool callable =
        given->type == tvrvar_type_function || given->type == tvrvar_type_ext_function;
    if (!callable && !given->is_none()) {
        return runtime_error(method, ": callback is ", tvr_describe_value(*given),
                             ", not a function.");
    }
    if (callable && required_arguments(*given) > given_arguments) {
        return runtime_error(method, ": callback wants ", required_arguments(*given),
                             " arguments and is given one.");
    }
    function.release();
    root.release();
    if (!callable) return;
    function = tvrvar_shared::make();
    function->set(*given);
    if (tvr_task* task = tvr_local().task) root.acquire(&task->root());
}

bool event_callback::is_set() const {
    if (!function) return false;
    if (function->type == tvrvar_type_ext_function) return bool(function->ext_function->definition);
    const tvrvar_ptr_function& script = *function->function;
    return script.routine && (!was_set(script.self) || script.self);
}

void event_callback::call(const tvrvar_shared& event, open_calls& open) {
    const tvrvar_shared kept = function;  // the call may set another one
    if (!kept || !one_deeper::possible()) return;
    const one_deeper deeper;
    if (kept->type == tvrvar_type_ext_function) {
        call_native(event);
    } else if (open.has_room()) {
        call_script(*kept->function, event, open);
    }
}

// The task whose variables the function sees, as long as that runs; else the program's.
tvr_task* event_callback::parent_of_call(const tvrvar_ptr_function& callee) const {
    tvr_task* scope = callee.task.get();
    return scope != nullptr && !scope->ended() ? scope : root.get();
}

void event_callback::call_script(tvrvar_ptr_function& callee, const tvrvar_shared& event,
                                 open_calls& open) {
    tvr_task* parent = parent_of_call(callee);
    if (parent == nullptr) return;
    const tvrptr_strong<tvr_program_block_routine> routine = callee.routine.lock();
    const tvrptr_strong<tvr_task> task = new_task(parent->script, parent);
    task->name = routine->name;
    task->function = tvrvar_shared::make();
    task->function->set(*function);
    std::vector<tvrvar_shared> args{event};
    args.resize(std::min<size_t>(args.size(), routine->num_params));
    bool started = false;
    {
        // What is wrong with the call is told, and is no error of whoever runs here.
        const tvr_task_scope own(*task);
        started = task->start(args);
    }
    args.clear();  // the frame holds it; a function that drops the event may end it
    if (started && !task->task_continue()) open.add(task);
}

void event_callback::call_native(const tvrvar_shared& event) {
    tvrscript* script = tvr_script_local();
    if (script == nullptr) return;
    const tvrptr_strong<tvr_task> task = new_task(*script, nullptr);
    task->in_place = true;
    const tvr_task_scope own(*task);
    const bool takes_event = function->ext_function->definition.get()->max_params > 0;
    std::vector<tvrvar_shared> args;
    if (takes_event) args.push_back(event);
    tvrvar_shared result;
    tvr_task::call(*function, args, result);
}

}  // namespace deckbus
