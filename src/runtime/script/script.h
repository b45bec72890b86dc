#pragma once

// One interpreter: pools, log, files, namespaces, tasks and workers.
//
//     tvrscript script;
//     tvrscript_config_default config;
//     script.init(config);
//     script.create_task_from_file("show.tvio");
//     while (drawing) script.update();
//
// One for each thread. Everything here belongs to that thread; others enter through the global
// lock, and request_stop() may come from any of them and from a signal handler.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "frontend/program/program_block.h"
#include "runtime/local/global_lock.h"
#include "runtime/local/pool_set.h"
#include "runtime/local/signals.h"
#include "runtime/object/namespaces.h"
#include "runtime/object/update_hooks.h"
#include "runtime/script/config.h"
#include "runtime/task/task.h"
#include "runtime/task/thread_pool.h"
#include "runtime/vm/error_report.h"
#include "runtime/vm/frame_store.h"

class tvr_compiler;
class tvr_filesys;
class tvr_log_base;

class tvrscript {
public:
    tvrscript();
    // Ends all tasks, children first, runs the destructors that remain, reports what is left in the
    // pools, and joins the workers.
    ~tvrscript();
    tvrscript(const tvrscript&) = delete;
    tvrscript& operator=(const tvrscript&) = delete;

    // Binds the interpreter to the calling thread and starts its workers. False, with a message in
    // the log, when the thread has one already.
    bool init(const tvrscript_config_default& wanted);
    bool init_minimal(const tvrscript_config_default& wanted);  // without workers
    bool bind_to_thread();

    // One frame of the host: wakes tasks, calls the objects' hooks, runs every task that can go on,
    // takes in what foreign threads have freed. Takes the global lock.
    void update();

    std::unique_ptr<tvr_compiler> create_compiler();
    tvrptr_strong<tvr_program_block_root> create_program_from_source(std::string text,
                                                                     const std::string& name);
    tvrptr_strong<tvr_program_block_root> create_program_from_file(const std::string& path);
    // Null, with the reports in the log, when there is nothing to run.
    tvrptr_strong<tvr_task> create_task_from_code(std::string text, const std::string& name);
    tvrptr_strong<tvr_task> create_task_from_file(const std::string& path);

    // Asks everything that runs to end, with this exit status for the host. Any thread, any time.
    void request_stop(int status);
    bool stop_requested() const { return signals.is_raised(tvr_signal_stop); }
    int stop_status() const { return status.load(std::memory_order_relaxed); }

    // Whether something could still go on: a task that can run or waits for its time or for a
    // worker, or an object with an update hook.
    bool has_work() const;
    // The next moment at which update() has something to do, in ms of tvr_millis(); -1 for now.
    int64_t next_wake_ms() const;

    bool is_namespace_allowed(std::string_view name) const;
    void print_sys_paths() const;
    void collect_garbage();
    void release_tasks();
    void release_remaining_vars();
    tvrptr_strong<tvr_task> pop_waiting_task(bool due_only);

    tvr_log_base& log() const { return *log_in_use; }
    tvr_filesys& file_sys() const { return *files_in_use; }

    tvrscript_config_default config;
    tvr_interpreter_lock lock;
    tvr_vm_signals signals;
    tvr_pool_set pools{lock};
    tvr_frame_store frames;
    tvr_namespace root_namespace{""};
    tvr_update_lists updates;
    tvr_thread_pool workers{*this};

private:
    tvr_log_base* log_in_use = nullptr;
    tvr_filesys* files_in_use = nullptr;
    tvr_vm_errors errors;
    std::vector<tvrptr_strong<tvr_task>> waiting;  // by wake-up time, then in order of asking
    std::vector<tvrptr_strong<tvr_task>> roots;    // whose globals live
    bool initialized = false;
    std::atomic<int> status{0};
};
