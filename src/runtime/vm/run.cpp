// Tasks on the machine: how they begin, fail, wait and end.

#include <algorithm>
#include <exception>
#include <new>
#include <span>

#include "frontend/program/program_block.h"
#include "runtime/local/error_sink.h"
#include "runtime/local/global_lock.h"
#include "runtime/local/signals.h"
#include "runtime/log/log.h"
#include "runtime/memory/reserve.h"
#include "runtime/object/class_instance.h"
#include "runtime/script/script.h"
#include "runtime/task/task.h"
#include "runtime/value/records.h"
#include "runtime/vm/attention.h"
#include "runtime/vm/cells.h"
#include "runtime/vm/machine.h"
#include "runtime/vm/push.h"
#include "runtime/vm/steps.h"

bool tvr_check_arguments(const tvr_program_block_routine& routine, size_t count) {
    const bool too_few = routine.default_args != tvr_program_block_routine::no_defaults &&
                         count != 0 && count < routine.default_args;
    if (count <= routine.num_params && !too_few) return true;
    runtime_error("invalid argument count: num_params=", count,
                  ", fn_num_params=", routine.num_params,
                  ", fn_default_args=", routine.default_args);
    return false;
}

bool tvr_check_no_arguments(size_t count) {
    if (count == 0) return true;
    runtime_error("invalid argument count: num_params=", count,
                  ", fn_num_params=0, fn_default_args=", tvr_program_block_routine::no_defaults);
    return false;
}

bool tvr_check_class(const tvr_program_block_class& definition) {
    if (definition.abstract_methods.empty()) return true;
    runtime_error("Cannot create an instance of '", definition.name, "': abstract method '",
                  definition.abstract_methods.front(),
                  "' is not implemented (implement it in a derived class).");
    return false;
}

tvr_vm_context* tvr_push_frame(tvr_task& task, tvr_program_block_routine& routine, tvr_task& base,
                               uint32_t depth) {
    const uint32_t limit = task.script.config.max_call_depth;
    if (limit != 0 && depth > limit) [[unlikely]] {
        runtime_error("maximum call depth of ", limit, " exceeded (endless recursion?)");
        return nullptr;
    }
    tvr_machine_code* code =
        routine.machine != nullptr ? routine.machine.get() : tvr_code_of(routine);
    if (code == nullptr) return nullptr;
    tvr_vm_context* frame = code->take_frame(base);
    frame->caller = task.top;
    frame->task = &task;
    frame->next = code->code.data();
    frame->depth = depth;
    frame->num_args = 0;
    frame->args_given = 0;
    for (int i = 0; i < code->num_params; ++i) frame->cells[i]->type = tvrvar_type_none;
    frame->result_mode = tvr_result_mode::keep;
    task.top = frame;
    return frame;
}

void tvr_set_captures(tvr_vm_context& frame, const tvrvar_ptr_function& lambda) {
    const tvr_program_block_routine& routine = *frame.machine->routine;
    if (lambda.captures.size() != routine.num_captures) return;
    for (size_t i = 0; i < lambda.captures.size(); ++i) {
        tvrvar*& cell = frame.cells[routine.num_params + i];
        if (!lambda.captures[i].is_variable()) {
            lambda.captures[i].read_here(*cell);
            continue;
        }
        tvrvar& value = *lambda.captures[i];
        if (value.is_ref()) {
            cell->ref_to(value.target);
        } else {
            cell->set(value);
        }
    }
}

namespace {

void give_arguments(tvr_vm_context& frame, std::span<tvrvar_shared> args) {
    for (size_t i = 0; i < args.size(); ++i) {
        if (frame.machine->by_reference[i] != 0) {
            frame.cells[i]->ref_to(args[i]);
        } else {
            frame.cells[i]->set(args[i]);
        }
        if (i < 64) frame.args_given |= uint64_t(1) << i;
    }
    frame.num_args = uint32_t(args.size());
}

}  // namespace

bool tvr_push_call(tvr_task& task, tvrvar_ptr_function& function, std::span<tvrvar_shared> args) {
    const tvrptr_strong<tvr_program_block_routine> routine = function.routine.lock();
    const tvrptr_strong<tvr_task> scope = function.task.lock();
    if (!routine) {
        runtime_error("not a function!");
        return false;
    }
    if (!tvr_check_arguments(*routine, args.size())) return false;
    tvr_vm_context* frame =
        tvr_push_frame(task, *routine, scope ? *scope : task.root(), task.base_depth + 1);
    if (frame == nullptr) return false;
    const tvrptr_strong<tvr_instance> self = function.self.lock();
    frame->set_self(static_cast<tvr_class*>(self.get()));
    give_arguments(*frame, args);
    tvr_set_captures(*frame, function);
    return true;
}

