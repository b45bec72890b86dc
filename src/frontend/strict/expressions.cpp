// Literals, operators in front of and behind an operand, rows of binary ones.

#include "frontend/strict/checker.h"

tvr_strict_type tvr_strict_checker_impl::infer_value(const tvr_ast_node& node, want wanted) {
    switch (node.type) {
    case node_type::node_int: return kind::integer;
    case node_type::node_float: return kind::real;
    case node_type::node_string: return kind::text;
    case node_type::node_variable:
    case node_type::node_json_literal:
    case node_type::node_json:
    case node_type::node_function_call: return infer_chain(node, wanted);
    case node_type::node_unary: return infer_unary(node.as<tvr_ast_node_unary>());
    case node_type::node_binary: return infer_binary(node.as<tvr_ast_node_binary>());
    case node_type::node_ternary: return infer_ternary(node.as<tvr_ast_node_ternary>());
    case node_type::node_assign: return infer_assign(node.as<tvr_ast_node_assign>());
    case node_type::node_function_def: return infer_lambda(node.as<tvr_ast_node_function_def>());
    case node_type::node_initializer_list:
        return infer_list(node.as<tvr_ast_node_initializer_list>(), {});
    default: return {};
    }
}

tvr_strict_type tvr_strict_checker_impl::infer_unary(const tvr_ast_node_unary& node) {
    if (node.postfix) return infer_chain(node, want::value);
    if (node.op->is(code::increment) || node.op->is(code::decrement)) return infer_increment(node);
    const type operand = infer_value(*node.operand);
    switch (node.op->code) {
    case code::exclaim: return kind::boolean;
    case code::minus: return infer_negative(node, operand);
    case code::plus: return operand;
    case code::tilde:
        if (operand.is_any_of(kind::real, kind::text) || operand.is_json() ||
            operand.is == kind::function)
            find(node.op, "Bitwise '~' needs an int operand, not ", tvr_strict_type_name(operand),
                 ".");
        return kind::integer;
    default: return {};
    }
}

tvr_strict_type tvr_strict_checker_impl::infer_negative(const tvr_ast_node_unary& node,
                                                        const type& operand) {
    type value = operand;
    if (!use_operand(node.op, value, node.operand)) return {};
    if (value.is == kind::instance && value.of_class != nullptr) {
        if (const tvr_strict_function* method = value.of_class->find_method("__neg__"))
            return result_of(value, *method);
        if (!has_member(value, "__neg__"))
            find(node.op, "Class '", value.of_class->name,
                 "' has no operator method __neg__ for unary '-'.");
        return {};
    }
    if (value.is == kind::text || value.is_json() || value.is == kind::function ||
        value.is == kind::class_def) {
        find(node.op, "Unary '-' cannot be used with ", tvr_strict_type_name(value), ".",
             convert_hint);
        return {};
    }
    return value.is == kind::boolean ? type(kind::integer) : value.is_numeric() ? value : type();
}

// ++x and --x: the value afterwards.
tvr_strict_type tvr_strict_checker_impl::infer_increment(const tvr_ast_node_unary& node) {
    type before = infer_value(*node.operand);
    if (!use_operand(node.op, before, node.operand)) return {};
    const type after = counted(node.op, before);
    if (node.operand->type == node_type::node_variable) {
        const int64_t variable = flow.find(node.operand->start->text());
        if (variable != tvr_strict_flow::no_variable) set_variable(variable, after);
    }
    return after;
}

// What ++ and -- make of a value.
tvr_strict_type tvr_strict_checker_impl::counted(token op, const type& before) {
    if (before.is == kind::text || before.is_json() || before.is == kind::function)
        find(op, "'", op->text(), "' cannot be used with ", tvr_strict_type_name(before), ".",
             convert_hint);
    if (before.is == kind::boolean) return kind::integer;
    return before.is_numeric() ? before : type();
}

