// Operators, tests and assignments that are not done in a few instructions.

#include "frontend/program/program_block.h"
#include "runtime/local/error_sink.h"
#include "runtime/object/class_instance.h"
#include "runtime/payload/std_json.h"
#include "runtime/task/task.h"
#include "runtime/value/arithmetic.h"
#include "runtime/value/payload_pools.h"
#include "runtime/value/plain_value.h"
#include "runtime/value/records.h"
#include "runtime/vm/cells.h"
#include "runtime/vm/steps.h"

namespace {

using op = tvr_machine_opcode;

tvr_class& instance_of(const tvrvar& value) {
    return *static_cast<tvr_class*>(value.block->object);
}

using arithmetic_rule = bool (*)(tvrvar&, tvrvar&, tvrvar&);

constexpr arithmetic_rule arithmetic_rules[] = {tvrvar_add, tvrvar_sub,  tvrvar_mult, tvrvar_div,
                                                tvrvar_mod, tvrvar_band, tvrvar_bor,  tvrvar_bxor};

// In the order of the operations.
constexpr tvr_operator arithmetic_operators[] = {
    tvr_operator_add, tvr_operator_sub, tvr_operator_mul, tvr_operator_div,
    tvr_operator_mod, tvr_operator_and, tvr_operator_or,  tvr_operator_xor};

// The left side's method, then the right side's reversed one.
void operator_method(const tvr_step& step, tvrvar& left, tvrvar& right, tvr_operator which) {
    const auto reversed = tvr_operator(which + tvr_reversed_operator);
    const int into = step.op->a;
    const tvr_machine_op* after = step.op + 1;
    if (tvr_program_block_routine* method = tvr_operator_of(left, which)) {
        tvrvar* const args[] = {&right};
        tvr_push_operator(step, *method, instance_of(left), args, into, tvr_result_mode::keep,
                          after);
        return;
    }
    if (tvr_program_block_routine* method = tvr_operator_of(right, reversed)) {
        tvrvar* const args[] = {&left};
        tvr_push_operator(step, *method, instance_of(right), args, into, tvr_result_mode::keep,
                          after);
        return;
    }
    std::string left_text, right_text;
    runtime_error("Operator '", tvr_operator_methods[which].text, "' is not defined for '",
                  left.text_view(left_text), "' and '", right.text_view(right_text),
                  "' (implement ", tvr_operator_methods[which].method, " or ",
                  tvr_operator_methods[reversed].method, ")");
    tvr_put_owned(step.frame, into, tvrvar_shared::make());
}

// In the order of the operations.
constexpr tvr_operator compare_operators[] = {tvr_operator_eq, tvr_operator_ne, tvr_operator_lt,
                                              tvr_operator_le, tvr_operator_gt, tvr_operator_ge};

bool compare_plain(op comparison, tvrvar& left, tvrvar& right) {
    switch (comparison) {
    case op::op_equal: return left.compare_equal(right);
    case op::op_not_equal: return !left.compare_equal(right);
    case op::op_less: return left.compare_smaller(right, false);
    case op::op_less_equal: return left.compare_smaller(right, true);
    case op::op_more: return left.compare_bigger(right, false);
    default: return left.compare_bigger(right, true);
    }
}

// Which method of the left side answers a comparison, and how its answer is meant.
struct comparison_method {
    tvr_program_block_routine* routine;
    tvr_result_mode mode;
};

comparison_method find_comparison(op comparison, const tvrvar& left) {
    const tvr_operator which = compare_operators[int(comparison) - int(op::op_equal)];
    if (auto* routine = tvr_operator_of(left, which)) return {routine, tvr_result_mode::truth};
    if (which != tvr_operator_ne) return {nullptr, tvr_result_mode::truth};
    return {tvr_operator_of(left, tvr_operator_eq), tvr_result_mode::no_truth};
}

}  // namespace

void tvr_step::drop(int reg) const {
    tvr_drop(frame, reg);
}

