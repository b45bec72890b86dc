#pragma once

// Drives an interpreter: a frame, a sleep, a frame, until nothing is left that could go on.
//
// What a host with a picture of its own does once a frame (tvrscript::update()) is done here by a
// loop that sleeps in between: until the next frame while there are objects with hooks, else until
// the next task wants to go on, and never longer than until another thread has something for the
// interpreter. It never spins. On the interpreter's thread.

#include <functional>

#include "runtime/script/script.h"

namespace host {

class script_runner {
public:
    // fps 0: a frame at once while a task can run. `before_sleep` may be empty.
    script_runner(tvrscript& driven, double fps, std::function<void()> before_sleep);

    // Until nothing is left, the task has failed, or the interpreter is asked to stop.
    void run(const tvrptr_strong<tvr_task>& root);

    // Until the task has ended, or the interpreter is asked to stop.
    void run_to_end(const tvrptr_strong<tvr_task>& root);

    // One frame.
    void turn();

    // The moment in s of the steady clock at which the next frame is due; infinity for none.
    double next_turn();

private:
    void sleep();

    tvrscript& script;
    const double frame_s;  // 0: no time between frames
    const std::function<void()> before_sleep;
    double next_frame = 0;  // s, steady clock
};

// 0, 1 for a task that failed, or what a stop asked for.
int exit_status_of(const tvrscript& script, const tvrptr_strong<tvr_task>& root);

}  // namespace host
