// The end of an interpreter: tasks, destructors, globals, and what is left in the pools.

#include "kernel/launch.h"
#include "runtime/local/thread_local.h"
#include "runtime/log/log.h"
#include "runtime/object/class_instance.h"
#include "runtime/script/compiler.h"
#include "runtime/script/script.h"
#include "runtime/value/records.h"
#include "runtime/vm/machine.h"

namespace {

// Pools of several kinds go by one name, whose counts are added.
void report_live(const tvr_pool_set& pools) {
    for (size_t kind = 0; kind < size_t(tvr_pool_kind::count);) {
        const std::string_view name = tvr_pool_name(tvr_pool_kind(kind));
        size_t live = 0;
        for (; kind < size_t(tvr_pool_kind::count) && name == tvr_pool_name(tvr_pool_kind(kind));
             ++kind) {
            live += pools.live(tvr_pool_kind(kind));
        }
        if (live > 0) tvr_log().log("Script shutdown: ", live, " ", name);
    }
}

void forget_thread(tvr_thread_local& local) {
    local.script = nullptr;
    local.pools = nullptr;
    local.lock = nullptr;
    local.signals = nullptr;
    local.updates = nullptr;
    local.filesys = nullptr;
    local.errors = nullptr;
    local.owns_interpreter = false;
}

}  // namespace

tvrscript::log_binding::~log_binding() {
    if (bound) tvr_local().log = nullptr;
}

tvrscript::~tvrscript() {
    tvr_thread_local& local = tvr_local();
    if (local.script != this) return;
    {
        const tvr_global_lock hold(&lock);
        release_tasks();
        {
            const tvr_scoped_unlock others_may_run;
            workers.shutdown();
        }
        release_everything();
    }
    owner.store(nullptr);
    forget_thread(local);
}

// Tasks that a worker runs see the request to stop, and are over when their turn is.
void tvrscript::release_tasks() {
    const tvr_global_lock hold(&lock);
    const bool asked = stop_requested();
    tvr_log().verbose(tasks.alive, " tasks remaining, waiting for thread...");
    signals.raise(tvr_signal_stop);
    std::atomic_thread_fence(std::memory_order_seq_cst);
    tvrk_abort_all(this);
    workers.finish_tasks();
    end_tasks();
    if (!asked) signals.lower(tvr_signal_stop);
}

void tvrscript::end_tasks() {
    for (const auto& task : tasks.newest_first()) {
        if (task->kept()) task->end_now();
    }
}

// Destructors run although the run was asked to stop: another request ends one that does not come
// to its end.
void tvrscript::release_everything() {
    signals.lower(tvr_signal_stop);
    tvr_run_destructors();
    release_globals();
    run_last_destructors();
    std_state.reset();
    for (const auto& task : tasks.newest_first()) task->release_global_scope();
    root_namespace.release_variables();
    tasks.mail->close();
    tasks.deliver();
    tvr_run_destructors();
    frames.clear();
    compiler.reset();
    pools.collect_garbage();
    release_remaining_vars();
}

// One global after the other, each with the destructors that it brings about: these still find the
// globals behind it, and all functions.
void tvrscript::release_globals() {
    for (const auto& task : tasks.newest_first()) {
        if (task->is_root()) task->release_global_values();
    }
}

// Instances that rings or the host keep alive: their destructors cannot run any later than now.
void tvrscript::run_last_destructors() {
    if (pools.live(tvr_pool_kind::class_instances) == 0) return;
    pools.of<tvr_class>().for_each_live([](tvr_class& instance) { instance.queue_destructors(); });
    tvr_run_destructors();
}

// What is still alive hangs in rings or is held by the host. Each variable is emptied, which opens
// the rings; the host's stay, and their memory is left to it.
void tvrscript::release_remaining_vars() {
    const tvr_global_lock hold(&lock);
    auto& variables = pools.of<tvrvar>();
    report_live(pools);
    if (variables.live() == 0) return;
    log().log("Script shutdown: releasing ", variables.live(),
              " variables that are still allocated.");
    variables.for_each_live([](tvrvar& variable) {
        const tvrvar_shared kept(&variable);
        variable.as_none();
    });
    if (variables.live() == 0) return;
    log().err("Script shutdown: ", variables.live(),
              " are still referenced from outside the script, their memory is not freed.");
}
