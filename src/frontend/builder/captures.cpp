// Which variables a lambda takes along: each local of the functions around it that it names, or
// that a lambda inside of it names. They are copied when the lambda is made.

#include "frontend/builder/builder.h"
#include "frontend/builder/tree_walk.h"

using node_type = tvr_ast_node_type;

namespace {

using name_set = std::unordered_set<std::string_view>;

bool is_name(const tvr_ast_node& node) {
    return node.type == node_type::node_variable;
}

// Calls `use` with each name that stands in a lambda and is no parameter of it or of a lambda
// inside of it around the name. Recursion is as deep as lambdas nest.
template <typename USE>
void for_each_name(const tvr_ast_node_function_def& lambda, name_set& params, const USE& use) {
    std::vector<std::string_view> own;
    for (const tvr_ast_node_function_def_param* param : lambda.params) {
        if (params.insert(param->name->text()).second) own.push_back(param->name->text());
    }
    tvr_walk_all(lambda, [&](const tvr_ast_node& node) {
        if (is_name(node) && params.count(node.start->text()) == 0) use(node.start);
        if (node.type == node_type::node_class_def) return false;
        if (node.type != node_type::node_function_def) return true;
        const auto& inner = node.as<tvr_ast_node_function_def>();
        if (inner.lambda) for_each_name(inner, params, use);
        return false;
    });
    for (const std::string_view name : own) params.erase(name);
}

}  // namespace

void tvr_asm_builder::emit_captures(tvr_program_block_routine& routine,
                                    const tvr_ast_node_function_def& def) {
    if (here->is_root()) return;
    name_set params, seen;
    for_each_name(def, params, [&](token name) {
        if (!seen.insert(name->text()).second) return;
        const found what = find_variable(name->text());
        if (what.is != found::kind::variable || what.owner->is_root()) return;
        routine.create_var(name->text(), false);
        ++routine.num_captures;
        emit(tvr_op_push_stack, def.start);
        emit_variable(what, def.start);
        emit_byte(tvr_op_set_lambda, 0, def.start);
    });
}
