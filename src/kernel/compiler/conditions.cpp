// Branches: bools that have not yet become values, && and || as jumps, and ?:.

#include "base/join.h"
#include "kernel/compiler/compiler.h"

namespace {

// The table has the compares and their jumps in blocks: see ops.h.
uint16_t jump_of(uint16_t compare, bool if_true) {
    if (compare == TVRK_MOV) return if_true ? TVRK_JT : TVRK_JF;
    if (compare < TVRK_JTEQ_X) {
        const unsigned at = compare - TVRK_CMPEQ_X;  // EQ and NE for X, F32, F64
        return uint16_t(TVRK_JTEQ_X + at / 2 * 4 + at % 2 + (if_true ? 0 : 2));
    }
    constexpr unsigned views = 4;
    return uint16_t(compare + (if_true ? views : 2 * views));
}

void append(std::vector<size_t>& to, const std::vector<size_t>& more) {
    to.insert(to.end(), more.begin(), more.end());
}

}  // namespace

tvrk_condition tvrk_compiler::as_condition(operand x) {
    if (x.is(kind::condition)) return std::move(x.branch);
    tvrk_condition made;
    made.compare = TVRK_MOV;
    made.x = reg(x);
    return made;
}

tvrk_operand tvrk_compiler::condition_operand(tvrk_condition made) const {
    operand x;
    x.what = kind::condition;
    x.type = tvrk_scalar(tvrk_prim::boolean);
    x.branch = std::move(made);
    return x;
}

// The jumps that are taken if the condition does not hold; if it does, the code goes on here.
std::vector<size_t> tvrk_compiler::jump_unless(tvrk_condition branch) {
    const size_t jump = emit(jump_of(branch.compare, branch.negated), branch.x, branch.y);
    branch.when_false.push_back(jump);
    patch(branch.when_true);
    return std::move(branch.when_false);
}

std::vector<size_t> tvrk_compiler::jump_if(tvrk_condition branch) {
    const size_t jump = emit(jump_of(branch.compare, !branch.negated), branch.x, branch.y);
    branch.when_true.push_back(jump);
    patch(branch.when_false);
    return std::move(branch.when_true);
}

void tvrk_compiler::check_bool(const operand& x) {
    if (!x.is_number_text() && x.type.is_bool()) return;
    fail(tvr_join("a condition must be a bool but got a ", tvrk_type_name(settle(x).type),
                  " (write x != 0)"));
}

bool tvrk_compiler::known_bool(const operand& x) const {
    if (!x.is(kind::constant)) fail("expected a constant expression");
    return x.bits != 0;
}

// && and ||: the right side is left out where the left one decides.
tvrk_operand tvrk_compiler::logical(bool is_and, const operand& left, int strength) {
    check_bool(left);
    std::vector<size_t> leaves;
    if (!constants_only) {
        leaves = is_and ? jump_unless(as_condition(left)) : jump_if(as_condition(left));
    }
    const operand right = rvalue(binary_expression(strength));
    check_bool(right);
    if (constants_only) {
        const bool a = known_bool(left), b = known_bool(right);
        return constant(tvrk_prim::boolean, is_and ? a && b : a || b);
    }
    tvrk_condition made = as_condition(right);
    append(is_and ? made.when_false : made.when_true, leaves);
    return condition_operand(std::move(made));
}

tvrk_operand tvrk_compiler::logical_not(operand x) {
    if (x.is_number_text() || !x.type.is_bool()) fail("'!' needs a bool (write x == 0)");
    if (x.is(kind::constant)) return constant(tvrk_prim::boolean, x.bits == 0);
    tvrk_condition made = as_condition(std::move(x));
    made.negated = !made.negated;
    std::swap(made.when_true, made.when_false);
    return condition_operand(std::move(made));
}

tvrk_operand tvrk_compiler::materialise(const operand& condition) {
    const tvrk_condition& branch = condition.branch;
    const uint32_t made = new_register(tvrk_prim::boolean);
    if (branch.when_true.empty() && branch.when_false.empty()) {
        if (branch.compare == TVRK_MOV && !branch.negated) {
            return value_in(branch.x, tvrk_prim::boolean);
        }
        if (branch.compare == TVRK_MOV) {
            emit(TVRK_LNOT, made, branch.x);
        } else {
            emit(branch.compare, made, branch.x, branch.y);
            if (branch.negated) {
                const uint32_t turned = new_register(tvrk_prim::boolean);
                emit(TVRK_LNOT, turned, made);
                return value_in(turned, tvrk_prim::boolean);
            }
        }
        return value_in(made, tvrk_prim::boolean);
    }
    const std::vector<size_t> otherwise = jump_unless(branch);
    emit(TVRK_MOV, made, constant_register(tvrk_prim::boolean, 1));
    const std::vector<size_t> done{emit(TVRK_JMP)};
    patch(otherwise);
    emit(TVRK_MOV, made, constant_register(tvrk_prim::boolean, 0));
    patch(done);
    return value_in(made, tvrk_prim::boolean);
}

