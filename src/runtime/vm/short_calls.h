#pragma once

// The short ways of calls, for the machine's loop: each pushes the callee's frame where nothing is
// out of the ordinary, and does nothing where its step (steps.h) has to look closer. A header,
// since a call costs less than a jump into another file would.

#include "frontend/program/program_block.h"
#include "runtime/object/class_instance.h"
#include "runtime/task/task.h"
#include "runtime/value/records.h"
#include "runtime/vm/cells.h"
#include "runtime/vm/push.h"
#include "runtime/vm/steps.h"

// The frame of a call that is nothing out of the ordinary: all parameters given in order, none by
// reference. Null where tvr_step_call... has to look closer.
[[gnu::always_inline]] inline tvr_vm_context* tvr_push_plain_call(
    tvr_task& task, tvr_vm_context& frame, const tvr_machine_op* op, const tvr_call_site& site,
    tvr_program_block_routine& routine, tvr_task& base, uint32_t limit) {
    tvr_machine_code* machine = routine.machine.get();
    const uint32_t depth = frame.depth + site.nesting + 1;
    if (machine == nullptr || machine->plain_params != site.plain_operands || depth > limit)
        [[unlikely]] {
        return nullptr;
    }
    const auto count = size_t(site.plain_operands);
    const int16_t* operands = site.operands.data();
    tvr_vm_context* callee = machine->take_frame(base);
    tvrvar** const from = frame.cells;
    tvrvar** const to = callee->cells;
    for (size_t i = 0; i < count; ++i) {
        const tvrvar* source = from[operands[i]];
        tvrvar* into = to[i];
        if (source->is_number()) [[likely]] {
            into->type = source->type;
            into->integer = source->integer;
        } else {
            into->type = tvrvar_type_none;  // what a call before left
            frame.next = op;
            tvr_pass_argument(tvr_step{task, frame, op}, *callee, operands[i], i);
        }
    }
    callee->caller = &frame;
    callee->task = &task;
    callee->next = machine->code.data();
    callee->depth = depth;
    callee->num_args = uint32_t(count);
    callee->args_given = site.given;
    callee->result_cell = op->a;
    callee->result_mode = site.result_mode;
    frame.next = op + 1;
    task.top = callee;
    return callee;
}

// The call of a function value without `this`. Null where tvr_step_call has to look closer.
inline tvr_vm_context* tvr_push_value_call(tvr_task& task, tvr_vm_context& frame,
                                           const tvr_machine_op* op, const tvr_call_site& site,
                                           uint32_t limit) {
    const tvrvar* callee = frame.cells[op->b];
    if (callee->type != tvrvar_type_function || frame.machine->is_temporary(op->b)) return nullptr;
    const tvrvar_ptr_function& function = *callee->function;
    tvr_program_block_routine* routine = function.routine.get();
    tvr_task* base = function.task.get();
    if (routine == nullptr || base == nullptr || function.self.get() != nullptr) return nullptr;
    const tvr_function_hold hold(*callee->function);
    tvr_vm_context* made = tvr_push_plain_call(task, frame, op, site, *routine, *base, limit);
    if (made != nullptr && !function.captures.empty()) tvr_set_captures(*made, function);
    return made;
}

// The frame of the constructor of a class whose instances are made by template. Null where
// tvr_step_call_class has to look closer.
inline tvr_vm_context* tvr_push_construction(tvr_task& task, tvr_vm_context& frame,
                                             const tvr_machine_op* op, const tvr_call_site& site,
                                             uint32_t limit) {
    const tvr_machine_code* body = site.definition->machine.get();
    if (site.routine == nullptr || body == nullptr || !body->has_template) return nullptr;
    if (frame.making || !site.definition->abstract_methods.empty()) return nullptr;
    frame.next = op;  // where memory may come to its end
    tvrptr_strong<tvr_class> made = tvr_make_by_template(*site.definition, *frame.base_task);
    tvr_vm_context* callee =
        tvr_push_plain_call(task, frame, op, site, *site.routine, *frame.base_task, limit);
    if (callee == nullptr) {
        frame.making = std::move(made);
        frame.holds_more = true;
        return nullptr;
    }
    callee->self = std::move(made);
    callee->holds_more = true;
    callee->result_mode = tvr_result_mode::drop;
    return callee;
}

// The instance in a register, where the call site knows its class.
inline tvr_class* tvr_known_receiver(const tvr_call_site& site, const tvrvar* value) {
    if (value->type != tvrvar_type_class) return nullptr;
    auto* instance = static_cast<tvr_class*>(value->block->object);
    if (instance == nullptr ||
        site.known_class.control_block() != instance->definition.control_block()) {
        return nullptr;
    }
    return instance;
}
