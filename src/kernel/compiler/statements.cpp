// Blocks, branches, loops and assignments.

#include "base/join.h"
#include "kernel/compiler/compiler.h"

bool tvrk_compiler::block() {
    nested level(*this);
    open_scope();
    bool returns = false;
    while (!accept("}")) {
        if (peek().kind == tvrk_token_kind::end) fail("missing '}' for this block");
        returns = statement() || returns;
    }
    close_scope();
    return returns;
}

bool tvrk_compiler::statement() {
    nested level(*this);
    if (accept("{")) return block();
    if (accept(";")) return false;
    if (accept("if")) return if_statement();
    if (accept("return")) return return_statement();
    if (accept("for")) {
        for_statement();
    } else if (accept("while")) {
        while_statement();
    } else if (accept("unchecked")) {
        expect("{");
        const bool outer = std::exchange(unchecked, true);
        const bool returns = block();
        unchecked = outer;
        return returns;
    } else if (peek().is("break") || peek().is("continue")) {
        jump_statement(next());
        expect(";");
    } else if (peek().is("else")) {
        next();
        fail("'else' without 'if'");
    } else if (peek().is("const") || (at_type() && !peek(1).is("("))) {
        variable_declaration();
        expect(";");
    } else {
        check_type_name();
        simple_statement();
        expect(";");
    }
    return false;
}

// Two words in a row are a declaration, of a type that nobody knows.
void tvrk_compiler::check_type_name() const {
    const tvrk_token& word = peek();
    const bool two = word.kind == tvrk_token_kind::word && peek(1).kind == tvrk_token_kind::word;
    if (!two || tvrk_is_reserved(word.text) || find_variable(word.text) != nullptr) return;
    if (!at_type()) fail_at(word, tvr_join("unknown type '", word.text, "'"));
}

std::vector<size_t> tvrk_compiler::condition_in_parentheses() {
    expect("(");
    const operand condition = expression();
    expect(")");
    return leave_unless(condition);
}

std::vector<size_t> tvrk_compiler::leave_unless(operand condition) {
    condition = rvalue(condition);
    if (!condition.type.is_bool() || condition.is_number_text()) {
        condition = settle(condition);
        fail(tvr_join("a condition must be a bool but got a ", tvrk_type_name(condition.type),
                      " (write x != 0)"));
    }
    return jump_unless(as_condition(condition));
}

bool tvrk_compiler::if_statement() {
    const std::vector<size_t> otherwise = condition_in_parentheses();
    open_scope();
    const bool first = statement();
    close_scope();
    if (!accept("else")) {
        patch(otherwise);
        return false;
    }
    const std::vector<size_t> done{emit(TVRK_JMP)};
    patch(otherwise);
    open_scope();
    const bool second = statement();
    close_scope();
    patch(done);
    return first && second;
}

void tvrk_compiler::while_statement() {
    const size_t top = draft.code.size();
    std::vector<size_t> leaves = condition_in_parentheses();
    loops.push_back({top, true, {}, {}});
    loop_body(leaves);
}

// The body, the way back, and where everybody leaves to.
void tvrk_compiler::loop_body(std::vector<size_t>& leaves) {
    open_scope();
    statement();
    close_scope();
    emit(TVRK_LOOP, 0, 0, 0, int64_t(loops.back().top));
    patch(leaves);
    patch(loops.back().breaks);
    loops.pop_back();
}

// The step is written before the body and runs behind it: it is read twice over, once to find its
// end. Returns where it begins.
size_t tvrk_compiler::skip_step() {
    const size_t begin = at;
    for (size_t depth = 0; depth > 0 || !peek().is(")"); next()) {
        if (peek().kind == tvrk_token_kind::end) fail_found("')'");
        if (peek().is("(")) ++depth;
        if (peek().is(")")) --depth;
    }
    return begin;
}

void tvrk_compiler::for_statement() {
    open_scope();
    expect("(");
    if (peek().is("const") || (at_type() && !peek(1).is("("))) {
        variable_declaration();
    } else if (!peek().is(";")) {
        simple_statement();
    }
    expect(";");
    const size_t top = draft.code.size();
    const operand condition = expression();
    expect(";");
    const std::vector<size_t> leaves = leave_unless(condition);
    if (peek().is("const") || (at_type() && !peek(1).is("("))) {
        next();
        fail("the step of a for loop cannot declare variables");
    }
    const size_t step = skip_step();
    expect(")");
    loops.push_back({top, false, {}, {}});
    open_scope();
    statement();
    close_scope();
    patch(loops.back().continues);
    const size_t behind = std::exchange(at, step);
    if (!peek().is(")")) simple_statement();
    if (!peek().is(")")) fail_found("')'");
    at = behind;
    emit(TVRK_LOOP, 0, 0, 0, int64_t(top));
    patch(leaves);
    patch(loops.back().breaks);
    loops.pop_back();
    close_scope();
}

void tvrk_compiler::jump_statement(const tvrk_token& word) {
    if (loops.size() == current->first_loop) {
        fail(tvr_join("'", word.text, "' outside of a loop"));
    }
    loop& innermost = loops.back();
    if (word.text == "break") {
        innermost.breaks.push_back(emit(TVRK_JMP));
    } else if (innermost.jumps_to_top) {
        emit(TVRK_LOOP, 0, 0, 0, int64_t(innermost.top));
    } else {
        innermost.continues.push_back(emit(TVRK_JMP));
    }
}

// assignments --------------------------------------------------------------------------------