bool tvr_push_class(tvr_task& task, tvr_program_block_class& definition, tvr_task& scope) {
    return tvr_check_class(definition) &&
           tvr_push_frame(task, definition, scope, task.base_depth + 1) != nullptr;
}

bool tvr_push_constructor(tvr_task& task, tvr_class& made, std::span<tvrvar_shared> args) {
    tvr_program_block_routine& constructor = *made.definition.get()->constructor.get();
    if (!tvr_check_arguments(constructor, args.size())) return false;
    tvr_vm_context* frame = tvr_push_frame(task, constructor, *made.scope, task.base_depth + 1);
    if (frame == nullptr) return false;
    frame->set_self(&made);
    give_arguments(*frame, args);
    return true;
}

void tvr_push_root(tvr_task& task, tvr_program_block_routine& root) {
    task.root_frame = tvr_push_frame(task, root, task, task.base_depth + 1);
}

namespace {

using machine_handler = tvr_machine_code::handler;

// The operation that a frame stands at: the top frame's own, the call of a frame below.
uint32_t running_op(const tvr_task& task, const tvr_vm_context& frame) {
    const auto next = uint32_t(frame.next - frame.machine->code.data());
    const bool at_its_own = &frame == task.top && !frame.resuming;
    return at_its_own || next == 0 ? next : next - 1;
}

// Gives a frame back, unless its variables are globals.
void release_frame(tvr_task& task, tvr_vm_context& frame) {
    task.top = frame.caller;
    if (&frame != task.root_frame) frame.machine->give_frame(frame);
}

void enter_handler(tvr_task& task, tvr_vm_context& frame, const machine_handler& to) {
    for (int reg = to.clear_from; reg < to.clear_to; ++reg) tvr_reset_cell(frame.cells[reg]);
    for (int reg = frame.machine->num_variables; reg < frame.machine->num_own; ++reg) {
        tvr_reset_cell(frame.cells[reg]);
    }
    frame.making.release();
    frame.resuming = false;
    frame.next = frame.machine->code.data() + to.target;
    frame.cells[to.message]->as_string(task.error);
}

// Pops frames until one takes the error. False when none does.
bool unwind(tvr_task& task) {
    bool is_top = true;
    while (tvr_vm_context* frame = task.top) {
        const auto next = uint32_t(frame->next - frame->machine->code.data());
        const uint32_t at = is_top || next == 0 ? next : next - 1;
        is_top = false;
        if (const machine_handler* handler = frame->machine->handler_at(at)) {
            enter_handler(task, *frame, *handler);
            return true;
        }
        if (frame->machine->no_except) {
            runtime_warning("Error inside a noexcept function, it returns None.");
            tvr_step_give(task, *frame, tvr_no_register);
            return true;
        }
        release_frame(task, *frame);
    }
    return false;
}

bool catch_error(tvr_task& task) {
    task.error_pending = false;
    task.script.signals.lower(tvr_signal_error);
    return unwind(task);
}

}  // namespace

bool tvr_catches_error(const tvr_task& task) {
    for (const tvr_vm_context* frame = task.top; frame != nullptr; frame = frame->caller) {
        if (frame->machine->handler_at(running_op(task, *frame)) != nullptr) return true;
        if (frame->machine->no_except) return false;
    }
    const tvrptr_strong<tvr_task> waits = task.caller();
    return waits && tvr_catches_error(*waits);
}

namespace {

tvr_vm_code stop(tvr_task& task) {
    tvr_drop_frames(task);
    task.error = "stopped";
    return vm_error;
}

}  // namespace

tvr_vm_code tvr_attend(tvr_task& task, bool between_statements) {
    tvr_vm_signals& signals = task.script.signals;
    if (task.error_pending && !catch_error(task)) return vm_error;
    if (signals.is_raised(tvr_signal_stop)) return stop(task);
    if (signals.is_raised(tvr_signal_dying)) {
        tvr_run_destructors();
        if (signals.is_raised(tvr_signal_stop)) return stop(task);  // by one of them
    }
    if (task.suspending) {
        task.suspending = false;
        signals.lower(tvr_signal_suspend);
        return vm_suspended;
    }
    if (between_statements && signals.is_raised(tvr_signal_lock_wanted)) tvr_yield_lock();
    return vm_running;
}