void tvr_step_arithmetic(const tvr_step& step) {
    const int place = int(step.op->code) - int(op::op_add), into = step.op->a;
    const int left = step.op->b, right = step.op->c;
    {
        const tvr_plain_value a(*step.cell(left)), b(*step.cell(right));
        if (a->is_class() || b->is_class()) {
            operator_method(step, *a, *b, arithmetic_operators[place]);
        } else {
            const tvr_result_cell result(step.frame, into);
            arithmetic_rules[place](*a, *b, *result);
        }
    }
    if (left != into) step.drop(left);
    if (right != into) step.drop(right);
}

void tvr_step_compare(const tvr_step& step) {
    const int into = step.op->a, left = step.op->b, right = step.op->c;
    {
        const tvr_plain_value a(*step.cell(left)), b(*step.cell(right));
        const comparison_method method = find_comparison(step.op->code, *a);
        if (method.routine != nullptr) {
            tvrvar* const args[] = {b.get()};
            tvr_push_operator(step, *method.routine, instance_of(*a), args, into, method.mode,
                              step.op + 1);
        } else {
            const bool truth = compare_plain(step.op->code, *a, *b);
            tvr_result_cell(step.frame, into)->as_int(truth ? 1 : 0);
        }
    }
    if (left != into) step.drop(left);
    if (right != into) step.drop(right);
}

tvr_truth tvr_step_compare_jump(const tvr_step& step, op comparison) {
    const int left = step.op->a, right = step.op->b;
    tvr_truth truth = tvr_truth::pushed;
    {
        const tvr_plain_value a(*step.cell(left)), b(*step.cell(right));
        const comparison_method method = find_comparison(comparison, *a);
        if (method.routine != nullptr) {
            const tvr_machine_op* test = step.op + 2;  // reads the method's answer
            tvrvar* const args[] = {b.get()};
            const bool pushed = tvr_push_operator(step, *method.routine, instance_of(*a), args,
                                                  test->a, method.mode, test);
            if (!pushed) truth = tvr_truth::no;
        } else {
            truth = compare_plain(comparison, *a, *b) ? tvr_truth::yes : tvr_truth::no;
        }
    }
    // The method's answer goes into a temporary of its own, or into one that was read here.
    if (truth == tvr_truth::pushed) return truth;
    step.drop(left);
    step.drop(right);
    return truth;
}

void tvr_step_minus(const tvr_step& step) {
    const int into = step.op->a, from = step.op->b;
    {
        const tvr_plain_value value(*step.cell(from));
        if (!value->is_class()) {
            const tvr_result_cell result(step.frame, into);
            tvrvar_minus(*value, *result);
        } else if (auto* method = tvr_operator_of(*value, tvr_operator_neg)) {
            tvr_push_operator(step, *method, instance_of(*value), {}, into, tvr_result_mode::keep,
                              step.op + 1);
        } else {
            std::string scratch;
            runtime_error("Cannot negate '", value->text_view(scratch), "' (implement __neg__)");
        }
    }
    if (from != into) step.drop(from);
}

void tvr_step_negate(const tvr_step& step) {
    const int into = step.op->a, from = step.op->b;
    const bool wanted = step.op->code == op::op_negate;
    const bool zero = step.cell(from)->compare_zero();
    tvr_result_cell(step.frame, into)->as_int(zero == wanted ? 1 : 0);
    if (from != into) step.drop(from);
}

void tvr_step_bnot(const tvr_step& step) {
    {
        const tvr_plain_value value(*step.cell(step.op->b));
        const tvr_result_cell result(step.frame, step.op->a);
        tvrvar_bnot(*value, *result);
    }
    if (step.op->b != step.op->a) step.drop(step.op->b);
}

void tvr_step_increment(const tvr_step& step) {
    const bool up = step.op->code == op::op_increment || step.op->code == op::op_increment_old;
    const bool keeps_old =
        step.op->code == op::op_increment_old || step.op->code == op::op_decrement_old;
    tvrvar& target = *step.cell(keeps_old ? step.op->b : step.op->a);
    const tvrvar_shared held(&target);
    const tvrvar_shared value = target.deref();
    const tvrvar_shared changed = tvrvar_shared::make();
    changed->set(*value);
    if (!(up ? changed->increment_value() : changed->decrement_value())) {
        tvrvar_shared one(1);
        if (!(up ? changed->increment_value(*one) : changed->decrement_value(*one))) return;
    }
    if (keeps_old) {
        tvrvar_shared old = tvrvar_shared::make();
        old->set(*value);
        tvr_put_owned(step.frame, step.op->a, std::move(old));
    }
    target.set(*changed);
    if (keeps_old) step.drop(step.op->b);
}

