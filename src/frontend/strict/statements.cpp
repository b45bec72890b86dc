// Statements: blocks, branches, loops, and where they leave the variables.

#include "frontend/builder/package_imports.h"
#include "frontend/strict/checker.h"
#include "runtime/object/namespaces.h"
#include "runtime/script/script.h"

using how = tvr_strict_write::how;

namespace {

// if (1), for (true)
bool is_always_true(const tvr_ast_node& condition) {
    if (condition.type == tvr_ast_node_type::node_int)
        return condition.as<tvr_ast_node_int>().value != 0;
    return condition.type == tvr_ast_node_type::node_variable &&
           (condition.start->is(tvr_token_code::word_true) ||
            condition.start->is(tvr_token_code::word_True));
}

}  // namespace

tvr_strict_checker_impl::tvr_strict_checker_impl(tvrscript& of, const tvr_ast& tree,
                                                 tvr_package_imports& packages,
                                                 const tvrk_unit* declared)
    : findings(of.config.strict_mode),
      script(of),
      ast(tree),
      imports(packages),
      kernels(declared),
      survey(tree),
      natives(of.root_namespace),
      reasons{"it is None"} {}

void tvr_strict_checker_impl::infer() {
    flow.open_scope();
    names.open_block();
    walk_block(ast.roots);
}

void tvr_strict_checker_impl::walk_block(tvr_ast_list<tvr_ast_node*> nodes) {
    declare_definitions(nodes);
    uncertain = false;
    for (const tvr_ast_node* node : nodes) walk(*node);
}

void tvr_strict_checker_impl::walk_scope(const tvr_ast_node_sub_block& body) {
    const size_t outer_used = used.size();
    flow.open_scope();
    names.open_block();
    walk_block(body.statements);
    names.close_block();
    flow.close_scope();
    used.resize(outer_used);
}

void tvr_strict_checker_impl::walk(const tvr_ast_node& node) {
    uncertain = false;
    switch (node.type) {
    case node_type::node_noop: return;
    case node_type::node_sub_block: return walk_scope(node.as<tvr_ast_node_sub_block>());
    case node_type::node_condition_stack:
        return walk_conditions(node.as<tvr_ast_node_condition_stack>());
    case node_type::node_loop: return walk_loop(node.as<tvr_ast_node_loop>());
    case node_type::node_try_catch: return walk_try(node.as<tvr_ast_node_try_catch>());
    case node_type::node_return: return walk_return(node.as<tvr_ast_node_return>());
    case node_type::node_break:
        if (loop != nullptr) loop->breaks.push_back(flow.leave(loop->head, flow.here()));
        ended = true;
        return;
    case node_type::node_continue: ended = true; return;
    case node_type::node_using_namespace:
        return walk_using(node.as<tvr_ast_node_using_namespace>());
    case node_type::node_class_def: return walk_class(node.as<tvr_ast_node_class_def>());
    case node_type::node_function_def: return walk_definition(node);
    case node_type::node_multi_command:
        for (const tvr_ast_node* command : node.as<tvr_ast_node_multi_command>().commands)
            walk(*command);
        return;
    case node_type::node_variable:
        if (!node.as<tvr_ast_node_variable>().keywords.empty())
            return declare_variable(node.as<tvr_ast_node_variable>());
        break;
    default: break;
    }
    call_ends = false;
    infer_value(node, want::discarded);
    if (call_ends && node.type == node_type::node_function_call) ended = true;
}

void tvr_strict_checker_impl::walk_definition(const tvr_ast_node& node) {
    const auto made = made_for.find(&node);
    if (made == made_for.end()) return;
    function_frame frame;
    frame.of_class = here->of_class;
    frame.has_this = here->has_this;
    walk_function(*made->second, frame);
}

// Adds what a branch has changed, unless its end is not reached. A call at its end that may not
// have returned, such as that of a function which raises an error, makes what was known of None
// doubtful.
void tvr_strict_checker_impl::end_way(std::vector<tvr_strict_way>& ways, size_t from, size_t to) {
    if (ended) return flow.undo(to);
    tvr_strict_way& way = ways.emplace_back(flow.leave(from, to));
    if (!uncertain) return;
    for (tvr_strict_way::change& change : way.changes) change.now = change.now.without_none();
}

// Goes on behind branches; nothing is reached there when no way leads out of them.
void tvr_strict_checker_impl::meet(const std::vector<tvr_strict_way>& ways) {
    ended = ways.empty();
    uncertain = false;
    flow.enter(ways);
}

void tvr_strict_checker_impl::walk_conditions(const tvr_ast_node_condition_stack& node) {
    const size_t start = flow.here();
    std::vector<tvr_strict_way> ways;
    for (const tvr_ast_node_condition* condition : node.conditions) {
        check_condition(*condition->condition);
        const size_t before = flow.here();
        apply_test(*condition->condition, true);
        walk_scope(*condition->body);
        end_way(ways, start, before);
        // Behind `if (1)` nothing else is reached.
        ended = is_always_true(*condition->condition);
        uncertain = false;
        if (ended) break;
        apply_test(*condition->condition, false);
    }
    if (node.else_body != nullptr && !ended) walk_scope(*node.else_body);
    end_way(ways, start, start);
    meet(ways);
}

