// Assignment, increments, and how variables come to be.

#include <algorithm>

#include "frontend/builder/builder.h"
#include "frontend/source/token_view.h"
#include "runtime/script/script.h"

using node_type = tvr_ast_node_type;

namespace {

constexpr uint32_t no_variable = tvr_program_block_symbol_table::none;
constexpr const char* illegal_target = "Cannot assign to illegal expression.";

// Words such as `this`, which are no names of variables.
bool is_value_word(tvr_token_code word) {
    return word >= tvr_token_code::word_this && word <= tvr_token_code::word_null;
}

}  // namespace

bool tvr_asm_builder::variable_words::is_new() const {
    return word != nullptr && tvr_is_variable_word(word->code);
}

bool tvr_asm_builder::compile_assign(const tvr_ast_node_assign& node) {
    switch (node.target->type) {
    case node_type::node_variable: return compile_assigned_variable(node);
    case node_type::node_json_literal: return compile_assigned_member(node);
    case node_type::node_json: return compile_assigned_element(node);
    case node_type::node_unary:
        if (!node.target->as<tvr_ast_node_unary>().op->is(code::star)) break;
        return compile_value(*node.target) && compile_assigned_value(node);
    default: break;
    }
    return refuse(node.target->start, illegal_target);
}

// What stands behind a target that is on top: the value, and its assignment.
bool tvr_asm_builder::compile_assigned_value(const tvr_ast_node_assign& node) {
    const bool compound = !node.op->is(code::assign);
    if (compound) emit(tvr_op_push_stack_copy, node.op);
    if (!compile_pushed(*node.value)) return false;
    if (compound) emit_operator(node.op);
    emit(tvr_op_set_and_pop_stack, node.op);
    return true;
}

bool tvr_asm_builder::compile_assigned_variable(const tvr_ast_node_assign& node) {
    const token name = node.target->start;
    if (is_value_word(name->code)) return refuse(name, illegal_target);
    variable_words words;
    if (!read_words(node.keywords, words)) return false;
    if (makes_variable(node)) {
        if (!node.op->is(code::assign)) return refuse_unknown(name);
        return compile_new_variable(node, words);
    }
    const found what = find_name(name->text());
    if (what.is == found::kind::declared) return refuse_definition(name);
    if (what.is == found::kind::native_variable) {
        chain path{node.target, {}};
        if (!compile_native(path, what, name)) return false;
    } else if (what.is == found::kind::member) {
        emit(tvr_op_call_class_return_this, name);
        emit_member(name->text(), tvr_member_target, name);
    } else if (!compile_found_name(what, name)) {
        return false;
    }
    return compile_assigned_value(node);
}

// Whether an assignment to a name makes a variable, here and now.
bool tvr_asm_builder::makes_variable(const tvr_ast_node_assign& node) const {
    if (node.target->type != node_type::node_variable) return false;
    if (tvr_makes_variable(node.keywords)) return true;
    const found what = find_name(node.target->start->text());
    return what.is == found::kind::nothing || what.is == found::kind::native_function ||
           what.is == found::kind::name_space;
}

// The variable comes to be behind its value, which does not know it, but for functions of the
// root, which can call themselves.
bool tvr_asm_builder::compile_new_variable(const tvr_ast_node_assign& node,
                                           const variable_words& words) {
    const token name = node.target->start;
    if (!can_define(name, words)) return false;
    const bool calls_itself = here->is_root() && node.value->type == node_type::node_function_def;
    const uint32_t early = calls_itself ? define_variable(name) : 0;
    const uint32_t handle = emit_index(tvr_op_return_local_var, early, name);
    if (words.is(code::word_managed)) emit(tvr_op_bind_object_to_var, words.word);
    if (!compile_assigned_value(node)) return false;
    if (calls_itself) return true;
    // The value may have made it: x = x = 1.
    uint32_t index = here->find_variable(name->text());
    if (index == no_variable || words.is_new()) {
        if (!can_define(name, words)) return false;
        index = define_variable(name);
    }
    std::memcpy(&here->block->code[handle + 4], &index, sizeof index);
    return true;
}

