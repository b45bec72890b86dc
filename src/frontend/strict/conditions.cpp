// Conditions, and what a test tells of the variables that it tests.

#include "frontend/strict/checker.h"

namespace {

bool is_none_word(const tvr_ast_node& node) {
    return tvr_strict_literal_type(node).is_none();
}

// Whose truth says nothing that a comparison would not say better.
bool wants_comparison(tvr_strict_kind of) {
    using kind = tvr_strict_kind;
    switch (of) {
    case kind::integer:
    case kind::real:
    case kind::number:
    case kind::text:
    case kind::list:
    case kind::map:
    case kind::json:
    case kind::function:
    case kind::class_def: return true;
    default: return false;
    }
}

}  // namespace

void tvr_strict_checker_impl::check_condition(const tvr_ast_node& node) {
    if (node.type == node_type::node_unary && node.as<tvr_ast_node_unary>().op->is(code::exclaim))
        return check_condition(*node.as<tvr_ast_node_unary>().operand);
    const bool outer = std::exchange(in_condition, true);
    if (node.type == node_type::node_binary &&
        tvr_is_logical(node.as<tvr_ast_node_binary>().op->code)) {
        check_logical(node.as<tvr_ast_node_binary>());
    } else {
        const type found = infer_value(node);
        if (wants_comparison(found.is) && !found.maybe_none)
            find(node.start, "Condition is ", tvr_strict_type_name(found),
                 ", compare it explicitly (e.g. 'x != 0').");
    }
    in_condition = outer;
}

// a && b && c: each operand is a condition, and knows what those in front of it have said.
void tvr_strict_checker_impl::check_logical(const tvr_ast_node_binary& node) {
    const size_t first = links.size();
    const tvr_ast_node* leftmost = &node;
    while (leftmost->type == node_type::node_binary &&
           leftmost->as<tvr_ast_node_binary>().op->is(node.op->code)) {
        links.push_back(leftmost);
        leftmost = leftmost->as<tvr_ast_node_binary>().left;
    }
    const bool truth = node.op->is(code::logical_and);
    check_condition(*leftmost);
    const size_t start = flow.here();
    apply_test(*leftmost, truth);
    while (links.size() > first) {
        const tvr_ast_node& right = *links.back()->as<tvr_ast_node_binary>().right;
        links.pop_back();
        check_condition(right);
        apply_test(right, truth);
    }
    join_with_start(start);
}

// Behind code that may not have run.
void tvr_strict_checker_impl::join_with_start(size_t start) {
    if (flow.here() == start) return;
    std::vector<tvr_strict_way> ways(1);
    ways.push_back(flow.leave(start, start));
    flow.enter(ways);
}

// Goes on where the outcome of a test is known.
void tvr_strict_checker_impl::apply_test(const tvr_ast_node& node, bool truth) {
    switch (node.type) {
    case node_type::node_unary:
        if (node.as<tvr_ast_node_unary>().op->is(code::exclaim))
            apply_test(*node.as<tvr_ast_node_unary>().operand, !truth);
        return;
    case node_type::node_binary: return apply_binary(node.as<tvr_ast_node_binary>(), truth);
    case node_type::node_assign:
        if (truth) forget_none(*node.as<tvr_ast_node_assign>().target);
        return;
    case node_type::node_function_call:
        if (truth) apply_call(node.as<call_node>());
        return;
    default:
        if (truth) forget_none(node);
    }
}

void tvr_strict_checker_impl::apply_binary(const tvr_ast_node_binary& node, bool truth) {
    if (!tvr_is_logical(node.op->code)) return apply_comparison(node, truth);
    if (node.op->is(code::logical_and) != truth) return;
    const tvr_ast_node* left = &node;
    while (left->type == node_type::node_binary &&
           left->as<tvr_ast_node_binary>().op->is(node.op->code)) {
        apply_test(*left->as<tvr_ast_node_binary>().right, truth);
        left = left->as<tvr_ast_node_binary>().left;
    }
    apply_test(*left, truth);
}

