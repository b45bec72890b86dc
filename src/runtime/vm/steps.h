#pragma once

// The operations of the machine that take more than a few instructions.
//
// Each does the work of the operation `op` of the running frame and leaves its result in register
// a. Where script has to run for it (an operator method, a function), it pushes a frame and sets
// the place where the running one goes on; then task.top is that frame. Errors are pending in the
// task afterwards, and signals raised.

#include <cstdint>
#include <span>
#include <string_view>

#include "runtime/value/operators.h"
#include "runtime/vm/machine_code.h"

class tvr_task;

struct tvr_step {
    tvr_task& task;
    tvr_vm_context& frame;
    const tvr_machine_op* op;

    tvrvar*& cell(int reg) const { return frame.cells[reg]; }
    void drop(int reg) const;  // a temporary that was read
};

// operate.cpp

void tvr_step_arithmetic(const tvr_step& step);
void tvr_step_compare(const tvr_step& step);
// Of a comparison with jump: its truth, or nothing when it pushed a frame.
enum class tvr_truth : uint8_t { no, yes, pushed };
tvr_truth tvr_step_compare_jump(const tvr_step& step, tvr_machine_opcode comparison);
void tvr_step_minus(const tvr_step& step);
void tvr_step_negate(const tvr_step& step);  // also truth
void tvr_step_bnot(const tvr_step& step);
void tvr_step_increment(const tvr_step& step);
bool tvr_step_test(const tvr_step& step);  // the truth of a, which is dropped
void tvr_step_move(const tvr_step& step);
void tvr_step_load(const tvr_step& step);
void tvr_step_reference(const tvr_step& step);
void tvr_step_new_json(const tvr_step& step);
void tvr_step_append(const tvr_step& step);
void tvr_step_function(const tvr_step& step);
void tvr_step_capture(const tvr_step& step);

// access.cpp

void tvr_step_get(const tvr_step& step);    // all forms of get
void tvr_step_set(const tvr_step& step);    // set, set_self
void tvr_step_index(const tvr_step& step);  // all forms of index
void tvr_step_set_index(const tvr_step& step);

// call.cpp

void tvr_step_call(const tvr_step& step);  // whatever b holds
void tvr_step_call_known(const tvr_step& step);
void tvr_step_call_class(const tvr_step& step);
void tvr_step_call_native(const tvr_step& step);
void tvr_step_call_method(const tvr_step& step);  // also self and super
void tvr_step_make_instance(const tvr_step& step);

// An instance of a class that has a template, with its members.
tvrptr_strong<tvr_class> tvr_make_by_template(tvr_program_block_class& definition, tvr_task& base);

// One argument, from the caller's register into the callee's parameter, which is reset but for a
// number: by reference where the parameter asks for it, else by value. Drops the register.
void tvr_pass_argument(const tvr_step& step, tvr_vm_context& callee, int reg, size_t param);

// Pushes the frame of a method that an operator calls. Goes on at `after` with the result in
// `result`. False after a runtime error.
bool tvr_push_operator(const tvr_step& step, tvr_program_block_routine& method, tvr_class& self,
                       std::span<tvrvar* const> args, int result, tvr_result_mode mode,
                       const tvr_machine_op* after);

// The operator method of an instance's class; null without one.
tvr_program_block_routine* tvr_operator_of(const tvrvar& value, tvr_operator which);

// Ends a frame: hands its register, none for tvr_no_register, to the caller and makes that the
// top frame. At the bottom of a task it becomes the task's result.
void tvr_step_give(tvr_task& task, tvr_vm_context& frame, int reg);