// At its head all that the loop writes may have been written already.
void tvr_strict_checker_impl::walk_loop(const tvr_ast_node_loop& node) {
    flow.open_scope();
    names.open_block();
    if (node.initializer != nullptr) walk(*node.initializer);
    expect_writes(survey.writes_in(node));
    loop_frame frame{flow.here(), {}};
    loop_frame* outer = std::exchange(loop, &frame);
    check_condition(*node.condition);
    apply_test(*node.condition, true);
    walk_scope(*node.body);
    flow.undo(frame.head);
    ended = false;
    if (node.increment != nullptr) {
        const narrow_scope narrowed(flow);
        apply_test(*node.condition, true);
        walk(*node.increment);
    }
    if (!is_always_true(*node.condition)) {
        apply_test(*node.condition, false);
        frame.breaks.push_back(flow.leave(frame.head, frame.head));
    }
    meet(frame.breaks);
    loop = outer;
    names.close_block();
    flow.close_scope();
}

// Each variable gets a type that holds after any number of the writes, in whatever order.
void tvr_strict_checker_impl::expect_writes(tvr_strict_survey::range range) {
    constexpr int rounds = 2;
    for (int round = 0; round < rounds; ++round) {
        for (size_t i = range.begin; i < range.end; ++i) {
            const tvr_strict_write& write = survey.writes[i];
            const int64_t variable = flow.find(write.name);
            if (variable == tvr_strict_flow::no_variable) continue;
            const type before = flow.at(variable).now, declared = flow.at(variable).declared;
            type after = after_write(write, before);
            if (declared.is_known() && !after.is_none()) after = declared;
            after = tvr_strict_join(before, after);
            const bool settled = after.is == before.is && after.maybe_none == before.maybe_none;
            if (settled && after.literal == before.literal) continue;
            if (round > 0) after = after.without_none().is_known() ? type() : after;
            set_variable(variable, after);
        }
    }
}

// What a write leaves behind, going by the form of the code alone.
tvr_strict_type tvr_strict_checker_impl::after_write(const tvr_strict_write& write,
                                                     const type& before) {
    switch (write.is) {
    case how::touched:
        if (before.literal) before.facts->sure = false;
        return before;
    case how::passed: return may_change_argument(write) ? type() : before;
    case how::counted: return before.is_numeric() ? before : type();
    case how::assigned:
        return tvr_strict_literal_type(*write.node->as<tvr_ast_node_assign>().value);
    case how::combined: break;
    }
    const auto& assign = write.node->as<tvr_ast_node_assign>();
    const type value = tvr_strict_literal_type(*assign.value);
    if (before.is == kind::text && assign.op->is(code::add_assign) && value.is_known())
        return before;
    const bool numbers = before.is_numeric() && value.is_numeric();
    return numbers ? tvr_strict_join(before, value) : type();
}

// The body may have been left after any of its writes.
void tvr_strict_checker_impl::walk_try(const tvr_ast_node_try_catch& node) {
    const size_t start = flow.here();
    std::vector<tvr_strict_way> ways;
    walk_scope(*node.body);
    end_way(ways, start, start);
    ended = false;
    expect_writes(survey.writes_in(node));
    flow.open_scope();
    define_variable(node.variable, {}, {});
    walk_scope(*node.catch_body);
    flow.close_scope();
    end_way(ways, start, start);
    meet(ways);
}

void tvr_strict_checker_impl::walk_return(const tvr_ast_node_return& node) {
    if (node.value == nullptr) {
        here->gives_nothing = true;
        if (here->function != nullptr && here->function->result_declared &&
            here->function->result.is_known() && here->function->result.is != kind::nothing)
            find(node.start, "'", here->function->name, "' has to return a value of type ",
                 tvr_strict_type_name(here->function->result), ".");
    } else {
        const type declared = here->function != nullptr && here->function->result_declared
                                  ? here->function->result
                                  : type();
        const type value = shared(infer_for(declared, *node.value));
        check_returned(value, node.start);
        here->result = here->gives_value ? tvr_strict_join(here->result, value) : value;
        here->gives_value = true;
    }
    ended = true;
}

void tvr_strict_checker_impl::check_returned(const type& value, token at) {
    const tvr_strict_function* function = here->function;
    if (function == nullptr) return;
    if (function->owner != nullptr && function->name == "__deinit__")
        return find(at, "'", function->owner->name,
                    ".__deinit__' returns a value, its result is never used.");
    if (function->owner != nullptr && function->name == "__init__")
        return find(at, "The constructor of class '", function->owner->name,
                    "' returns a value, its result is never used.");
    if (!function->result_declared) return;
    if (function->result.is == kind::nothing)
        return find(at, "'", function->name, "' is declared void but returns a value.");
    if (!tvr_strict_fits(function->result, value))
        find(at, "'", function->name, "' has to return a value of type ",
             tvr_strict_type_name(function->result), ", not ", tvr_strict_type_name(value), ".");
}

// What cannot be imported is the builder's business.
void tvr_strict_checker_impl::walk_using(const tvr_ast_node_using_namespace& node) {
    link_value found = find_in_namespaces(node.path[0]->text());
    if (node.import && found.space == nullptr) {
        const std::string package(node.path[0]->text());
        if (!script.is_namespace_allowed(package) || !imports.load(package)) return;
        found = find_in_namespaces(package);
    }
    for (size_t i = 1; i < node.path.size() && found.space != nullptr; ++i)
        found = find_in(*found.space, node.path[i]->text());
    const bool again = !used.empty() && used.back() == found.space;
    if (found.space != nullptr && !again) used.push_back(found.space);
}
