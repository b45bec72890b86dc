#include "runtime/task/task.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "base/clock.h"
#include "frontend/program/program_block.h"
#include "runtime/local/error_sink.h"
#include "runtime/log/log.h"
#include "runtime/script/script.h"
#include "runtime/value/plain_value.h"
#include "runtime/value/records.h"
#include "runtime/vm/machine.h"

int64_t tvr_millis() {
    constexpr double ms_per_s = 1000;
    return int64_t(tvr_now_s() * ms_per_s);
}

tvr_task_scope::tvr_task_scope(tvr_task& task)
    : outer(tvr_local().task),
      outer_context(tvr_local().context),
      outer_root(tvr_local().root_task),
      renamed(!task.name.empty()) {
    tvr_thread_local& local = tvr_local();
    local.task = &task;
    local.context = task.top;
    local.root_task = task.root().__tvr_get_or_create_control_block();
    if (!renamed) return;
    outer_name = local.thread_name();
    local.set_thread_name(task.name);
}

tvr_task_scope::~tvr_task_scope() {
    tvr_thread_local& local = tvr_local();
    local.task = outer;
    local.context = outer_context;
    local.root_task = outer_root;
    if (renamed) local.set_thread_name(outer_name);
}

tvr_task::tvr_task(tvrscript& owner, tvr_task* of)
    : script(owner), has_parent(of != nullptr), mail(owner.tasks.mail) {
    parent.acquire(of);
    if (of != nullptr) ++of->children;
    script.tasks.add(*this);
    tvr_log().verbose("Task (parent=", of != nullptr ? of->name : std::string("none"),
                      ") created.");
}

tvr_task::~tvr_task() {
    const tvrptr_control_block* known = control_block_if_any();
    if (known != nullptr && known->strong > 0) {
        tvr_log().err("Task ", name, " released while still having ", known->strong,
                      " strong references!");
    }
    if (children > 0) tvr_log().verbose("Task ", name, " (", children, " children remaining)");
    if (!listed) return;
    if (!ended() && kept_alive) --script.tasks.alive;
    tvr_drop_frames(*this);
    tvr_free_globals(*this);
    if (tvr_task* up = parent.get()) --up->children;
    script.tasks.remove(*this);
}

tvr_task& tvr_task::root() {
    tvr_task* at = this;
    while (tvr_task* up = at->parent.get()) at = up;
    return *at;
}

tvrptr_strong<tvr_task> tvr_task::create(tvrvar& function) {
    const tvr_plain_value callee(function);
    tvrvar_ptr_function* known = callee->type == tvrvar_type_function ? callee->function : nullptr;
    tvrscript* script = tvr_script_local();
    if (known == nullptr || !known->routine || script == nullptr) {
        runtime_error("invalid function for routine");
        return {};
    }
    // A task that native code has called is over before its children are.
    tvr_task* of = tvr_local().task;
    while (of != nullptr && of->called) of = of->parent.get();
    if (of == nullptr) of = known->task.get();
    if (of == nullptr) {
        runtime_error("Cannot run task!");
        return {};
    }
    tvrptr_strong<tvr_task> made(new tvr_task(*script, of));
    made->name = known->routine.get()->name;
    made->function = tvrvar_shared::make();
    made->function->set(*callee);
    return made;
}

bool tvr_task::start(std::span<tvrvar_shared> args) {
    tvrvar_ptr_function* callee =
        function && function->type == tvrvar_type_function ? function->function : nullptr;
    const tvr_program_block_routine* routine = callee != nullptr ? callee->routine.get() : nullptr;
    if (routine == nullptr || top != nullptr || ended()) {
        runtime_error("Cannot run task!");
        return false;
    }
    if (args.size() > routine->num_params) {
        runtime_error("Too many params.");
        return false;
    }
    if (args.size() < std::min(routine->num_params, routine->default_args)) {
        runtime_error("Not enough parameters.");
        return false;
    }
    return tvr_push_call(*this, *callee, args);
}

// One turn of the machine, with this task as the thread's current one.
tvr_vm_code tvr_task::turn() {
    const tvr_task_scope current(*this);
    in_turn = true;
    const tvr_vm_code code = tvr_run(*this);
    in_turn = false;
    resumed_early = false;
    return code;
}

