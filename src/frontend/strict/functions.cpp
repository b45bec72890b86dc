// Functions: what they declare, and what their bodies give back.

#include "frontend/strict/checker.h"

tvr_strict_function* tvr_strict_checker_impl::declare_function(const tvr_ast_node_function_def& def,
                                                               const tvr_strict_class* owner) {
    tvr_strict_function& made = functions.emplace_back();
    made.def = &def;
    made.name = def.lambda ? "lambda" : def.name->text();
    made.owner = owner;
    made.result = declared_type(def.return_type);
    made.result_declared = def.return_type.word != nullptr;
    for (const tvr_ast_word& word : def.keywords) {
        made.is_private = made.is_private || word.word->is(code::word_private);
        made.is_abstract = made.is_abstract || word.word->is(code::word_abstract);
    }
    for (const tvr_ast_node_function_def_param* param : def.params) {
        tvr_strict_param& added = made.params.emplace_back();
        added.name = param->name->text();
        added.declared = declared_type(param->declared);
        added.has_default = param->default_value != nullptr;
        added.none_by_default =
            added.has_default && tvr_strict_literal_type(*param->default_value).is_none();
        added.by_reference = param->by_reference;
    }
    made_for[&def] = &made;
    return &made;
}

// The frame says of which class the function is, and what it may see.
void tvr_strict_checker_impl::walk_function(tvr_strict_function& function, function_frame& frame) {
    frame.function = &function;
    function_frame* outer = std::exchange(here, &frame);
    loop_frame* outer_loop = std::exchange(loop, nullptr);
    const bool outer_ended = std::exchange(ended, false);
    const bool outer_condition = std::exchange(in_condition, false);
    const uint32_t outer_floor = flow.enter_function(function.def->lambda);
    const size_t start = flow.here(), outer_used = used.size();
    flow.open_scope();
    names.open_block();
    for (size_t i = 0; i < function.params.size(); ++i) define_param(function, i);
    uncertain = false;
    walk_block(function.def->body->statements);
    conclude(function, frame);
    names.close_block();
    flow.close_scope();
    flow.undo(start);
    flow.leave_function(outer_floor);
    used.resize(outer_used);
    here = outer;
    loop = outer_loop;
    ended = outer_ended;
    in_condition = outer_condition;
    uncertain = call_ends = false;
}

// A default sees the parameters in front of its own.
void tvr_strict_checker_impl::define_param(const tvr_strict_function& function, size_t place) {
    const tvr_ast_node_function_def_param& node = *function.def->params[place];
    const tvr_strict_param& param = function.params[place];
    if (node.default_value != nullptr) {
        const type value = shared(infer_for(param.declared, *node.default_value));
        if (!param.none_by_default && !tvr_strict_fits(param.declared, value))
            find(node.default_value->start, "Default value of parameter '", param.name, "' of ",
                 function.name, " has to be ", tvr_strict_type_name(param.declared),
                 ", its default value is ", tvr_strict_type_name(value), ".");
    }
    type now = param.declared;
    if (param.none_by_default) {
        now.maybe_none = true;
        now.why = reason_of(tvr_join("parameter '", param.name, "' is None by default"));
    }
    const int64_t made = define_variable(node.name, param.declared, now);
    if (param.by_reference) flow.at(made).not_followed = true;
}

// What the walk over the body has shown.
void tvr_strict_checker_impl::conclude(tvr_strict_function& function, const function_frame& frame) {
    function.walked = true;
    const bool promise =
        function.is_abstract || (function.owner != nullptr && function.owner->is_interface);
    if (promise) return;
    function.never_returns = ended && !frame.gives_value && !frame.gives_nothing;
    const bool falls_off = !ended && !uncertain;
    if (function.result_declared) {
        if (falls_off && function.result.is_known() && function.result.is != kind::nothing)
            find(function.def->name, "Not all code paths of '", function.name,
                 "' return a value (it is declared ", tvr_strict_type_name(function.result), ").");
        return;
    }
    if (function.never_returns) return;
    const std::string title =
        function.def->lambda ? "the lambda" : tvr_join("'", function.name, "'");
    if (!frame.gives_value) {
        function.result = kind::none;
        function.result.why = reason_of(title + " returns no value");
    } else if (falls_off || frame.gives_nothing) {
        type none = kind::none;
        none.why = reason_of(title + " does not always return a value");
        function.result = tvr_strict_join(none, frame.result);
    } else {
        function.result = frame.result;
    }
    function.result.exact = false;
}

tvr_strict_type tvr_strict_checker_impl::infer_lambda(const tvr_ast_node_function_def& def) {
    tvr_strict_function* made = declare_function(def, nullptr);
    function_frame frame;
    frame.of_class = here->of_class;
    frame.has_this = here->has_this;
    walk_function(*made, frame);
    type value = kind::function;
    value.function = made;
    return value;
}