void tvr_strict_checker_impl::apply_comparison(const tvr_ast_node_binary& node, bool truth) {
    if (!node.op->is(code::equal) && !node.op->is(code::not_equal)) return;
    const bool equal = node.op->is(code::equal) == truth;
    const tvr_ast_node *tested = node.left, *other = node.right;
    if (is_none_word(*tested)) std::swap(tested, other);
    if (tested->type == node_type::node_assign) tested = tested->as<tvr_ast_node_assign>().target;
    if (!is_none_word(*other)) {
        // Unequal to what may be None itself tells nothing.
        const bool some = tvr_strict_literal_type(*other).is_known();
        if (equal || !some) forget_none(*tested);
        const bool tested_some = tvr_strict_literal_type(*tested).is_known();
        if (equal || !tested_some) forget_none(*other);
        return;
    }
    if (!equal) return forget_none(*tested);
    const int64_t variable = followed_variable(*tested);
    if (variable == tvr_strict_flow::no_variable) return;
    const type& now = flow.at(variable).now;
    if (!now.may_be_none()) return;
    type none = kind::none;
    none.why = now.why;
    flow.set(variable, none);
}

// std.instanceof(x, T) and std.is_class(x).
void tvr_strict_checker_impl::apply_call(const call_node& node) {
    const tvr_function_def* function = called_native(node);
    if (function == nullptr || node.params.empty()) return;
    const auto role = natives.role_of(*function);
    if (role == tvr_strict_natives::role::ordinary) return;
    const tvr_ast_node& value = *node.params[0]->value;
    forget_none(value);
    if (role != tvr_strict_natives::role::tests_class || node.params.size() < 2) return;
    const tvr_ast_node& wanted = *node.params[1]->value;
    const int64_t variable = followed_variable(value);
    if (variable == tvr_strict_flow::no_variable || wanted.type != node_type::node_variable) return;
    const link_value of = find_name(wanted.start);
    if (of.is.is != kind::class_def || of.is.of_class == nullptr) return;
    type instance = kind::instance;
    instance.of_class = of.is.of_class;
    flow.set(variable, instance);
}

const tvr_function_def* tvr_strict_checker_impl::called_native(const call_node& node) {
    const tvr_ast_node* callee = node.callee;
    if (callee->type != node_type::node_variable && callee->type != node_type::node_json_literal)
        return nullptr;
    const size_t first = links.size();
    while (callee->type == node_type::node_json_literal) {
        links.push_back(callee);
        callee = callee->as<tvr_ast_node_json_literal>().left;
    }
    link_value found;
    if (callee->type == node_type::node_variable) found = find_name(callee->start);
    for (size_t i = links.size(); i > first; --i) {
        if (found.space == nullptr) {
            found = {};
            break;
        }
        found = find_in(*found.space, links[i - 1]->as<tvr_ast_node_json_literal>().name->text());
    }
    links.resize(first);
    return found.native;
}

// The variable that a node is, when its value is followed here; else no_variable.
int64_t tvr_strict_checker_impl::followed_variable(const tvr_ast_node& node) {
    if (node.type != node_type::node_variable) return tvr_strict_flow::no_variable;
    const int64_t variable = flow.find(node.start->text());
    return is_followed(variable) ? variable : tvr_strict_flow::no_variable;
}

bool tvr_strict_checker_impl::is_followed(int64_t variable) {
    if (variable == tvr_strict_flow::no_variable) return false;
    const tvr_strict_variable& of = flow.at(variable);
    return !of.not_followed && !(of.is_root && here != &main_body);
}

void tvr_strict_checker_impl::forget_none(const tvr_ast_node& node) {
    const int64_t variable = followed_variable(node);
    if (variable == tvr_strict_flow::no_variable) return;
    const type& now = flow.at(variable).now;
    if (now.may_be_none()) flow.set(variable, now.without_none());
}