bool tvr_step_test(const tvr_step& step) {
    const bool truth = !step.cell(step.op->a)->compare_zero();
    step.drop(step.op->a);
    return truth;
}

void tvr_step_move(const tvr_step& step) {
    const int from = step.op->b;
    tvrvar& target = *step.cell(step.op->a);
    tvrvar& source = *step.cell(from);
    const bool temporary = step.frame.machine->is_temporary(from);
    if (temporary && source.is_ref()) {
        target.ref_to(source.target);  // the value of an & expression
    } else if (temporary && source.refcount == 1 && source.type == tvrvar_type_string &&
               tvr_owns_text(source) && target.is_plain()) {
        target.take(source);
    } else {
        target.set(source);
    }
    step.drop(from);
}

void tvr_step_load(const tvr_step& step) {
    tvr_put(step.frame, step.op->a, *step.cell(step.op->b));
}

void tvr_step_reference(const tvr_step& step) {
    tvrvar* source = step.cell(step.op->b);
    if (step.op->code == op::op_bind) {
        step.cell(step.op->a)->ref_to(source);
    } else {
        tvrvar_shared made = tvrvar_shared::make();
        made->ref_to(source);
        tvr_put_owned(step.frame, step.op->a, std::move(made));
        if (step.op->b == step.op->a) return;
    }
    step.drop(step.op->b);
}

void tvr_step_new_json(const tvr_step& step) {
    tvrvar_shared made = tvrvar_shared::make();
    made->as_json(true);
    tvrvar*& place = step.cell(step.op->a);
    if (place->is_plain() &&
        (place->refcount == 1 || !step.frame.machine->is_temporary(step.op->a))) {
        return place->take(*made);
    }
    tvr_put_owned(step.frame, step.op->a, std::move(made));
}

void tvr_step_append(const tvr_step& step) {
    const tvr_plain_value list(*step.cell(step.op->a));
    tvrvar& value = *step.cell(step.op->b);
    tvr_compact_value added;
    if (step.op->code == op::op_append_reference) {
        added->ref_to(&value);
    } else if (!value.is_primitive() && step.frame.machine->is_temporary(step.op->b) &&
               value.is_plain() && value.refcount == 1 && value.type != tvrvar_type_object &&
               tvr_owns_text(value)) {
        added->take(value);
    } else if (!added.write_here(value)) {
        added->set(value);
    }
    list->as_json(false).add_entry(std::move(added), {});
    step.drop(step.op->b);
}

void tvr_step_function(const tvr_step& step) {
    auto& site = step.frame.machine->block_sites[size_t(step.op->c)];
    const tvr_result_cell made(step.frame, step.op->a);
    if (site.is_class) return made->as_class_def(site.block);
    if (site.made && site.made->function->task.get() == step.frame.base_task) {
        return made->set(*site.made);
    }
    made->as_function(site.block, step.frame.base_task);
    const auto* routine = static_cast<tvr_program_block_routine*>(site.block);
    if (routine->num_captures > 0 || step.op[1].code == op::op_bind_self) return;
    site.made = tvrvar_shared::make();
    site.made->set(*made);
}

// The function in a was made for this lambda: its record is its own.
void tvr_step_capture(const tvr_step& step) {
    const tvr_plain_value value(*step.cell(step.op->a));
    if (value->type != tvrvar_type_function) return;
    tvrvar_ptr_function& function = *value->function;
    if (step.op->code == op::op_bind_self) {
        function.self = tvrptr_weak<tvr_instance>(step.frame.self);
        return;
    }
    if (function.captures.empty() && function.routine) {
        function.captures.reserve(function.routine.get()->num_captures);
    }
    tvr_compact_value copy;
    tvrvar& source = *step.cell(step.op->b);
    if (step.frame.machine->is_temporary(step.op->b) && source.is_ref()) {
        copy->ref_to(source.target);
    } else if (!copy.write_here(source)) {
        copy->set(source);
    }
    function.captures.push_back(std::move(copy));
    step.drop(step.op->b);
}
