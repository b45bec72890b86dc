// Functions and lambdas: their parameters, defaults and bodies.

#include "frontend/builder/builder.h"

namespace {

constexpr uint32_t no_variable = tvr_program_block_symbol_table::none;

}  // namespace

bool tvr_asm_builder::declare_function(const tvr_ast_node_function_def& def) {
    if (def.lambda) return refuse(def.start, "Anonymous functions not allowed.");
    if (!def.keywords.empty())
        return refuse(def.keywords[0].word, "Unknown method keyword '",
                      def.keywords[0].word->text(), "'");
    const std::string_view name = def.name->text();
    if (here->declared.count(name) > 0) return refuse(def.name, "Function already exists.");
    uint32_t sub_block = 0;
    tvr_program_block_routine* routine = make_function(def, sub_block);
    if (routine == nullptr) return false;
    tvr_declared_name& record = here->declared[name];
    record = {tvr_declared_name::kind::function, sub_block, routine, &def, nullptr};
    if (here->has_this) record.this_of = here->of_class;
    return true;
}

// The block of a function with its parameters; null after an error.
tvr_program_block_routine* tvr_asm_builder::make_function(const tvr_ast_node_function_def& def,
                                                          uint32_t& sub_block) {
    auto* routine = new tvr_program_block_routine();
    sub_block = add_sub_block(routine, def.lambda ? "lambda" : def.name->text(),
                              tvr_block_kind::function, def.start);
    routine->no_except = def.no_except;
    made_for[&def] = routine;
    return declare_params(*routine, def) ? routine : nullptr;
}

bool tvr_asm_builder::declare_params(tvr_program_block_routine& routine,
                                     const tvr_ast_node_function_def& def) {
    if (def.params.size() > tvr_max_call_args)
        return refuse(def.start, "Too many arguments for function ",
                      def.lambda ? "" : def.name->text());
    for (const tvr_ast_node_function_def_param* param : def.params) {
        if (!param->keywords.empty())
            return refuse(param->keywords[0].word, "parameter keywords not supported yet.");
        if (routine.find_var_local(param->name->text()) != no_variable)
            return refuse(param->name, "Variable '", param->name->text(), "' double definition.");
        const uint32_t index = routine.create_var(param->name->text(), false);
        if (param->by_reference)
            routine.variable_flags[index] = tvr_program_block_routine::by_reference;
        routine.default_blocks.push_back(tvr_program_block_routine::no_defaults);
        if (param->default_value == nullptr) continue;
        if (routine.default_args == tvr_program_block_routine::no_defaults)
            routine.default_args = index;
        auto* block = new tvr_program_block_routine();
        routine.default_blocks[index] = uint32_t(routine.sub_blocks.size());
        routine.sub_blocks.emplace_back(block);
        start_block(*block, param->name->text(), tvr_block_kind::scoped, param->start);
        block->parent.acquire(&routine);
    }
    routine.num_params = uint32_t(def.params.size());
    return true;
}

// The scope says what the function may see; its block and its parameters exist.
bool tvr_asm_builder::compile_function(tvr_program_block_routine& routine,
                                       const tvr_ast_node_function_def& def,
                                       tvr_code_scope& scope) {
    scope.block = &routine;
    if (scope.of_class == nullptr) {
        scope.of_class = here->of_class;
        scope.has_this = here->has_this;
    }
    const open_scope opened(*this, scope);
    return compile_defaults(def, scope) && compile_block(def.body->statements);
}

// A default sees the parameters in front of its own.
bool tvr_asm_builder::compile_defaults(const tvr_ast_node_function_def& def,
                                       tvr_code_scope& scope) {
    scope.hidden_to = uint32_t(def.params.size());
    for (uint32_t i = 0; i < def.params.size(); ++i) {
        const tvr_ast_node* value = def.params[i]->default_value;
        if (value == nullptr) continue;
        emit_byte(tvr_op_call_subroutine_default_arg, uint8_t(i), def.params[i]->start);
        scope.hidden_from = i;
        const auto& block = scope.block->sub_blocks[scope.block->default_blocks[i]];
        if (!compile_default(static_cast<tvr_program_block_routine&>(*block), *value)) return false;
    }
    scope.hidden_from = scope.hidden_to = 0;
    return true;
}

bool tvr_asm_builder::compile_default(tvr_program_block_routine& block, const tvr_ast_node& value) {
    tvr_code_scope scope;
    scope.block = &block;
    scope.of_class = here->of_class;
    scope.has_this = here->has_this;
    const open_scope opened(*this, scope);
    if (!compile_pushed(value)) return false;
    emit(tvr_op_end_return, value.start);
    return true;
}

bool tvr_asm_builder::compile_lambda(const tvr_ast_node_function_def& def) {
    uint32_t sub_block = 0;
    tvr_program_block_routine* routine = make_function(def, sub_block);
    if (routine == nullptr) return false;
    emit_index(tvr_op_return_function, sub_block, def.start);
    emit_captures(*routine, def);
    if (here->has_this) emit_byte(tvr_op_set_lambda, 1, def.start);
    tvr_code_scope scope;
    scope.is = tvr_code_scope::role::lambda;
    return compile_function(*routine, def, scope);
}
