#pragma once

// The virtual machine: runs the frames of a task.
//
// This folder:
//
//   machine.h       how tasks run: calls, runs, ends
//   context.h       a frame
//   machine_code.h  what a routine is lowered to, and its ready frames
//   lower.h         from the blocks of a program to that code
//   error_report.h  what a script writer sees of an error
//
// A call of a script function from script pushes a frame and goes on in the same loop; no native
// stack is used. Native functions that call back into script (tvrvar::call, operators of native
// objects, destructors) run the machine anew inside of it; that may nest max_native_nesting deep.
//
// Thread: one that runs scripts of the interpreter.

#include <cstdint>
#include <span>

#include "runtime/value/value.h"
#include "runtime/vm/context.h"

class tvr_class;
class tvr_program_block_class;
class tvr_task;
struct tvrvar_ptr_function;

inline constexpr uint32_t tvr_max_native_nesting = 200;

// Pushes the frame of a function value's call; `args` are assigned to its parameters, by reference
// where these ask for it. False after a runtime error: no function any more, too many arguments,
// or too few.
bool tvr_push_call(tvr_task& task, tvrvar_ptr_function& function, std::span<tvrvar_shared> args);

// The two frames that an instance is made with. The first gives it its members, whose run ends with
// the instance as the task's result; the second is that of its constructor, which its class must
// have. False after a runtime error.
bool tvr_push_class(tvr_task& task, tvr_program_block_class& definition, tvr_task& scope);
bool tvr_push_constructor(tvr_task& task, tvr_class& made, std::span<tvrvar_shared> args);

// Pushes the frame of a program's main body, whose variables become the globals of the task.
void tvr_push_root(tvr_task& task, tvr_program_block_routine& root);

// Whether an error raised now by the task's running frame would be caught: by a try of its own, or,
// if a native function waits for the task, by one of the task that called that.
bool tvr_catches_error(const tvr_task& task);

// Runs the top frame of a task until the task suspends (vm_suspended), has no frame left
// (vm_block_end; the result is in task.result) or an error was not caught (vm_error; reported,
// frames released). The caller has entered a tvr_task_scope.
tvr_vm_code tvr_run(tvr_task& task);

// Releases all frames of a task but the one of its globals. Runs no script, but may put instances
// into the queue of the dying.
void tvr_drop_frames(tvr_task& task);

// Gives the frame of a root task's globals back, when no script will look at them any more.
void tvr_free_globals(tvr_task& task);

// Gives an error that ended `from` on to the task that waits for it, without a second report.
void tvr_pass_error(const tvr_task& from, tvr_task& to);

// Runs the destructors of all dying instances, and of those that die meanwhile. Errors in them are
// reported and go no further. Does nothing inside of a destructor.
void tvr_run_destructors();
