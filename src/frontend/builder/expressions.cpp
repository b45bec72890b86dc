// Literals, operators and lists. Each leaves its value in the slot on top.

#include "frontend/builder/builder.h"
#include "frontend/syntax/operators.h"

using node_type = tvr_ast_node_type;

bool tvr_asm_builder::compile_value(const tvr_ast_node& node, access mode) {
    switch (node.type) {
    case node_type::node_int: emit_int(node.as<tvr_ast_node_int>().value, node.start); return true;
    case node_type::node_float:
        emit(tvr_instruction_draft(tvr_op_return_float)
                 .field(8, node.as<tvr_ast_node_float>().value),
             node.start);
        return true;
    case node_type::node_string:
        emit_index(tvr_op_return_string,
                   root->local_string_index(node.as<tvr_ast_node_string>().text), node.start);
        return true;
    case node_type::node_variable:
    case node_type::node_json_literal:
    case node_type::node_json:
    case node_type::node_function_call: return compile_chain(node, mode);
    case node_type::node_unary: return compile_unary(node.as<tvr_ast_node_unary>());
    case node_type::node_binary: return compile_binary(node.as<tvr_ast_node_binary>());
    case node_type::node_ternary: return compile_ternary(node.as<tvr_ast_node_ternary>());
    case node_type::node_assign: return compile_assign(node.as<tvr_ast_node_assign>());
    case node_type::node_function_def: return compile_lambda(node.as<tvr_ast_node_function_def>());
    case node_type::node_initializer_list:
        return compile_list(node.as<tvr_ast_node_initializer_list>());
    default: return refuse(node.start, "Invalid command type: ", tvr_ast_node_type_name(node.type));
    }
}

bool tvr_asm_builder::compile_pushed(const tvr_ast_node& node) {
    emit(tvr_op_push_stack, node.start);
    return compile_value(node);
}

bool tvr_asm_builder::compile_unary(const tvr_ast_node_unary& node) {
    if (node.postfix) return compile_chain(node, access::read);
    if (is_increment(*node.op)) return compile_increment(node, false);
    if (node.op->is(code::minus)) return compile_negative(node);
    if (!compile_value(*node.operand)) return false;
    switch (node.op->code) {
    case code::exclaim: emit(tvr_op_negate, node.op); return true;
    case code::tilde: emit(tvr_op_bnot, node.op); return true;
    case code::ampersand: emit(tvr_op_makeref, node.op); return true;
    case code::star: emit(tvr_op_deref, node.op); return true;
    case code::plus: return true;
    default: return refuse(node.op, "Invalid command: ", node.op->text());
    }
}

// A minus in front of a number belongs to it.
bool tvr_asm_builder::compile_negative(const tvr_ast_node_unary& node) {
    if (node.operand->type == node_type::node_int) {
        // In unsigned arithmetic, which turns 2^63 into the smallest number.
        emit_int(int64_t(0 - uint64_t(node.operand->as<tvr_ast_node_int>().value)), node.start);
        return true;
    }
    if (node.operand->type == node_type::node_float) {
        emit(tvr_instruction_draft(tvr_op_return_float)
                 .field(8, -node.operand->as<tvr_ast_node_float>().value),
             node.start);
        return true;
    }
    if (!compile_value(*node.operand)) return false;
    emit(tvr_op_unary_minus, node.op);
    return true;
}

// From the leftmost operand to the right, each operator on the value that is on top.
bool tvr_asm_builder::compile_binary(const tvr_ast_node_binary& node) {
    std::vector<const tvr_ast_node_binary*> steps;
    for (const tvr_ast_node* at = &node; at->type == node_type::node_binary;
         at = at->as<tvr_ast_node_binary>().left)
        steps.push_back(&at->as<tvr_ast_node_binary>());
    const auto mode_for = [&](size_t step) {
        return steps[step]->op->is(code::coalesce) ? access::optional : access::read;
    };
    size_t left = steps.size();
    if (!compile_value(*steps[left - 1]->left, mode_for(left - 1))) return false;
    jumps decided;  // of a row of equal logical operators: all leave it at its end
    while (left-- > 0) {
        const token op = steps[left]->op;
        const bool repeated = left > 0 && steps[left - 1]->op->code == op->code;
        if (op->is(code::logical_and)) {
            decided.push_back(emit_index(tvr_op_jmp_if_false, 0, op));
        } else if (op->is(code::logical_or) || op->is(code::coalesce)) {
            decided.push_back(
                emit_byte(tvr_op_jmp_if_true, op->is(code::coalesce) ? tvr_jump_if_some : 0, op));
        } else {
            if (!compile_pushed(*steps[left]->right)) return false;
            emit_operator(op);
            continue;
        }
        if (!compile_value(*steps[left]->right, repeated ? mode_for(left) : access::read))
            return false;
        if (repeated) continue;
        set_jumps(decided);
        decided.clear();
    }
    return true;
}

void tvr_asm_builder::emit_operator(token op) {
    switch (tvr_plain_operator(op->code)) {
    case code::plus: emit(tvr_op_add, op); return;
    case code::minus: emit(tvr_op_sub, op); return;
    case code::star: emit(tvr_op_mult, op); return;
    case code::slash: emit(tvr_op_div, op); return;
    case code::percent: emit(tvr_op_mod, op); return;
    case code::ampersand: emit(tvr_op_band, op); return;
    case code::pipe: emit(tvr_op_bor, op); return;
    case code::caret: emit(tvr_op_bxor, op); return;
    case code::equal: emit_byte(tvr_op_cmp_equal, 0, op); return;
    case code::not_equal: emit_byte(tvr_op_cmp_equal, 1, op); return;
    case code::greater: emit_byte(tvr_op_cmp_bigger, 0, op); return;
    case code::greater_equal: emit_byte(tvr_op_cmp_bigger, 1, op); return;
    case code::less: emit_byte(tvr_op_cmp_smaller, 0, op); return;
    case code::less_equal: emit_byte(tvr_op_cmp_smaller, 1, op); return;
    default: refuse(op, "Invalid command: ", op->text());
    }
}

bool tvr_asm_builder::compile_ternary(const tvr_ast_node_ternary& node) {
    const token at = node.condition->start;
    jumps if_true, if_false;
    if (!compile_test(*node.condition, {&if_true, &if_false, true})) return false;
    pop_test(if_true, at);
    if (!compile_value(*node.if_true)) return false;
    const uint32_t end = emit_index(tvr_op_jmp, 0, node.if_true->start);
    pop_test(if_false, at);
    if (!compile_value(*node.if_false)) return false;
    jump_here(end);
    return true;
}

bool tvr_asm_builder::compile_list(const tvr_ast_node_initializer_list& node) {
    emit(tvr_op_return_new_json, node.start);
    for (const tvr_ast_node_initializer_list_add* element : node.elements) {
        if (element->key == nullptr) {
            if (!compile_pushed(*element->value)) return false;
            emit(tvr_op_json_list_add, element->start);
            continue;
        }
        emit(tvr_op_push_stack_copy, element->start);
        emit_member(element->key->text, tvr_member_target, element->start);
        if (!compile_pushed(*element->value)) return false;
        emit(tvr_op_set_and_pop_stack, element->start);
        emit_pop(element->start);
    }
    return true;
}
