#pragma once

// One running piece of script: a stack of frames and a state.
//
// This folder:
//
//   task.h         a task: its turns, suspension, end
//   task_list.h    all tasks of an interpreter: who waits for what
//   task_mail.h    what foreign threads have brought for them
//   thread_pool.h  the workers
//
// Tasks are cooperative. They run on the interpreter's thread in tvrscript::update(), or on a
// worker under the global lock, and give way where they suspend. A task keeps itself alive from
// when it is scheduled or suspended for the first time until it has ended, so nobody need hold it.
// A task whose parent is gone does not go on. The root task of a program holds its globals: it
// lives until its interpreter ends, so that functions stay callable behind the script's last line.
//
// Script thread, but for task_resume_from_thread().

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/local/thread_local.h"
#include "runtime/memory/pointer.h"
#include "runtime/object/function_def.h"
#include "runtime/value/value.h"
#include "runtime/vm/context.h"

class tvr_program_block_root;
class tvr_task_mail;
class tvrscript;

enum class tvr_task_state : uint8_t {
    runnable,  // in the interpreter's list, with a time at which it goes on
    running,   // on this thread or on a worker
    waiting,   // until somebody resumes it
    finished,  // ended, with a result
    failed,    // ended by an error that nobody caught, or terminated
};

class tvr_task : public tvrptr_base_internal {
public:
    // A root task for a program's main body (parent null), or a task for a function; its frame is
    // pushed by tvr_push_root() or start().
    tvr_task(tvrscript& owner, tvr_task* parent);
    ~tvr_task() override;

    // A task for a function of a script, a child of the running task. Null after the runtime error
    // "invalid function for routine".
    static tvrptr_strong<tvr_task> create(tvrvar& function);
    // Gives it the arguments and a frame; whoever started it schedules it. False after a runtime
    // error.
    bool start(std::span<tvrvar_shared> args);

    // Runs until the top frame suspends or the task ends. True when it has ended.
    bool task_continue();

    // Wakes the task in so many ms; 0 is as soon as possible. Once, however often it is asked.
    void task_schedule(int64_t ms);
    void task_wait();    // nobody runs it until it is resumed
    void task_resume();  // with none as the result of the call that suspended it
    void task_resume(tvrvar_shared result);
    // With an error that has been reported where it was raised: the call that suspended fails.
    void task_resume_failed(std::string_view message);
    // From a foreign thread: hands a result over and wakes the interpreter. With `ok` false the
    // call that suspended fails with the result's text as message. The object is kept until then.
    void task_resume_from_thread(bool ok, tvrptr_strong<tvrobject_base> object,
                                 tvrvar_shared result);
    void task_terminate();  // ends it at its next turn, past every catch
    void end_now();         // the same at once, unless it has its turn or a worker has it

    // Of a root task, when the interpreter ends: empties the globals one after the other, each with
    // the destructors of what hung on it; then the frame goes too.
    void release_global_values();
    void release_global_scope();

    // For the thread pool: it waits in the queue, kept alive.
    void queue_for_worker();

    // For call(): the whole run of a task inside of another's instruction.
    tvr_vm_code run_in_place();

    // For native functions that call back and can wait for the answer: runs the frame that was
    // pushed, inside of the running task's instruction. With vm_suspended the task goes on as one
    // of its own, and on_finished tells its end; else it can be used for the next call.
    tvr_vm_code run_callback();

    // Whom a native function runs this task for, and who takes its errors; null for no one.
    tvrptr_strong<tvr_task> caller() const {
        return called ? parent.lock() : tvrptr_strong<tvr_task>();
    }

    bool ended() const {
        return state == tvr_task_state::finished || state == tvr_task_state::failed;
    }
    bool kept() const { return bool(kept_alive); }  // it waits or runs, or holds globals
    bool is_root() const { return !has_parent; }
    tvr_task& root();  // the task whose globals this one sees

    // Runs a function, or makes an instance of a class, in a task of its own inside of the running
    // one, to its end. False when it failed; then the caller's task has the same error. `result` is
    // none where there is none.
    static bool call(tvrvar& function, std::vector<tvrvar_shared>& args, tvrvar_shared& result);

    tvrscript& script;  // outlives the task as long as the task is listed
    tvrptr_weak<tvr_task> parent;
    bool has_parent = false;
    std::string name;
    tvr_task_state state = tvr_task_state::waiting;
    bool active = true;      // false once it was terminated
    bool threaded = false;   // its turns are the workers'
    bool on_worker = false;  // waits in the workers' queue
    bool in_turn = false;    // task_continue() is running
    bool scheduled = false;
    int64_t wake_ms = 0;  // of tvr_millis()
    double started = 0;   // s, steady clock; 0 before the first turn
    uint32_t children = 0;
    std::function<void(tvr_task&)> on_finished;  // once, also when it failed; may be empty

    // With the machine.
    tvr_vm_context* top = nullptr;         // the running frame
    tvr_vm_context* root_frame = nullptr;  // of a root task: its globals; also once it has ended
    uint32_t base_depth = 0;               // where its first frame's depth begins
    tvrvar_shared result;                  // of the task, once it has finished
    tvrvar_shared resume_value;            // of the call that suspended it; null for none
    std::string error;                     // the message on its way to a catch, or that ended it
    bool error_pending = false;            // with tvr_signal_error: this task's instruction failed
    bool suspending = false;               // with tvr_signal_suspend
    bool resume_failed = false;            // the suspended call fails with resume_value's text
    bool in_destructor = false;            // may not suspend
    bool in_place = false;                 // a native function waits for it; may not suspend
    bool called = false;                   // by a native function of its parent; see caller()
    bool resume_reported = false;          // with resume_failed: nobody need hear of it again
    tvrvar_shared function;                // of a task for a function
    tvrptr_strong<tvr_program_block_root> program;  // of a root task

private:
    friend class tvr_task_list;

    void keep();
    void finish(tvr_task_state end);
    void tell_finished();
    tvr_vm_code turn();

    const std::shared_ptr<tvr_task_mail> mail;  // of its interpreter
    tvrptr_strong<tvr_task> kept_alive;         // itself, from its first wait to its end
    bool resumed_early = false;                 // in this turn, before it suspended
    bool listed = false;
    uint64_t order = 0;  // among tasks of the same wake-up time
    tvr_task* older = nullptr;
    tvr_task* newer = nullptr;
};

// Makes a task current on this thread for a scope, and gives the thread its name.
class tvr_task_scope {
public:
    explicit tvr_task_scope(tvr_task& task);
    ~tvr_task_scope();
    tvr_task_scope(const tvr_task_scope&) = delete;
    tvr_task_scope& operator=(const tvr_task_scope&) = delete;

private:
    tvr_task* outer;
    tvr_vm_context* outer_context;
    tvrptr_control_block* outer_root;
    std::string outer_name;
    bool renamed;  // a task without a name leaves the thread's
};

// Monotonic milliseconds.
int64_t tvr_millis();