bool tvr_asm_builder::can_define(token name, const variable_words& words) {
    if (is_value_word(name->code)) return refuse(name, illegal_target);
    if (here->is == tvr_code_scope::role::class_body)
        return refuse(name, "Not allowed in class definition.");
    if (here->declared.count(name->text()) > 0) return refuse_definition(name);
    const tvr_program_block_routine& block = *here->block;
    const uint32_t known = block.find_var_local(name->text());
    const bool captured =
        known >= block.num_params && known < block.num_params + block.num_captures;
    if (words.is_new() && known != no_variable && !captured)
        return refuse(name, "Variable '", name->text(), "' double definition.");
    return true;
}

// A name that a function, class or interface has already.
bool tvr_asm_builder::refuse_definition(token name) {
    if (!name->view()->made_for) return refuse(name, illegal_target);
    return refuse(name, "Kernel error: '", name->text(),
                  "' is already the name of a function, class or interface");
}

uint32_t tvr_asm_builder::define_variable(token name) {
    if (!here->is_root() && script.root_namespace.find_child(name->text()) != nullptr)
        report.syntax_warn(name, "Scoped override of a global namespace!");
    return here->block->create_var(name->text(), false);
}

// `var x;`
bool tvr_asm_builder::compile_declaration(const tvr_ast_node_variable& node) {
    variable_words words;
    if (!read_words(node.keywords, words)) return false;
    const token name = node.start;
    variable_words forced = words;
    if (!forced.is_new()) forced.word = nullptr;
    const uint32_t known = here->block->find_var_local(name->text());
    if (!can_define(name, forced)) return false;
    if (known != no_variable && !forced.is_new())
        return refuse(name, "Variable '", name->text(), "' double definition.");
    const uint32_t index = define_variable(name);
    if (!words.is(code::word_managed)) return true;
    emit(tvr_op_push_stack, name);
    emit_index(tvr_op_return_local_var, index, name);
    emit(tvr_op_bind_object_to_var, words.word);
    emit_pop(name);
    return true;
}

// At most one keyword and one type.
bool tvr_asm_builder::read_words(tvr_ast_list<tvr_ast_word> list, variable_words& into) {
    bool has_type = false;
    for (const tvr_ast_word& word : list) {
        const bool keyword =
            word.word->code >= code::word_var && word.word->code <= code::word_private;
        if (!keyword && !is_type_annotation(word))
            return refuse(word.word, "Unknown assignment keyword '", word.word->text(),
                          "' (missing ';' at the end of the previous statement?).");
        if (keyword ? into.word != nullptr : has_type)
            return refuse(word.word,
                          "Multiple assignment keywords in one group are not supported.");
        if (keyword) into.word = word.word;
        has_type = has_type || !keyword;
    }
    return true;
}

bool tvr_asm_builder::is_type_annotation(const tvr_ast_word& word) const {
    return tvr_is_type_word(word.word->code) || find_class_def(word.word->text()) != nullptr ||
           find_interface(word.word->text()) != nullptr;
}

bool tvr_asm_builder::compile_assigned_member(const tvr_ast_node_assign& node) {
    chain target = chain_of(*node.target, access::target);
    if (!compile_links(target)) return false;
    if (!target.assignable) return refuse(node.target->start, illegal_target);
    return compile_assigned_value(node);
}

bool tvr_asm_builder::compile_assigned_element(const tvr_ast_node_assign& node) {
    const auto& target = node.target->as<tvr_ast_node_json>();
    if (!compile_value(*target.left)) return false;
    if (!compile_pushed(*target.index)) return false;
    const bool compound = !node.op->is(code::assign);
    if (compound) emit_element(tvr_op_json_expression_peek, 0, node.op);
    if (!compile_pushed(*node.value)) return false;
    if (compound) emit_operator(node.op);
    emit_element(tvr_op_json_expression_set, 0, node.op);
    return true;
}

// ++x, and x++ where nobody wants the old value.
bool tvr_asm_builder::compile_increment(const tvr_ast_node_unary& node, bool discard) {
    if (node.postfix && !discard) return compile_chain(node, access::read);
    chain target = chain_of(*node.operand, access::read);
    if (target.links.empty() && target.value->type != node_type::node_variable)
        return refuse(node.op, illegal_target);
    if (!compile_links(target)) return false;
    if (!target.assignable) return refuse(node.op, illegal_target);
    emit_byte(node.op->is(code::increment) ? tvr_op_inc : tvr_op_dec, 0, node.op);
    return true;
}
