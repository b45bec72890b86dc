#include "stdobj/thread_object.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>

#include "runtime/local/error_sink.h"
#include "runtime/log/log.h"
#include "runtime/payload/std_json.h"
#include "runtime/script/script.h"
#include "stdobj/arguments.h"

// A join that waits: held by the callbacks of the tasks that it waits for.
struct tvr_std_thread::joining {
    task_list tasks;
    size_t missing = 0;
    tvrptr_weak<tvr_task> caller;
    tvrptr_strong<tvr_std_thread> thread;

    void one_ended() {
        if (--missing > 0) return;
        thread->take_results(tasks);
        const tvrptr_strong<tvr_task> waiting = caller.lock();
        if (waiting) waiting->task_resume(thread->self_value());
    }
};

namespace {

bool is_over(const tvrptr_strong<tvr_task>& task) {
    return task->ended();
}

}  // namespace

tvr_std_thread::~tvr_std_thread() {
    if (std::all_of(active.begin(), active.end(), is_over)) return;
    tvr_log().warn("TODO: implement active_tasks->terminate() !");
}

void tvr_std_thread::construct(tvr_vm_context&, tvr_native_args& args) {
    if (args.empty()) return;
    const tvrvar_shared function = args[0]->deref();
    if (function->type != tvrvar_type_function) return runtime_error("callback is not a function!");
    callback = tvrvar_shared::make();
    callback->set(*function);
}

tvrvar_shared tvr_std_thread::run(tvr_vm_context&, tvr_native_args& args) {
    if (!callback) {
        runtime_error("callback is not a function!");
        return {};
    }
    const tvrptr_strong<tvr_task> task = callback->create_task();
    if (!task || !task->start(args)) return {};
    active.push_back(task);
    joined = false;
    task->script.workers.run_task(*task);
    return self_value();
}

tvrvar_shared tvr_std_thread::join(tvr_vm_context& frame, tvr_native_args&) {
    if (joined) {
        runtime_error("Cannot join twice!");
        return {};
    }
    const auto is_caller = [&](const auto& task) { return task.get() == frame.task; };
    if (std::any_of(active.begin(), active.end(), is_caller)) {
        runtime_error("A task cannot wait for its own end.");
        return {};
    }
    const auto running = size_t(std::count_if(active.begin(), active.end(), std::not_fn(is_over)));
    if (running > 0) {
        frame.suspend_wait();
        if (!frame.task->suspending) return {};
    }
    joined = true;
    auto waits = std::make_shared<joining>();
    waits->tasks = std::exchange(active, {});
    waits->missing = running;
    waits->caller.acquire(frame.task);
    waits->thread.acquire(this);
    for (const auto& task : waits->tasks) {
        if (!task->ended()) task->on_finished = [waits](tvr_task&) { waits->one_ended(); };
    }
    if (running == 0) take_results(waits->tasks);
    return self_value();
}

void tvr_std_thread::take_results(const task_list& ended) {
    for (const auto& task : ended) {
        tvrvar_shared result = tvrvar_shared::make();
        if (task->result) result->set(*task->result);
        results.push_back(std::move(result));
    }
}

tvrvar_shared tvr_std_thread::get_results(tvr_vm_context&, tvr_native_args& args) {
    tvrvar_shared found = tvrvar_shared::make();
    if (args.empty()) {
        tvr_std_json& list = found->as_json(true);
        for (const tvrvar_shared& result : results) list.create_member()->set(*result);
        return found;
    }
    const auto index = tvr_arguments("get_results", args).whole(0, "index");
    if (!index) return {};
    if (*index < 0 || *index >= int64_t(results.size())) {
        runtime_warning("get_results: index ", *index, " is out of range (", results.size(),
                        " results)");
    } else {
        found->set(*results[size_t(*index)]);
    }
    return found;
}

tvrvar_shared tvr_std_thread::self_value() {
    tvrvar_shared value = tvrvar_shared::make();
    value->as_object(this);
    return value;
}

void tvr_std_thread::script_register(tvrobject_metadata& m) {
    m.description = "Create a new thread object with optional callback function";
    add_function(m, "run", &tvr_std_thread::run, 0, tvr_function_def::any_number,
                 {.description = "Execute callback function asynchronously as a task",
                  .params = {"...: any - Variable arguments to pass to the callback function"},
                  .returns_class = "std.thread"});
    add_function(m, "join", &tvr_std_thread::join, 0, 0,
                 {.description = "Join active tasks and wait for their completion",
                  .returns_class = "std.thread"});
    add_function(m, "get_results", &tvr_std_thread::get_results, 0, 1,
                 {.description = "Get returned values",
                  .params = {"index: int - Which one; all of them as a list if left out"}});
}