void tvrk_compiler::simple_statement() {
    const operand target = unary_expression();
    if (peek().is("++") || peek().is("--")) return step_by_one(target, next());
    if (tvrk_is_assignment(peek())) return assign(target, next());
    if (peek().kind == tvrk_token_kind::symbol && !peek().is(";") && !peek().is(")")) {
        // An operator follows: read on, so that the message is about the whole expression.
        for (const std::string_view end : {"}", "{", "]", ",", ":", ".", "!", "~"}) {
            if (peek().is(end)) fail_found("';'");
        }
        fail("this expression does nothing (only calls can be statements)");
    }
    if (!target.from_call) fail("this expression does nothing (only calls can be statements)");
}

void tvrk_compiler::check_writable(const operand& target, const tvrk_token& where) const {
    if (target.is(kind::memory)) {
        if (target.type.is_array()) fail("cannot assign to an array, assign its elements");
        if (target.place.read_only) fail("cannot write through a const pointer");
    }
    if (target.variable >= 0) {
        const variable& written = variables[size_t(target.variable)];
        if (written.role == "parameter") {
            fail_at(where, tvr_join("kernel parameters are read only, copy '", written.name,
                                    "' into a local variable first"));
        }
        return;
    }
    if (!target.is(kind::memory)) fail_at(where, "cannot assign to this expression");
}

void tvrk_compiler::assign(const operand& target, const tvrk_token& op) {
    check_writable(target, op);
    if (op.text != "=") {
        const std::string_view plain = op.text.substr(0, op.text.size() - 1);
        if (target.type.is_struct() && target.is(kind::memory)) {
            fail_at(op, tvr_join("'", op.text, "' is not defined for structs"));
        }
        const operand value = rvalue(expression());
        return compound(target, plain, value, op);
    }
    if (target.is(kind::memory) && target.type.is_struct()) return assign_record(target);
    const operand value = rvalue(expression());
    if (!target.is(kind::pointer)) return store(target, convert(value, target.type));
    const operand moved = pointer_argument(value, target.type);
    if (moved.place.ptr != target.place.ptr) {
        const variable& written = variables[size_t(target.variable)];
        fail_at(op, tvr_join("pointer variable '", written.name, "' points into '",
                             pointer_name(target), "' and cannot be set to another parameter"));
    }
    emit(TVRK_MOV, target.place.index, element_index(moved.place));
}

void tvrk_compiler::assign_record(const operand& target) {
    const operand source = expression();
    if (!source.is(kind::memory) || source.type != target.type) refuse(rvalue(source), target.type);
    copy_record(target, source);
}

void tvrk_compiler::step_by_one(const operand& target, const tvrk_token& op) {
    check_writable(target, op);
    if (target.is(kind::memory) && target.type.is_struct()) {
        fail_at(op, tvr_join("'", op.text, "' is not defined for structs"));
    }
    operand one;
    one.what = kind::literal;
    one.number.integer = 1;
    const std::string_view plain = op.text.substr(1);
    if (target.is(kind::pointer) || !target.type.is_scalar()) {
        return compound(target, plain, one, op);
    }
    // Typed like the target, so that narrow variables stay what they are.
    if (target.type.is_bool()) {
        fail_at(op, tvr_join("'", op.text, "' is not defined for bool (use && / || / !)"));
    }
    compound(target, plain, typed_literal(one.number, target.type.prim), op);
}

void tvrk_compiler::compound(const operand& target, std::string_view op, const operand& value,
                             const tvrk_token& where) {
    if (target.is(kind::pointer)) {
        if (op != "+" && op != "-") {
            fail_at(where, "only += and -= (and ++ / --) are defined for pointers");
        }
        const operand moved = move_pointer(target, value, op == "-");
        emit(TVRK_MOV, target.place.index, element_index(moved.place));
        return;
    }
    const operand result = settle(binary(op, rvalue(target), value));
    if (result.type != target.type) {
        const std::string wanted = tvrk_type_name(target.type);
        fail_at(where, tvr_join("the result is a ", tvrk_type_name(result.type), ", not a ", wanted,
                                " (write v = ", wanted, "(v ", op, " ...))"));
    }
    store(target, result);
}

void tvrk_compiler::store(const operand& target, operand value) {
    const size_t lanes = target.type.is_vector() ? target.type.lanes : 1;
    const bool in_registers = !target.is(kind::memory);
    if (lanes == 1) {
        if (in_registers) return move(target.regs[0], value);
        return store_scalar(target.place, target.type.prim, reg(value), !unchecked);
    }
    if (in_registers) {
        // `v = f32x2(v.y, v.x)`: all components are read before the first is written.
        bool overlaps = false;
        for (size_t lane = 0; lane < lanes; ++lane) {
            for (size_t written = 0; written < lane; ++written) {
                overlaps = overlaps || value.regs[lane] == target.regs[written];
            }
        }
        if (overlaps) {
            const operand copy = new_value(value.type);
            for (size_t lane = 0; lane < lanes; ++lane) {
                emit(TVRK_MOV, copy.regs[lane], value.regs[lane]);
            }
            value = copy;
        }
    }
    const auto bytes = int64_t(tvrk_prim_size(target.type.prim));
    for (size_t lane = 0; lane < lanes; ++lane) {
        if (in_registers) {
            emit(TVRK_MOV, target.regs[lane], value.regs[lane]);
            continue;
        }
        tvrk_place part = target.place;
        part.offset += int64_t(lane) * bytes;
        // The first component's test is the test of all.
        store_scalar(part, target.type.prim, value.regs[lane], lane == 0 && !unchecked);
    }
}