// From the leftmost operand to the right.
tvr_strict_type tvr_strict_checker_impl::infer_binary(const tvr_ast_node_binary& node) {
    const size_t first = links.size();
    const tvr_ast_node* leftmost = &node;
    for (; leftmost->type == node_type::node_binary;
         leftmost = leftmost->as<tvr_ast_node_binary>().left)
        links.push_back(leftmost);
    const auto& innermost = links.back()->as<tvr_ast_node_binary>();
    type left =
        infer_value(*leftmost, innermost.op->is(code::coalesce) ? want::optional : want::value);
    while (links.size() > first) {
        const auto& step = links.back()->as<tvr_ast_node_binary>();
        if (tvr_is_logical(step.op->code)) {
            left = infer_logical_row(first, left);
        } else {
            links.pop_back();
            left = infer_step(step, left);
        }
    }
    return left;
}

tvr_strict_type tvr_strict_checker_impl::infer_step(const tvr_ast_node_binary& node,
                                                    const type& left) {
    if (!node.op->is(code::coalesce)) {
        const type right = infer_value(*node.right);
        return combine(node, left, right);
    }
    const size_t start = flow.here();
    const type right = infer_value(*node.right, want::optional);
    join_with_start(start);
    if (!left.may_be_none()) return left.is_known() ? left : type();
    return left.is_none() ? right : tvr_strict_join(left.without_none(), right);
}

// A row of equal logical operators, the innermost on top of the links: the first operand that
// decides, or the last.
tvr_strict_type tvr_strict_checker_impl::infer_logical_row(size_t first, type left) {
    const code op = links.back()->as<tvr_ast_node_binary>().op->code;
    const bool truth = op == code::logical_and;
    const size_t start = flow.here();
    apply_test(*links.back()->as<tvr_ast_node_binary>().left, truth);
    while (links.size() > first && links.back()->as<tvr_ast_node_binary>().op->is(op)) {
        const tvr_ast_node& right_node = *links.back()->as<tvr_ast_node_binary>().right;
        links.pop_back();
        const type right = infer_value(right_node);
        apply_test(right_node, truth);
        // What is true is not None, but what is false may be.
        if (!truth) left = left.without_none();
        left = left.is == right.is ? tvr_strict_join(left, right) : type();
    }
    join_with_start(start);
    return left;
}

tvr_strict_type tvr_strict_checker_impl::infer_ternary(const tvr_ast_node_ternary& node) {
    check_condition(*node.condition);
    const size_t start = flow.here();
    std::vector<tvr_strict_way> ways(2);
    apply_test(*node.condition, true);
    const type if_true = shared(infer_value(*node.if_true));
    ways[0] = flow.leave(start, start);
    apply_test(*node.condition, false);
    const type if_false = shared(infer_value(*node.if_false));
    ways[1] = flow.leave(start, start);
    flow.enter(ways);
    return tvr_strict_join(if_true, if_false);
}

// Of an empty list nothing is known: it is what maps begin with too.
tvr_strict_type tvr_strict_checker_impl::infer_list(const tvr_ast_node_initializer_list& node,
                                                    const type& declared) {
    const bool typed = declared.is_any_of(kind::list, kind::map);
    size_t keyed = 0, place = 0;
    for (const tvr_ast_node_initializer_list_add* element : node.elements) {
        ++place;
        keyed += element->key != nullptr ? 1 : 0;
        const type expected = typed && declared.element != nullptr ? *declared.element : type();
        const type value = shared(infer_for(expected, *element->value));
        if (typed) check_typed_element(declared, *element, place, value);
    }
    if (typed) return declared;
    if (node.elements.empty() || (keyed != 0 && keyed != node.elements.size())) return kind::json;
    type made = keyed != 0 ? kind::map : kind::list;
    made.literal = true;
    made.facts = &literals.emplace_back();
    if (keyed == 0) return made;
    for (const tvr_ast_node_initializer_list_add* element : node.elements)
        made.facts->keys.push_back(element->key->text);
    return made;
}

void tvr_strict_checker_impl::check_typed_element(const type& declared,
                                                  const tvr_ast_node_initializer_list_add& element,
                                                  size_t place, const type& value) {
    if (declared.is == kind::list && element.key != nullptr)
        find(element.start, "A ", tvr_strict_type_name(declared), " has no keys, '",
             element.key->text, "' makes it a map.");
    if (declared.is == kind::map && element.key == nullptr)
        find(element.start, "Element ", place, " has no key ('name = value').");
    check_element(declared, value, element.value->start);
}
