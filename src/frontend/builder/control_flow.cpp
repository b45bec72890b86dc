// Conditions, loops, try, return.

#include "frontend/builder/builder.h"

using node_type = tvr_ast_node_type;

void tvr_asm_builder::set_jumps(const jumps& waiting) {
    for (const uint32_t jump : waiting) jump_here(jump);
}

// Where the ways of a test meet, each with the tested value on top.
void tvr_asm_builder::pop_test(const jumps& waiting, token at) {
    set_jumps(waiting);
    emit_pop(at);
}

// Whether a test of it becomes more than one jump.
bool tvr_asm_builder::is_logical(const tvr_ast_node& node) {
    if (node.type == node_type::node_unary)
        return node.as<tvr_ast_node_unary>().op->is(code::exclaim);
    return node.type == node_type::node_binary &&
           tvr_is_logical(node.as<tvr_ast_node_binary>().op->code);
}

// Code that goes on at one of two places, so that a comparison is followed by its jump.
bool tvr_asm_builder::compile_test(const tvr_ast_node& node, test_exits exits) {
    if (is_logical(node)) {
        if (node.type == node_type::node_binary)
            return compile_test_chain(node.as<tvr_ast_node_binary>(), exits);
        return compile_test(*node.as<tvr_ast_node_unary>().operand,
                            {exits.on_false, exits.on_true, !exits.falls_to_true});
    }
    if (!compile_pushed(node)) return false;
    if (exits.falls_to_true)
        exits.on_false->push_back(emit_index(tvr_op_jmp_if_false, 0, node.start));
    else
        exits.on_true->push_back(emit_index(tvr_op_jmp_if_true, 0, node.start));
    return true;
}

// a && b && c: all but the last leave for `false`, or go on at the next. a || b || c likewise.
bool tvr_asm_builder::compile_test_chain(const tvr_ast_node_binary& node, test_exits exits) {
    const code op = node.op->code;
    std::vector<const tvr_ast_node*> operands{node.right};
    const tvr_ast_node* first = node.left;
    while (first->type == node_type::node_binary && first->as<tvr_ast_node_binary>().op->is(op)) {
        operands.push_back(first->as<tvr_ast_node_binary>().right);
        first = first->as<tvr_ast_node_binary>().left;
    }
    operands.push_back(first);
    for (size_t i = operands.size() - 1; i > 0; --i) {
        jumps next;
        const test_exits inner = op == code::logical_and ? test_exits{&next, exits.on_false, true}
                                                         : test_exits{exits.on_true, &next, false};
        if (!compile_test(*operands[i], inner)) return false;
        pop_test(next, operands[i]->start);
    }
    return compile_test(*operands[0], exits);
}

bool tvr_asm_builder::compile_conditions(const tvr_ast_node_condition_stack& node) {
    jumps ends;
    for (size_t i = 0; i < node.conditions.size(); ++i) {
        const tvr_ast_node_condition& condition = *node.conditions[i];
        const token at = condition.condition->start;
        jumps if_true, if_false;
        if (!compile_test(*condition.condition, {&if_true, &if_false, true})) return false;
        pop_test(if_true, at);
        if (!compile_body(*condition.body, "if")) return false;
        ends.push_back(emit_index(tvr_op_jmp, 0, condition.start));
        pop_test(if_false, at);
    }
    if (node.else_body != nullptr && !compile_body(*node.else_body, "else")) return false;
    set_jumps(ends);
    return true;
}

// A block of its own, even without variables: break and continue lead to it.
bool tvr_asm_builder::compile_loop(const tvr_ast_node_loop& node) {
    auto* block = new tvr_program_block_routine();
    const uint32_t number = add_sub_block(block, "for", tvr_block_kind::loop, node.start);
    emit_index(tvr_op_call_subroutine, number, node.start);
    tvr_code_scope scope;
    scope.block = block;
    scope.of_class = here->of_class;
    scope.has_this = here->has_this;
    const open_scope opened(*this, scope);
    if (node.initializer != nullptr && !compile_command(*node.initializer)) return false;
    const uint32_t head = position();
    jumps if_true, if_false;
    if (!compile_test(*node.condition, {&if_true, &if_false, true})) return false;
    pop_test(if_true, node.condition->start);
    if (!compile_body(*node.body, "body")) return false;
    block->continue_offset = position();
    if (node.increment != nullptr && !compile_command(*node.increment)) return false;
    block->set_jump(emit_index(tvr_op_jmp, 0, node.start), head);
    pop_test(if_false, node.condition->start);
    return true;
}

bool tvr_asm_builder::compile_try(const tvr_ast_node_try_catch& node) {
    auto* block = new tvr_program_block_routine();
    const uint32_t number = add_sub_block(block, "try", tvr_block_kind::scoped, node.start);
    emit_index(tvr_op_call_subroutine, number, node.start);
    block->is_try = true;
    auto* handler = new tvr_program_block_routine();
    block->catch_block.acquire(handler);
    start_block(*handler, "catch", tvr_block_kind::scoped, node.variable);
    handler->create_var(node.variable->text(), false);
    for (const auto& [part, body] : {std::pair(block, node.body), {handler, node.catch_body}}) {
        tvr_code_scope scope;
        scope.block = part;
        scope.of_class = here->of_class;
        scope.has_this = here->has_this;
        const open_scope opened(*this, scope);
        if (!compile_block(body->statements)) return false;
    }
    return true;
}

bool tvr_asm_builder::compile_return(const tvr_ast_node_return& node) {
    emit(tvr_op_push_stack, node.start);
    if (node.value != nullptr && !compile_value(*node.value)) return false;
    emit(tvr_op_end_return, node.start);
    return true;
}
