// The code of classes: a body that gives the members their first values, and the methods.

#include "frontend/builder/builder.h"

using node_type = tvr_ast_node_type;

bool tvr_asm_builder::compile_class(const tvr_ast_node_class_def& def) {
    if (def.is_interface) return true;
    auto* made = static_cast<tvr_program_block_class*>(made_for[&def]);
    tvr_code_scope scope;
    scope.block = made;
    scope.is = tvr_code_scope::role::class_body;
    scope.of_class = made;
    // What is not inherited cannot be named before it has its first value.
    scope.hidden_to = uint32_t(made->variables.size());
    for (const auto& [name, info] : made->vid_table) {
        if (info.declared_in != made) ++scope.hidden_from;
    }
    const open_scope opened(*this, scope);
    if (!made->bases.empty()) emit(tvr_op_call_class_top_constructor, def.name);
    for (const tvr_ast_node* node : def.members) {
        if (!compile_class_member(*node)) return false;
    }
    emit(tvr_op_call_class_create, def.name);
    return true;
}

bool tvr_asm_builder::compile_class_member(const tvr_ast_node& node) {
    switch (node.type) {
    case node_type::node_function_def: return compile_method(node.as<tvr_ast_node_function_def>());
    case node_type::node_multi_command:
        for (const tvr_ast_node* part : node.as<tvr_ast_node_multi_command>().commands) {
            if (!compile_class_member(*part)) return false;
        }
        return true;
    case node_type::node_assign: break;
    default:
        if (node.type == node_type::node_variable) show_member(node.start);
        return true;
    }
    const auto& assign = node.as<tvr_ast_node_assign>();
    const token name = assign.target->start;
    variable_words words;
    if (!read_words(assign.keywords, words)) return false;
    emit(tvr_op_push_stack, name);
    emit_index(tvr_op_return_local_var, here->block->find_var_local(name->text()), name);
    if (words.is(code::word_managed)) emit(tvr_op_bind_object_to_var, words.word);
    if (!compile_assigned_value(assign)) return false;
    emit_pop(name);
    show_member(name);
    return true;
}

// From here on the member can be named.
void tvr_asm_builder::show_member(token name) {
    const uint32_t slot = here->block->find_var_local(name->text());
    if (slot >= here->hidden_from) here->hidden_from = slot + 1;
}

bool tvr_asm_builder::compile_method(const tvr_ast_node_function_def& def) {
    tvr_code_scope scope;
    scope.is = tvr_code_scope::role::function;
    scope.of_class = here->of_class;
    scope.has_this = true;
    return compile_function(static_cast<tvr_program_block_routine&>(*made_for[&def]), def, scope);
}