namespace {

// The result of the call that suspended goes where it was wanted.
void finish_suspended_call(tvr_task& task, tvr_vm_context& frame) {
    frame.resuming = false;
    const tvrvar_shared value = std::exchange(task.resume_value, {});
    if (std::exchange(task.resume_failed, false)) {
        --frame.next;  // the call, for whoever asks where it happened
        const std::string message = value ? value->string_value() : std::string();
        if (!std::exchange(task.resume_reported, false)) return runtime_error(message);
        task.error = message;
        return frame.error_stop();
    }
    tvr_put_owned(frame, frame.resume_cell, value ? value : tvrvar_shared::make());
}

// Native code that throws out of an operator, a member or a conversion, and memory that is at its
// end, fail the operation that the top frame stands at.
void fail_operation(tvr_task& task, const char* what) {
    try {
        runtime_error(what);
    } catch (const std::bad_alloc&) {
        task.error_pending = true;  // without a report, for which there is no memory
        task.script.signals.raise(tvr_signal_error);
    }
}

tvr_vm_code run_frames(tvr_task& task) {
    while (true) {
        try {
            if (task.top != nullptr && task.top->resuming) finish_suspended_call(task, *task.top);
            return tvr_run_frames(task);
        } catch (const std::bad_alloc&) {
            tvr_give_up_reserve();
            fail_operation(task, "out of memory");
        } catch (const std::exception& error) {
            fail_operation(task, error.what());
        } catch (...) {
            fail_operation(task, "unknown native exception");
        }
    }
}

}  // namespace

tvr_vm_code tvr_run(tvr_task& task) {
    tvr_thread_local& local = tvr_local();
    tvr_vm_context* outer = local.context;
    if (task.top != nullptr) local.context = task.top;
    const tvr_vm_code code = run_frames(task);
    local.context = outer;
    return code;
}

void tvr_drop_frames(tvr_task& task) {
    while (task.top != nullptr) release_frame(task, *task.top);
}

void tvr_free_globals(tvr_task& task) {
    tvr_vm_context* frame = std::exchange(task.root_frame, nullptr);
    if (frame != nullptr) frame->machine->give_frame(*frame);
}

void tvr_pass_error(const tvr_task& from, tvr_task& to) {
    to.error = from.error;
    to.error_pending = true;
    to.script.signals.raise(tvr_signal_error);
}

void tvr_vm_context::suspend_wait() {
    if (task->in_place || task->in_destructor) {
        return runtime_error("Cannot wait inside a destructor or a callback of a native function.");
    }
    task->suspending = true;
    task->script.signals.raise(tvr_signal_suspend);
    task->task_wait();
}

void tvr_vm_context::suspend_schedule(int64_t ms) {
    suspend_wait();
    if (task->suspending) task->task_schedule(ms);
}

void tvr_vm_context::error_stop() {
    task->error_pending = true;
    task->script.signals.raise(tvr_signal_error);
}

namespace {

// A class and its bases have one destructor each at most; the most derived one runs first.
void run_destructors_of(tvr_task& task, const tvrptr_strong<tvr_class>& instance) {
    const tvrptr_strong<tvr_program_block_class> definition = instance->definition.lock();
    instance->destructors_ran = true;
    if (!definition) return;
    for (const auto& level : definition->levels) {
        for (const auto& method : level.methods) {
            if (method.name != "__deinit__" || !method.routine) continue;
            const tvrptr_strong<tvr_program_block_routine> routine = method.routine.lock();
            tvr_vm_context* frame = tvr_push_frame(task, *routine, *instance->scope, 1);
            if (frame == nullptr) return;
            frame->set_self(instance.get());
            tvr_run(task);
        }
    }
}

}  // namespace

void tvr_run_destructors() {
    tvrscript& script = *tvr_script_local();
    tvr_thread_local& local = tvr_local();
    if (local.task != nullptr && local.task->in_destructor) {
        // The drain that runs this destructor goes on with the queue.
        return;
    }
    script.signals.lower(tvr_signal_dying);
    const tvrptr_strong<tvr_task> task(new tvr_task(script, nullptr));
    task->in_destructor = true;
    const tvr_task_scope scope(*task);
    while (tvr_class* dying = tvr_class::take_dying()) {
        const tvrptr_strong<tvr_class> instance(dying);
        run_destructors_of(*task, instance);
    }
    script.signals.lower(tvr_signal_dying);
}
