#include "kernel/script/launch_state.h"

#include <algorithm>

#include "kernel/jit.h"
#include "kernel/script/bind_arguments.h"
#include "kernel/script/process.h"
#include "kernel/unit.h"
#include "runtime/local/error_sink.h"
#include "runtime/local/global_lock.h"
#include "runtime/payload/std_json.h"
#include "runtime/script/script.h"

namespace {

// Queues or refuses, and never waits: the launch may run on the pool's only worker.
tvrk_spawn spawn_of(tvrscript* script) {
    if (script == nullptr) return {};
    return [workers = &script->workers](std::function<void()> job) {
        return workers->try_run(std::move(job));
    };
}

// A compiler is ended with the run that wants its code, or with the workers that wait for it.
tvrk_called_off end_of(tvrscript* script) {
    if (script == nullptr) return {};
    return [script, had_workers = script->workers.thread_count() > 0] {
        return script->stop_requested() || (had_workers && script->workers.thread_count() == 0);
    };
}

bool is_asked_to_stop() {
    const tvrscript* script = tvr_script_local();
    return script != nullptr && script->stop_requested();
}

}  // namespace

uint32_t tvr_kernel_thread_count() {
    const tvrscript* script = tvr_script_local();
    const size_t threads = (script != nullptr ? script->workers.thread_count() : 0) + 1;
    const size_t limit = tvr_the_kernel_process().thread_limit.load(std::memory_order_relaxed);
    return uint32_t(limit > 0 ? std::min(limit, threads) : threads);
}

tvrvar_shared tvr_kernel_value(tvrk_prim prim, tvrk_reg reg) {
    switch (prim) {
    case tvrk_prim::void_type: return {};
    case tvrk_prim::f32: return double(reg.f);
    case tvrk_prim::f64: return reg.d;
    default: return reg.i;
    }
}

// Without the interpreter's lock. The launch is listed by now: either a request to stop finds it
// there, or it is seen here.
void tvr_kernel_launch_state::begin(uint64_t most_helpers) {
    tvrscript* script = tvr_script_local();
    launch->made_by.store(script);
    std::atomic_thread_fence(std::memory_order_seq_cst);
    if (is_asked_to_stop()) launch->abort = true;
    const tvrk_spawn spawn = spawn_of(script);
    tvrk_jit_request(launch->unit, *launch->program, spawn, end_of(script));
    // One helper even where the limit is one thread: it only comes if a worker has nothing to do.
    const uint64_t wanted = std::max<uint64_t>(tvr_kernel_thread_count() - 1, 1);
    launch->start_helpers(std::min(wanted, most_helpers), spawn);
}

void tvr_kernel_launch_state::start() {
    const tvr_scoped_unlock others_may_run;
    begin(launch->chunk_count);
}

void tvr_kernel_launch_state::wait() {
    if (finished) return;
    {
        const tvr_scoped_unlock others_may_run;
        launch->wait();
    }
    if (!finished) finish();  // another task may have waited for it too
}

void tvr_kernel_launch_state::run() {
    if (launch->chunk_count > 0) {
        const tvr_scoped_unlock others_may_run;
        begin(launch->chunk_count - 1);  // one chunk is this thread's
        launch->wait();
    }
    finish();
}

void tvr_kernel_launch_state::finish() {
    finished = true;
    if (launch->trapped) {
        report_trap();
    } else if (!launch->abort) {
        results = launch->results();
    } else if (!is_asked_to_stop()) {
        runtime_error("kernel '", launch->program->name, "' was aborted");
    }
    memory.clear();
    texts.clear();
}

void tvr_kernel_launch_state::report_trap() const {
    const tvrk_program& program = *launch->program;
    const tvrk_trap& trap = launch->trap;
    std::string file = program.file;
    uint32_t line = program.line;
    if (trap.pc < program.lines.size() && program.lines[trap.pc] != 0) {
        line = program.lines[trap.pc];
        file = program.files[program.line_files[trap.pc]];
    }
    std::string where = tvr_join("gid ", trap.gid);
    if (two_dimensional) {
        where += tvr_join(", x ", trap.gid % launch->width, ", y ", trap.gid / launch->width);
    }
    runtime_error("kernel '", program.name, "' failed at ", file, ":", line, " (", where,
                  "): ", tvrk_trap_message(program, trap));
}

tvrvar_shared tvr_kernel_launch_state::result() const {
    const tvrk_program& program = *launch->program;
    if (results.empty()) return {};
    if (!program.result.is_struct()) return tvr_kernel_value(program.accs[0].prim, results[0]);
    tvrvar_shared made = tvrvar_shared::make();
    tvr_std_json& json = made->as_json(true);
    for (size_t i = 0; i < results.size(); ++i) {
        json.set(program.accs[i].name, tvr_kernel_value(program.accs[i].prim, results[i]));
    }
    return made;
}

std::shared_ptr<tvr_kernel_launch_state> tvr_prepare_launch(std::shared_ptr<const tvrk_unit> unit,
                                                            const tvrk_program& program,
                                                            tvr_native_args& args) {
    if (args.empty()) {
        runtime_error("kernel '", program.name,
                      "' needs a domain: k.launch(n, ...) or k.launch([width, height], ...)");
        return nullptr;
    }
    tvr_kernel_domain domain;
    std::string error;
    auto state = std::make_shared<tvr_kernel_launch_state>();
    if (tvr_read_kernel_domain(*args[0], domain, error)) {
        state->two_dimensional = domain.two_dimensional;
        state->launch->setup(std::move(unit), program, domain.width, domain.height);
        if (tvr_bind_kernel_arguments(*state, args, error)) return state;
    }
    runtime_error("kernel '", program.name, "'", error);
    return nullptr;
}
