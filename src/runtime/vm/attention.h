#pragma once

// What the machine does when a signal is raised, and the loop itself.

#include "runtime/vm/context.h"

class tvr_task;

// Runs the top frame of a task and those that it calls.
tvr_vm_code tvr_run_frames(tvr_task& task);

// Sees to all signals: unwinds to whoever catches the error, ends a run that was asked to end, runs
// destructors, lets go of a suspended task, gives way to another thread between two statements.
// vm_running: goes on with the task's top frame at its next operation.
tvr_vm_code tvr_attend(tvr_task& task, bool between_statements);
