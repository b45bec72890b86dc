#include "runtime/vm/error_report.h"

#include <array>

#include "frontend/program/program_block.h"
#include "frontend/source/source_excerpt.h"
#include "frontend/source/token_view.h"
#include "runtime/local/signals.h"
#include "runtime/local/thread_local.h"
#include "runtime/log/log.h"
#include "runtime/script/script.h"
#include "runtime/task/task.h"
#include "runtime/vm/machine.h"
#include "runtime/vm/machine_code.h"

namespace {

constexpr size_t most_frames = 30;    // that a report lists all of
constexpr size_t listed_frames = 10;  // of more than those
constexpr std::string_view rule = "------------------------------------------------------------\n";

// Of the operation that a frame is at: of a call that runs or has suspended, the call.
const tvr_src_token* token_of(const tvr_vm_context& frame) {
    const tvr_machine_code& machine = *frame.machine;
    const auto next = uint32_t(frame.next - machine.code.data());
    const bool at_its_own = frame.task->top == &frame && !frame.resuming;
    return machine.token_at(at_its_own || next == 0 ? next : next - 1);
}

std::string frame_name(const tvr_vm_context& frame) {
    const tvr_program_block_routine& routine = *frame.machine->routine;
    if (routine.kind == tvr_block_kind::root) return "main";
    if (dynamic_cast<const tvr_program_block_class*>(&routine) != nullptr) {
        return tvr_join("class '", routine.name, "'");
    }
    std::string name = routine.name.empty() ? "lambda" : routine.name;
    if (!frame.self) return name;
    if (name == "__deinit__") {
        return tvr_join("__deinit__ of class '", frame.self->class_name(), "'");
    }
    return tvr_join(frame.self->class_name(), ".", name);
}

std::string_view file_of(const tvr_src_token* token) {
    return token != nullptr && token->view() != nullptr ? token->view()->path : std::string_view();
}

// A line of the list; the file is named where it is not `main_file`.
void add_frame(std::string& out, const tvr_vm_context& frame, std::string_view main_file) {
    const tvr_src_token* token = token_of(frame);
    if (token != nullptr) token = &tvr_place_of_use(*token);
    out += tvr_join(" --> Line ", token != nullptr ? token->line : 0, " |-- ", frame_name(frame));
    const std::string_view file = file_of(token);
    if (file != main_file) out += tvr_join(" in ", file);
    out += "\n";
}

// From the running frame down, and on through the tasks that wait for it. Of a stack that fills the
// memory only what is shown.
struct call_stack {
    explicit call_stack(const tvr_task& task) {
        tvrptr_strong<tvr_task> waits;
        for (const tvr_task* at = &task; at != nullptr; at = waits.get()) {
            for (const tvr_vm_context* f = at->top; f != nullptr; f = f->caller) add(*f);
            waits = at->caller();
        }
    }
    void add(const tvr_vm_context& frame) {
        if (count < most_frames) frames[count] = &frame;
        bottom = &frame;
        ++count;
    }

    std::array<const tvr_vm_context*, most_frames> frames = {};  // the first ones
    size_t count = 0;                                            // of all
    const tvr_vm_context* bottom = nullptr;
};

void say(bool is_error, const std::string& text) {
    if (is_error) {
        tvr_log().err(text);
    } else {
        tvr_log().warn(text);
    }
}

void report(bool is_error, std::string_view heading, const std::string& message) {
    const tvr_task* task = tvr_local().task;
    if (task == nullptr || task->top == nullptr) return say(is_error, message);
    say(is_error, tvr_runtime_report(heading, message, *task));
}

}  // namespace

std::string tvr_runtime_report(std::string_view heading, std::string_view message,
                               const tvr_task& task) {
    const call_stack stack(task);
    std::string out = tvr_join(rule, heading, "\n", rule);
    std::string_view main_file;
    if (stack.count > 0) {
        const tvr_src_token* token = token_of(*stack.frames.front());
        if (token != nullptr && token->view() != nullptr) out += tvr_source_excerpt(*token);
        main_file = file_of(token_of(*stack.bottom));
    }
    out += tvr_join(message, "\n");
    const size_t shown = stack.count > most_frames ? listed_frames : stack.count;
    for (size_t i = 0; i < shown; ++i) add_frame(out, *stack.frames[i], main_file);
    if (shown < stack.count) {
        out += tvr_join("... ", stack.count - shown, " more frames ...\n");
    }
    out += rule;
    out.pop_back();
    return out;
}

void tvr_vm_errors::on_runtime_error(const std::string& message) {
    tvr_task* task = tvr_local().task;
    if (task == nullptr || task->top == nullptr) return tvr_log().err(message);
    if (task->error_pending) return;  // the first error of an instruction is the one
    task->error = message;
    task->error_pending = true;
    task->script.signals.raise(tvr_signal_error);
    if (tvr_catches_error(*task)) {
        tvr_log().verbose("Caught runtime error: ", message);
    } else {
        report(true, "Runtime Error", message);
    }
}

void tvr_vm_errors::on_runtime_warning(const std::string& message) {
    report(false, "Runtime Warning", message);
}