bool tvr_task::task_continue() {
    if (in_turn) return false;
    if (!active) {
        if (ended()) tvr_log().err("task_continue called while the task was not active!");
        end_now();
        return true;
    }
    if (ended()) return true;
    if (has_parent && !parent) {
        end_now();
        return true;
    }
    const tvrptr_strong<tvr_task> held(this);
    keep();
    script.tasks.unschedule(*this);
    if (started == 0) {
        started = tvr_now_s();
        tvr_log().verbose("Task ", name, " started.");
    }
    state = tvr_task_state::running;
    const tvr_vm_code code = turn();
    if (code == vm_suspended && active) {
        if (state == tvr_task_state::running) task_schedule(0);
        return false;
    }
    if (code == vm_suspended) tvr_drop_frames(*this);
    finish(code == vm_block_end ? tvr_task_state::finished : tvr_task_state::failed);
    return true;
}

void tvr_task::keep() {
    if (kept_alive || ended()) return;
    kept_alive.acquire(this);
    if (kept_alive) ++script.tasks.alive;
}

void tvr_task::finish(tvr_task_state end) {
    if (ended()) return;
    if (kept_alive) --script.tasks.alive;
    state = end;
    script.tasks.unschedule(*this);
    constexpr double ms_per_s = 1000;
    tvr_log().verbose("Task ", name, " finished.");
    if (!name.empty() && started > 0) {
        tvr_log().verbose("Task ", name, " exited (Runtime = ", (tvr_now_s() - started) * ms_per_s,
                          " ms).");
    }
    tell_finished();
    resume_value.release();
    // A root's globals live on, and with them whatever closes over it.
    if (root_frame == nullptr) const tvrptr_strong<tvr_task> last = std::move(kept_alive);
}

void tvr_task::tell_finished() {
    const std::function<void(tvr_task&)> tell = std::exchange(on_finished, nullptr);
    if (!tell) return;
    try {
        tell(*this);
    } catch (const std::exception& failed) {
        tvr_log().err("on_finished: ", failed.what());
    } catch (...) {
        tvr_log().err("on_finished: unknown native exception");
    }
}

void tvr_task::end_now() {
    active = false;
    if (in_turn || on_worker || ended()) return;
    const tvrptr_strong<tvr_task> held(this);
    tvr_drop_frames(*this);
    finish(tvr_task_state::failed);
}

void tvr_task::task_schedule(int64_t ms) {
    if (scheduled || ended()) return;
    keep();
    wake_ms = tvr_millis() + std::clamp<int64_t>(ms, 0, tvr_task_list::never / 2);
    state = tvr_task_state::runnable;
    script.tasks.schedule(*this);
    tvr_log().verbose("Task ", name, " scheduled (eta: ", ms, " ms).");
    script.wake();
}

void tvr_task::queue_for_worker() {
    keep();
    script.tasks.unschedule(*this);
    state = tvr_task_state::running;
    on_worker = true;
}

void tvr_task::task_wait() {
    if (ended()) return;
    keep();
    script.tasks.unschedule(*this);
    state = tvr_task_state::waiting;
    if (resumed_early) task_schedule(0);
}

void tvr_task::task_resume() {
    task_resume(tvrvar_shared());
}

// A task that waits for a time is resumed as well: it goes on now. One that has not suspended yet
// in this turn, since its native function is still running, goes on as soon as it does.
void tvr_task::task_resume(tvrvar_shared value) {
    const bool now = scheduled && wake_ms <= tvr_millis();
    if (ended() || now) return;
    if (in_turn && state == tvr_task_state::running) {
        resumed_early = true;
    } else {
        script.tasks.unschedule(*this);
        task_schedule(0);
    }
    resume_value = std::move(value);
}

void tvr_task::task_resume_failed(std::string_view message) {
    task_resume(message);
    resume_failed = resume_reported = !ended();
}

void tvr_task::task_resume_from_thread(bool ok, tvrptr_strong<tvrobject_base> object,
                                       tvrvar_shared value) {
    mail->post({this, ok, std::move(object), std::move(value)});
}

void tvr_task::task_terminate() {
    if (ended() || !active) return;
    active = false;
    if (in_turn || on_worker) return;
    script.tasks.unschedule(*this);
    task_schedule(0);
}

void tvr_task::release_global_values() {
    const size_t count = program ? program->variables.size() : 0;
    for (size_t i = 0; i < count && root_frame != nullptr; ++i) {
        root_frame->cells[i]->as_none();
        tvr_run_destructors();
    }
}

void tvr_task::release_global_scope() {
    tvr_drop_frames(*this);
    tvr_free_globals(*this);
    result.release();
    function.release();
    program.release();
    const tvrptr_strong<tvr_task> last = std::move(kept_alive);
}

tvrptr_strong<tvr_task> tvrvar::create_task() {
    return tvr_task::create(*this);
}
