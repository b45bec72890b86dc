#pragma once

// One running piece of script: a stack of frames and a state.
//
// Tasks are cooperative. They run on the interpreter's thread in tvrscript::update(), or on a
// worker under the global lock, and give way where they suspend. A task whose parent is gone does
// not go on. The root task of a program holds its globals: it lives until its interpreter ends, so
// that functions stay callable behind the script's last line.
//
// Script thread, but for task_resume_from_thread().

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/local/thread_local.h"
#include "runtime/memory/pointer.h"
#include "runtime/object/function_def.h"
#include "runtime/value/value.h"
#include "runtime/vm/context.h"

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
    // pushed by tvr_push_root() or tvr_push_call().
    tvr_task(tvrscript& owner, tvr_task* parent);
    ~tvr_task() override;

    // Runs until the top frame suspends or the task ends. True when it has ended.
    bool task_continue();

    // Wakes the task in so many ms; 0 is as soon as possible. Once, however often it is asked.
    void task_schedule(int64_t ms);
    void task_wait();    // nobody runs it until it is resumed
    void task_resume();  // with none as the result of the call that suspended it
    void task_resume(tvrvar_shared result);
    // From a foreign thread: hands a result over and wakes the interpreter. With `ok` false the
    // call that suspended fails with the result's text as message. The object is kept until then.
    void task_resume_from_thread(bool ok, tvrptr_strong<tvrobject_base> object,
                                 tvrvar_shared result);
    void task_terminate();  // ends it at its next turn, past every catch

    void release_global_scope();  // of a root task; when the interpreter ends

    bool ended() const {
        return state == tvr_task_state::finished || state == tvr_task_state::failed;
    }
    bool is_root() const { return !has_parent; }
    tvr_task& root();  // the task whose globals this one sees

    // Whether an error raised now would be caught inside this task.
    bool error_caught_by_try() const;

    // Runs a function in a task of its own inside of the running one, to its end. False when it
    // failed; then the caller's task has the same error. `result` is none where there is none.
    static bool call(tvrvar& function, std::vector<tvrvar_shared>& args, tvrvar_shared& result);

    tvrscript& script;
    tvrptr_strong<tvrptr_base_internal> program;  // the root block of what it runs; the machine's
    tvrptr_weak<tvr_task> parent;
    bool has_parent = false;
    std::string name;
    tvr_task_state state = tvr_task_state::waiting;
    bool active = true;  // false once it was terminated
    bool threaded = false;
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
    bool error_caught = false;             // and a catch or a noexcept function waits for it
    bool suspending = false;               // with tvr_signal_suspend
    bool resume_failed = false;            // the suspended call fails with resume_value's text
    bool in_destructor = false;            // may not suspend
    bool in_place = false;                 // a native function waits for it; may not suspend
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
};

// Monotonic milliseconds.
int64_t tvr_millis();
