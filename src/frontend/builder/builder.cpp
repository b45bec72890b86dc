#include "frontend/builder/builder.h"

#include "base/clock.h"
#include "frontend/builder/tree_walk.h"
#include "frontend/source/token_view.h"
#include "runtime/log/log.h"
#include "runtime/script/script.h"

using node_type = tvr_ast_node_type;

tvr_asm_builder::tvr_asm_builder(tvrscript& of, std::shared_ptr<const tvr_ast> tree,
                                 tvr_package_imports& packages, tvr_syntax_report& to)
    : script(of), ast(std::move(tree)), imports(packages), report(to) {}

tvr_asm_builder::open_scope::open_scope(tvr_asm_builder& of, tvr_code_scope& scope)
    : builder(of), outer(of.here), outer_used(of.used.size()) {
    scope.outer = outer;
    builder.here = &scope;
}

tvr_asm_builder::open_scope::~open_scope() {
    builder.num_code_bytes += builder.here->block->code_size();
    builder.here = outer;
    builder.used.resize(outer_used);
}

tvrptr_strong<tvr_program_block_root> tvr_asm_builder::create_program() {
    const double start = tvr_now_s();
    root.acquire(new tvr_program_block_root());
    root->ast = ast;
    const token first = ast->roots.empty() ? nullptr : ast->roots[0]->start;
    start_block(*root, ast->token_view().path, tvr_block_kind::root, first);
    {
        tvr_code_scope scope;
        scope.block = root.get();
        const open_scope opened(*this, scope);
        if (!compile_block(ast->roots)) return {};
    }
    tvr_log().log("Bytecode creation took ", (tvr_now_s() - start) * 1000, " ms (",
                  num_instructions, " instructions) size=", num_code_bytes);
    return std::move(root);
}

void tvr_asm_builder::start_block(tvr_program_block_routine& made, std::string_view name,
                                  tvr_block_kind kind, token at) {
    constexpr size_t usual_code_bytes = 256;
    made.code.reserve(usual_code_bytes);
    made.name = name;
    made.kind = kind;
    made.root = root.get();
    made.is_strict = at != nullptr && is_strict_code(*at);
    if (here != nullptr) made.parent.acquire(here->block);
}

// Gives a new block to the current one; its number there.
uint32_t tvr_asm_builder::add_sub_block(tvr_program_block_routine* made, std::string_view name,
                                        tvr_block_kind kind, token at) {
    here->block->sub_blocks.emplace_back(made);
    start_block(*made, name, kind, at);
    return uint32_t(here->block->sub_blocks.size() - 1);
}

bool tvr_asm_builder::is_strict_code(const tvr_src_token& at) const {
    return tvr_is_strict_code(at, script.config.strict_mode);
}

bool tvr_asm_builder::compile_block(tvr_ast_list<tvr_ast_node*> nodes) {
    if (!declare_definitions(nodes)) return false;
    for (const tvr_ast_node* node : nodes) {
        if (!compile_command(*node)) return false;
    }
    return true;
}

bool tvr_asm_builder::declare_definitions(tvr_ast_list<tvr_ast_node*> nodes) {
    for (const tvr_ast_node* node : nodes) {
        bool declared = true;
        if (node->type == node_type::node_function_def)
            declared = declare_function(node->as<tvr_ast_node_function_def>());
        else if (node->type == node_type::node_class_def)
            declared = declare_class(node->as<tvr_ast_node_class_def>());
        if (!declared) return false;
    }
    return true;
}

bool tvr_asm_builder::compile_command(const tvr_ast_node& node) {
    switch (node.type) {
    case node_type::node_noop: return true;
    case node_type::node_sub_block: return compile_body(node.as<tvr_ast_node_sub_block>(), "block");
    case node_type::node_condition_stack:
        return compile_conditions(node.as<tvr_ast_node_condition_stack>());
    case node_type::node_loop: return compile_loop(node.as<tvr_ast_node_loop>());
    case node_type::node_try_catch: return compile_try(node.as<tvr_ast_node_try_catch>());
    case node_type::node_return: return compile_return(node.as<tvr_ast_node_return>());
    case node_type::node_break: emit(tvr_op_end_break, node.start); return true;
    case node_type::node_continue: emit(tvr_op_end_continue, node.start); return true;
    case node_type::node_using_namespace:
        return compile_using(node.as<tvr_ast_node_using_namespace>());
    case node_type::node_class_def: return compile_class(node.as<tvr_ast_node_class_def>());
    case node_type::node_function_def: {
        const auto& def = node.as<tvr_ast_node_function_def>();
        if (def.lambda) return refuse(def.start, "Anonymous functions not allowed.");
        tvr_code_scope scope;
        scope.block = static_cast<tvr_program_block_routine*>(made_for[&def]);
        scope.is = tvr_code_scope::role::function;
        return compile_function(*scope.block, def, scope);
    }
    case node_type::node_multi_command:
        for (const tvr_ast_node* command : node.as<tvr_ast_node_multi_command>().commands) {
            if (!compile_command(*command)) return false;
        }
        return true;
    case node_type::node_variable:
        if (!node.as<tvr_ast_node_variable>().keywords.empty())
            return compile_declaration(node.as<tvr_ast_node_variable>());
        return compile_discarded(node);
    default: return compile_discarded(node);
    }
}

// An expression whose value nobody wants.
bool tvr_asm_builder::compile_discarded(const tvr_ast_node& expression) {
    emit(tvr_op_push_stack, expression.start);
    const bool counts = expression.type == node_type::node_unary &&
                        is_increment(*expression.as<tvr_ast_node_unary>().op);
    if (counts ? !compile_increment(expression.as<tvr_ast_node_unary>(), true)
               : !compile_value(expression))
        return false;
    emit_pop(expression.start);
    return true;
}

// The body of a statement: a block of its own when it has names of its own.
bool tvr_asm_builder::compile_body(const tvr_ast_node_sub_block& body, std::string_view name) {
    if (!declares_names(body)) {
        const size_t outer_used = used.size();
        const bool compiled = compile_block(body.statements);
        used.resize(outer_used);
        return compiled;
    }
    auto* block = new tvr_program_block_routine();
    const uint32_t number = add_sub_block(block, name, tvr_block_kind::scoped, body.start);
    emit_index(tvr_op_call_subroutine, number, body.start);
    tvr_code_scope scope;
    scope.block = block;
    scope.of_class = here->of_class;
    scope.has_this = here->has_this;
    const open_scope opened(*this, scope);
    return compile_block(body.statements);
}

// Whether running the body would make variables in its own scope. Statements inside it that have
// bodies decide for themselves.
bool tvr_asm_builder::declares_names(const tvr_ast_node_sub_block& body) {
    bool declares = false;
    tvr_walk_own_expressions(body.statements, [&](const tvr_ast_node& node) {
        switch (node.type) {
        case node_type::node_class_def: declares = true; break;
        case node_type::node_function_def:
            declares = declares || !node.as<tvr_ast_node_function_def>().lambda;
            break;
        case node_type::node_variable:
            declares = declares || !node.as<tvr_ast_node_variable>().keywords.empty();
            break;
        case node_type::node_assign:
            declares = declares || makes_variable(node.as<tvr_ast_node_assign>());
            break;
        default: break;
        }
        return !declares;
    });
    return declares;
}
