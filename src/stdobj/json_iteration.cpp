#include "stdobj/json_iteration.h"

#include <exception>

#include "frontend/program/program_block.h"
#include "runtime/local/error_sink.h"
#include "runtime/script/script.h"
#include "runtime/value/records.h"
#include "runtime/vm/machine.h"

namespace {

// No native callback may suspend: the task that it would suspend is the one that waits for it.
class no_waiting {
public:
    explicit no_waiting(tvr_task& of) : task(of), before(of.in_place) { task.in_place = true; }
    ~no_waiting() { task.in_place = before; }
    no_waiting(const no_waiting&) = delete;
    no_waiting& operator=(const no_waiting&) = delete;

private:
    tvr_task& task;
    const bool before;
};

bool takes(const tvr_program_block_routine& routine, size_t count) {
    const bool too_few = routine.default_args != tvr_program_block_routine::no_defaults &&
                         count < routine.default_args;
    return count <= routine.num_params && !too_few;
}

void report_no_call() {
    runtime_error("JSON callback could not be called, check its parameter count.");
}

tvrvar_shared& own_cell(tvrvar_shared& handle) {
    if (!handle || !handle.unshared()) handle = tvrvar_shared::make();
    return handle;
}

}  // namespace

bool tvr_json_iteration::is_callback(const tvrvar& value) {
    return value.type == tvrvar_type_function || value.type == tvrvar_type_ext_function;
}

uint32_t tvr_json_iteration::count_parameters(const tvrvar& callback) {
    if (callback.type == tvrvar_type_function) {
        const tvr_program_block_routine* routine = callback.function->routine.get();
        return routine != nullptr ? routine->num_params : 0;
    }
    const tvr_function_def* definition = callback.ext_function->definition.get();
    return definition != nullptr ? definition->min_params : 0;
}

void tvr_json_iteration::key_value_args(tvr_native_args& args, tvr_std_json& json, size_t index) {
    const tvr_std_json::entry& entry = json.entries[index];
    args.resize(2);
    if (entry.has_key()) {
        own_cell(args[0])->as_string(entry.name());
    } else {
        own_cell(args[0])->as_none();
    }
    args[1] = entry.value;
}

tvr_json_iteration::tvr_json_iteration(tvr_std_json& over, tvr_task& from, uint32_t depth,
                                       tvrvar& calls, plan plan_of)
    : json(&over),
      calling(&from),
      base_depth(depth),
      callback(tvrvar_shared::make()),
      how(std::move(plan_of)) {
    callback->set(calls);
}

tvrvar_shared tvr_json_iteration::start(tvr_std_json& json, tvr_vm_context& frame, tvrvar& callback,
                                        plan how) {
    if (frame.task == nullptr) {
        runtime_error("Cannot run task!");
        return {};
    }
    const auto iteration = std::make_shared<tvr_json_iteration>(json, *frame.task, frame.depth,
                                                                callback, std::move(how));
    iteration->run();
    if (iteration->done) return frame.task->error_pending ? tvrvar_shared() : iteration->how.end();
    frame.suspend_wait();
    return {};
}

void tvr_json_iteration::run() {
    while (!done && call_next()) {
    }
}

// Calls for one entry. False when the end has come, or a callback that takes its time.
bool tvr_json_iteration::call_next() {
    const tvrptr_strong<tvr_task> caller = calling.lock();
    const bool goes_on =
        caller && caller->active && !caller->error_pending && !caller->script.stop_requested();
    if (!goes_on || index >= json->size()) return finish();
    how.fill(args, *json, index);
    return callback->type == tvrvar_type_function ? call_script(*caller) : call_native(*caller);
}

bool tvr_json_iteration::take_result(tvrvar& result) {
    ++index;
    return how.take(args, result) || finish();
}

// After an error the caller has it already.
bool tvr_json_iteration::finish() {
    done = true;
    return false;
}

bool tvr_json_iteration::call_native(tvr_task& caller) {
    const tvr_function_def* definition = callback->ext_function->definition.get();
    if (definition == nullptr || args.size() < definition->min_params ||
        args.size() > definition->max_params) {
        report_no_call();
        return finish();
    }
    const no_waiting here(caller);
    tvrvar_shared result;
    if (!tvr_task::call(*callback, args, result)) return finish();
    if (!result) result = tvrvar_shared::make();
    return take_result(*result);
}

tvrptr_strong<tvr_task> tvr_json_iteration::fresh_task(tvr_task& caller) const {
    tvrptr_strong<tvr_task> made(new tvr_task(caller.script, &caller));
    made->called = true;
    made->in_place = caller.in_place;
    made->in_destructor = caller.in_destructor;
    made->threaded = caller.threaded;
    made->base_depth = base_depth;
    return made;
}

bool tvr_json_iteration::call_script(tvr_task& caller) {
    const tvrptr_strong<tvr_program_block_routine> routine = callback->function->routine.lock();
    if (!routine || !takes(*routine, args.size())) {
        report_no_call();
        return finish();
    }
    if (tvr_local().native_nesting >= tvr_max_native_nesting) {
        runtime_error("maximum call depth of ", tvr_max_native_nesting,
                      " exceeded (endless recursion?)");
        return finish();
    }
    if (!task) task = fresh_task(caller);
    if (!tvr_push_call(*task, *callback->function, args)) return finish();
    switch (task->run_callback()) {
    case vm_block_end: break;
    case vm_suspended: wait_for(*task); return false;
    default: tvr_pass_error(*task, caller); return finish();
    }
    const tvrvar_shared result = std::exchange(task->result, {});
    return take_result(*result);
}

// The task keeps itself alive from here on, and this iteration with it.
void tvr_json_iteration::wait_for(tvr_task& callee) {
    const auto self = shared_from_this();
    callee.on_finished = [self](tvr_task& ended) { self->go_on_after(ended); };
    task.release();
}

// In another turn of the interpreter: what goes wrong from here on belongs to the task that waits.
void tvr_json_iteration::go_on_after(tvr_task& ended) {
    const tvrptr_strong<tvr_task> caller = calling.lock();
    if (!caller || caller->ended()) return;
    {
        const tvr_task_scope as_caller(*caller);
        try {
            if (ended.state == tvr_task_state::finished) {
                const tvrvar_shared result = ended.result ? ended.result : tvrvar_shared::make();
                if (take_result(*result)) run();
            } else {
                tvr_pass_error(ended, *caller);
                finish();
            }
        } catch (const std::exception& failure) {
            runtime_error(failure.what());
            finish();
        }
    }
    if (done) resume(*caller);
}

void tvr_json_iteration::resume(tvr_task& caller) {
    if (!caller.error_pending) return caller.task_resume(how.end());
    caller.error_pending = false;
    caller.script.signals.lower(tvr_signal_error);
    caller.task_resume_failed(caller.error);
}
