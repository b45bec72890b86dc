#pragma once

// One interpreter: pools, log, files, namespaces, tasks and workers.
//
//     tvrscript script;
//     tvrscript_config_default config;
//     script.init(config);
//     script.create_task_from_file("show.tvio");
//     while (drawing) script.update();
//
// This folder:
//
//   script.h          the interpreter (script.cpp), its end (shutdown.cpp)
//   config.h          how a host wants it
//   compiler.h        from files to programs, with a cache
//   global.h          what all interpreters of the process share: registered namespaces
//   module_loader.h   packages and their native libraries; package_file.h, dynamic_library.h
//
// One for each thread. Everything here belongs to that thread; others enter through the global
// lock, and request_stop() may come from any of them and from a signal handler. Between updates
// the owner holds no lock: host code that touches values then, while workers run script tasks,
// holds a tvr_global_lock. The functions here take it themselves.

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "frontend/program/program_block.h"
#include "runtime/filesys/filesys.h"
#include "runtime/local/global_lock.h"
#include "runtime/local/pool_set.h"
#include "runtime/local/signals.h"
#include "runtime/object/namespaces.h"
#include "runtime/object/update_hooks.h"
#include "runtime/script/config.h"
#include "runtime/task/task.h"
#include "runtime/task/task_list.h"
#include "runtime/task/thread_pool.h"
#include "runtime/vm/error_report.h"
#include "runtime/vm/frame_store.h"

class tvr_compiler;
class tvr_function_module;
class tvr_log_base;

class tvrscript {
    // The thread's log goes last, behind all that may have something to say.
    struct log_binding {
        ~log_binding();
        bool bound = false;
    };
    log_binding log_bound;

public:
    tvrscript();
    // Ends all tasks, children first, joins the workers, runs the destructors that remain, and
    // reports what is left in the pools. On the owner's thread.
    ~tvrscript();
    tvrscript(const tvrscript&) = delete;
    tvrscript& operator=(const tvrscript&) = delete;

    // Binds the interpreter to the calling thread, which owns it from then on, and starts its
    // workers. False, with a message in the log, when the thread has one already.
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

    // Asks everything that runs to end, with this exit status for the host, and wakes the owner.
    // The first request counts. Any thread and signal handlers: atomics and a futex, nothing else.
    void request_stop(int status);
    bool stop_requested() const { return signals.is_raised(tvr_signal_stop); }
    int stop_status() const { return status.load(std::memory_order_relaxed); }

    // Whether something could still go on: a task that can run or waits for its time or for a
    // worker, or an object with an update hook.
    bool has_work() const;
    // The next moment at which update() has a task to run, in ms of tvr_millis(): -1 for now,
    // tvr_task_list::never when there is none. What foreign threads bring wakes the owner's
    // tvr_local().wait_for_wakeup(), and so does request_stop(). Objects with hooks are not
    // counted: they are called as often as the host calls update().
    int64_t next_wake_ms() const;

    // Ends the owner's wait_for_wakeup(), or its next one. Any thread, signal handlers too.
    void wake();

    bool is_namespace_allowed(std::string_view name) const;
    void print_sys_paths() const;
    void collect_garbage();
    void release_tasks();
    void release_remaining_vars();
    // The next task whose time has come, or with due_only false the next one at all.
    tvrptr_strong<tvr_task> pop_waiting_task(bool due_only);

    // Makes a thread know this interpreter without owning it, as the workers do.
    void lend_to_thread(tvr_thread_local& local);

    // Fills the tree with a registered namespace, once. True when it was new.
    bool take_module(const tvr_function_module& module);

    tvr_log_base& log() const { return *log_in_use; }
    tvr_filesys& file_sys() const { return *files_in_use; }

    tvrscript_config_default config;
    mutable tvr_interpreter_lock lock;
    tvr_vm_signals signals;
    tvr_pool_set pools{lock};
    tvr_frame_store frames;
    tvr_namespace root_namespace{""};
    tvr_update_lists updates;
    tvr_thread_pool workers{*this};

    tvr_task_list tasks;
    std::shared_ptr<void> std_state;  // what the standard functions keep for this interpreter

private:
    bool start(const tvrscript_config_default& wanted);
    void set_search_paths();
    tvrptr_strong<tvr_task> start_program(const tvrptr_strong<tvr_program_block_root>& program,
                                          const std::string& name);
    std::vector<tvrptr_strong<tvr_task>> due_tasks();
    void run_tasks(const std::vector<tvrptr_strong<tvr_task>>& due);
    void end_tasks();
    void run_last_destructors();
    void release_globals();
    void release_everything();

    tvr_filesys_disk own_files;  // for a host that brings none
    tvr_log_base* log_in_use;
    tvr_filesys* files_in_use;
    tvr_vm_errors errors;
    std::optional<tvr_filesys::search_path_scope> given_paths;
    std::unique_ptr<tvr_compiler> compiler;
    std::vector<const tvr_function_module*> taken_modules;
    bool initialized = false;
    bool updating = false;
    std::atomic<int> status{0};
    // The owner's record, for wake(); null while unbound.
    std::atomic<tvr_thread_local*> owner{nullptr};
};
