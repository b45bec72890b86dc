#include "frontend/builder/tree_walk.h"

#include <algorithm>

namespace {

using node_type = tvr_ast_node_type;
using node_stack = std::vector<const tvr_ast_node*>;

template <typename T>
void append_list(const tvr_ast_list<T>& list, node_stack& into) {
    into.insert(into.end(), list.begin(), list.end());
}

void append(const tvr_ast_node* node, node_stack& into) {
    if (node != nullptr) into.push_back(node);
}

void append_function_parts(const tvr_ast_node_function_def& def, node_stack& into) {
    for (const auto* param : def.params) append(param->default_value, into);
    append(def.body, into);
}

void append_statement_parts(const tvr_ast_node& node, node_stack& into) {
    switch (node.type) {
    case node_type::node_sub_block:
        append_list(node.as<tvr_ast_node_sub_block>().statements, into);
        break;
    case node_type::node_condition_stack:
        append_list(node.as<tvr_ast_node_condition_stack>().conditions, into);
        append(node.as<tvr_ast_node_condition_stack>().else_body, into);
        break;
    case node_type::node_condition:
        append(node.as<tvr_ast_node_condition>().condition, into);
        append(node.as<tvr_ast_node_condition>().body, into);
        break;
    case node_type::node_loop:
        append(node.as<tvr_ast_node_loop>().initializer, into);
        append(node.as<tvr_ast_node_loop>().condition, into);
        append(node.as<tvr_ast_node_loop>().increment, into);
        append(node.as<tvr_ast_node_loop>().body, into);
        break;
    case node_type::node_try_catch:
        append(node.as<tvr_ast_node_try_catch>().body, into);
        append(node.as<tvr_ast_node_try_catch>().catch_body, into);
        break;
    case node_type::node_return: append(node.as<tvr_ast_node_return>().value, into); break;
    default: break;
    }
}

bool is_body(const tvr_ast_node& node) {
    return node.type == node_type::node_sub_block || node.type == node_type::node_loop ||
           node.type == node_type::node_try_catch;
}

void append_group_parts(const tvr_ast_node& node, node_stack& into) {
    switch (node.type) {
    case node_type::node_function_call:
        append(node.as<tvr_ast_node_function_call>().callee, into);
        append_list(node.as<tvr_ast_node_function_call>().params, into);
        break;
    case node_type::node_function_call_param:
        append(node.as<tvr_ast_node_function_call_param>().value, into);
        break;
    case node_type::node_function_def:
        append_function_parts(node.as<tvr_ast_node_function_def>(), into);
        break;
    case node_type::node_multi_command:
        append_list(node.as<tvr_ast_node_multi_command>().commands, into);
        break;
    case node_type::node_initializer_list:
        append_list(node.as<tvr_ast_node_initializer_list>().elements, into);
        break;
    case node_type::node_initializer_list_add:
        append(node.as<tvr_ast_node_initializer_list_add>().value, into);
        break;
    default: append_statement_parts(node, into); break;
    }
}

// The nodes directly below a node, in source order.
void append_parts(const tvr_ast_node& node, node_stack& into) {
    switch (node.type) {
    case node_type::node_json_literal:
        append(node.as<tvr_ast_node_json_literal>().left, into);
        break;
    case node_type::node_json:
        append(node.as<tvr_ast_node_json>().left, into);
        append(node.as<tvr_ast_node_json>().index, into);
        break;
    case node_type::node_unary: append(node.as<tvr_ast_node_unary>().operand, into); break;
    case node_type::node_binary:
        append(node.as<tvr_ast_node_binary>().left, into);
        append(node.as<tvr_ast_node_binary>().right, into);
        break;
    case node_type::node_ternary:
        append(node.as<tvr_ast_node_ternary>().condition, into);
        append(node.as<tvr_ast_node_ternary>().if_true, into);
        append(node.as<tvr_ast_node_ternary>().if_false, into);
        break;
    case node_type::node_assign:
        append(node.as<tvr_ast_node_assign>().target, into);
        append(node.as<tvr_ast_node_assign>().value, into);
        break;
    default: append_group_parts(node, into); break;
    }
}

}  // namespace

void tvr_walk_own_expressions(tvr_ast_list<tvr_ast_node*> statements,
                              const tvr_node_visitor& visit) {
    node_stack waiting;
    append_list(statements, waiting);
    while (!waiting.empty()) {
        const tvr_ast_node& node = *waiting.back();
        waiting.pop_back();
        if (is_body(node)) continue;
        if (!visit(node)) return;
        if (node.type != node_type::node_function_def && node.type != node_type::node_class_def)
            append_parts(node, waiting);
    }
}

void tvr_walk_all(const tvr_ast_node& start, const tvr_node_visitor& visit) {
    node_stack waiting;
    append_parts(start, waiting);
    std::reverse(waiting.begin(), waiting.end());
    while (!waiting.empty()) {
        const tvr_ast_node& node = *waiting.back();
        waiting.pop_back();
        const size_t below = waiting.size();
        if (visit(node)) append_parts(node, waiting);
        std::reverse(waiting.begin() + ptrdiff_t(below), waiting.end());
    }
}