// c ? a : b. Both sides' moves are kept open until both types are known.
tvrk_operand tvrk_compiler::conditional(operand condition) {
    if (condition.is_number_text() || !condition.type.is_bool()) {
        fail("the condition of '?:' must be a bool");
    }
    if (constants_only) return constant_conditional(known_bool(condition));
    const auto side = [this] {
        operand x = rvalue(expression());
        if (x.is(kind::pointer)) fail("'?:' cannot select pointers");
        if (x.is(kind::nothing)) fail("cannot convert void to a value");
        if (x.is(kind::condition)) x = materialise(x);
        if (x.is(kind::value) && x.addend != 0) x = value_in(reg(x), x.type.prim);
        return x;
    };
    const auto reserve = [this] {
        const size_t first = emit(TVRK_NOP);
        for (int lane = 1; lane < 4; ++lane) emit(TVRK_NOP);
        return first;
    };
    const std::vector<size_t> otherwise = jump_unless(as_condition(std::move(condition)));
    const operand a = side();
    const size_t at_a = reserve();
    const std::vector<size_t> done{emit(TVRK_JMP)};
    patch(otherwise);
    expect(":");
    const operand b = side();
    const size_t at_b = reserve();
    patch(done);
    return join_choice(a, b, at_a, at_b);
}

// Only the chosen side counts, but both must be well formed.
tvrk_operand tvrk_compiler::constant_conditional(bool holds) {
    const operand a = rvalue(expression());
    expect(":");
    const operand b = rvalue(expression());
    if (a.is(kind::pointer) || b.is(kind::pointer)) fail("'?:' cannot select pointers");
    operand x = a, y = b;
    if (x.type != y.type || x.is_number_text() != y.is_number_text()) meet("?:", x, y);
    return holds ? x : y;
}

tvrk_operand tvrk_compiler::join_choice(const operand& a, const operand& b, size_t at_a,
                                        size_t at_b) {
    operand made;
    if (a.is_number_text() && b.is_number_text()) {
        made.what = kind::choice;
        const auto add = [&made](const operand& x, size_t where) {
            if (x.is(kind::literal)) made.pending.emplace_back(where, x.number);
            for (const auto& inner : x.pending) made.pending.push_back(inner);
        };
        add(a, at_a);
        add(b, at_b);
        return made;
    }
    operand x = a, y = b;
    if (a.type.is_vector() || b.type.is_vector()) {
        if (a.type != b.type) refuse(settle(b), a.type);
        made = new_value(a.type);
    } else if (a.type == b.type && !a.is_number_text() && !b.is_number_text()) {
        made = new_value(a.type);
    } else {
        const auto resolved = [this](const operand& own, const operand& other) {
            return own.is(kind::choice) ? resolve_choice(own, other.type.prim) : own;
        };
        x = resolved(a, b);
        y = resolved(b, a);
        made = new_value(tvrk_scalar(common_prim("?:", x, y)));
    }
    for (size_t lane = 0; lane < (made.type.is_vector() ? made.type.lanes : 1u); ++lane) {
        fill_move(at_a + lane, made.regs[lane], x, made.type, lane);
        fill_move(at_b + lane, made.regs[lane], y, made.type, lane);
    }
    return made;
}

void tvrk_compiler::fill_move(size_t where, uint32_t result, const operand& value,
                              const tvrk_type& to, size_t lane) {
    uint16_t op = TVRK_MOV;
    uint32_t from = 0;
    if (value.is(kind::literal)) {
        from = reg(typed_literal(value.number, to.prim));
    } else if (value.is(kind::constant)) {
        from = reg(convert(value, to));
    } else {
        from = value.regs[lane];
        if (to.prim == tvrk_prim::f64 && value.type.prim == tvrk_prim::f32) op = TVRK_CVT_F32_F64;
    }
    tvrk_draft_inst& in = draft.code[where];
    in.op = op;
    in.a = result;
    in.b = from;
}
