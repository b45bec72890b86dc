#include "host/script_runner.h"

#include <algorithm>
#include <limits>

#include "base/clock.h"
#include "host/command.h"
#include "runtime/local/global_lock.h"
#include "runtime/local/thread_local.h"

namespace host {

namespace {

tvr_task_state state_of(const tvrptr_strong<tvr_task>& task) {
    const tvr_global_lock hold;  // a worker may run it
    return task->state;
}

bool has_ended(const tvrptr_strong<tvr_task>& task) {
    const tvr_task_state state = state_of(task);
    return state == tvr_task_state::finished || state == tvr_task_state::failed;
}

}  // namespace

script_runner::script_runner(tvrscript& driven, double fps, std::function<void()> sleeps)
    : script(driven), frame_s(fps > 0 ? 1.0 / fps : 0.0), before_sleep(std::move(sleeps)) {}

void script_runner::run(const tvrptr_strong<tvr_task>& root) {
    while (!script.stop_requested()) {
        turn();
        if (script.stop_requested() || !script.has_work()) return;
        if (state_of(root) == tvr_task_state::failed) return;
        sleep();
    }
}

void script_runner::run_to_end(const tvrptr_strong<tvr_task>& root) {
    while (!script.stop_requested()) {
        turn();
        if (script.stop_requested() || has_ended(root)) return;
        sleep();
    }
}

void script_runner::turn() {
    // Frames keep their beat; those that were missed are not made up for.
    const double now = tvr_now_s();
    if (next_frame <= now) {
        next_frame += frame_s;
        if (next_frame <= now) next_frame = now + frame_s;
    }
    script.update();
    // What has rung up to here shows in what is asked from here on: whether there is work, and
    // when. A worker that ends the last task behind this line rings again.
    tvr_local().wait_for_wakeup(0);
}

double script_runner::next_turn() {
    constexpr double ms_per_s = 1000.0;
    const double now = tvr_now_s();
    double until = std::numeric_limits<double>::infinity();
    if (script.updates.live() > 0) until = next_frame;
    const int64_t wake_ms = script.next_wake_ms();
    if (wake_ms < 0) return std::min(until, next_frame);
    const int64_t left_ms = wake_ms - tvr_millis();
    return std::min(until, now + double(std::max<int64_t>(left_ms, 0)) / ms_per_s);
}

void script_runner::sleep() {
    if (before_sleep) before_sleep();
    const double until = next_turn();
    if (until > tvr_now_s()) tvr_local().wait_for_wakeup(until);
}

int exit_status_of(const tvrscript& script, const tvrptr_strong<tvr_task>& root) {
    if (script.stop_requested()) return script.stop_status();
    return state_of(root) == tvr_task_state::failed ? exit_failed : exit_ok;
}

}  // namespace host
