// Literals and operators.

#include "frontend/strict/checker.h"

namespace {

constexpr const char* convert_hint =
    " Convert explicitly with std.int(), std.float() or std.string().";

bool is_logical(const tvr_src_token& op) {
    return op.is(tvr_token_code::logical_and) || op.is(tvr_token_code::logical_or);
}

// The operator of a compound form, or the operator itself.
tvr_token_code plain_operator(tvr_token_code op) {
    using code = tvr_token_code;
    switch (op) {
    case code::add_assign: return code::plus;
    case code::subtract_assign: return code::minus;
    case code::multiply_assign: return code::star;
    case code::divide_assign: return code::slash;
    case code::modulo_assign: return code::percent;
    case code::and_assign: return code::ampersand;
    case code::or_assign: return code::pipe;
    case code::xor_assign: return code::caret;
    default: return op;
    }
}

// The method of a class for an operator; tvr_operator_count for one that has none.
tvr_operator method_of(tvr_token_code op) {
    using code = tvr_token_code;
    switch (plain_operator(op)) {
    case code::plus: return tvr_operator_add;
    case code::minus: return tvr_operator_sub;
    case code::star: return tvr_operator_mul;
    case code::slash: return tvr_operator_div;
    case code::percent: return tvr_operator_mod;
    case code::ampersand: return tvr_operator_and;
    case code::pipe: return tvr_operator_or;
    case code::caret: return tvr_operator_xor;
    case code::equal: return tvr_operator_eq;
    case code::not_equal: return tvr_operator_ne;
    case code::less: return tvr_operator_lt;
    case code::less_equal: return tvr_operator_le;
    case code::greater: return tvr_operator_gt;
    case code::greater_equal: return tvr_operator_ge;
    default: return tvr_operator_count;
    }
}

bool is_bit_operator(tvr_token_code op) {
    using code = tvr_token_code;
    const code plain = plain_operator(op);
    return plain == code::ampersand || plain == code::pipe || plain == code::caret;
}

bool is_word_for_none(const tvr_strict_type& value) {
    return value.is_none() && value.why == 0;
}

}  // namespace

bool tvr_strict_checker_impl::is_order(code op) {
    return op == code::less || op == code::less_equal || op == code::greater ||
           op == code::greater_equal;
}

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
        if (is_logical(*step.op)) {
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

tvr_strict_type tvr_strict_checker_impl::combine(const tvr_ast_node_binary& node, type left,
                                                 type right) {
    check_divisor(node.op, *node.right);
    return combine(node.op, {shared(left), node.left}, {shared(right), node.right});
}

tvr_strict_type tvr_strict_checker_impl::combine(token op, used_operand left, used_operand right) {
    if (op->is(code::equal) || op->is(code::not_equal))
        return combine_comparison(op, left.is, right.is);
    const bool joins = plain_operator(op->code) == code::plus &&
                       (left.is.is == kind::text || right.is.is == kind::text);
    // One report is enough where both are None.
    if (!joins && (!use_operand(op, left.is, left.node) || !use_operand(op, right.is, right.node)))
        return is_order(op->code) ? type(kind::boolean) : type();
    if (is_order(op->code)) return combine_comparison(op, left.is, right.is);
    if (!left.is.is_known() || !right.is.is_known() || left.is.is == kind::object ||
        right.is.is == kind::object)
        return {};
    if (left.is.is == kind::instance || right.is.is == kind::instance)
        return combine_class(op, left.is, right.is);
    if (is_bit_operator(op->code)) return combine_bits(op, left.is, right.is);
    return combine_arithmetic(op, left.is, right.is);
}

// False for the word None, which no operator can use. What may be None is reported and then taken
// for something.
bool tvr_strict_checker_impl::use_operand(token op, type& operand, const tvr_ast_node* node) {
    if (!operand.may_be_none()) return true;
    if (is_word_for_none(operand)) {
        if (is_order(op->code))
            find(op, "None cannot be ordered ('", op->text(), "').");
        else
            find(op, "None used in arithmetic ('", op->text(), "').");
        return false;
    }
    report_none(operand, node->start, tvr_join("using it with '", op->text(), "'"));
    if (node->type == node_type::node_variable) forget_none(*node);
    operand = operand.without_none();
    return true;
}

tvr_strict_type tvr_strict_checker_impl::combine_arithmetic(token op, const type& left,
                                                            const type& right) {
    const code plain = plain_operator(op->code);
    if (left.is_numeric() && right.is_numeric()) {
        if (left.is == kind::real || right.is == kind::real) return kind::real;
        if (left.is == kind::number || right.is == kind::number) return kind::number;
        return kind::integer;
    }
    const bool adds = plain == code::plus;
    const auto has_text = [](const type& t) {
        return t.is_numeric() || t.is == kind::text || t.is_json() || t.is_none();
    };
    if (adds && (left.is == kind::text || right.is == kind::text) && has_text(left) &&
        has_text(right))
        return kind::text;
    if (adds && left.is_json() && right.is_json()) return kind::json;
    return refuse_operands(op, left, right);
}

tvr_strict_type tvr_strict_checker_impl::refuse_operands(token op, const type& left,
                                                         const type& right) {
    const std::string a = tvr_strict_type_name(left), b = tvr_strict_type_name(right);
    find(op, "'", op->text(), "' cannot be used with ", a, " and ", b, " ('", a, " ", op->text(),
         " ", b, "').", convert_hint);
    return {};
}

tvr_strict_type tvr_strict_checker_impl::combine_bits(token op, const type& left,
                                                      const type& right) {
    for (const type* operand : {&left, &right}) {
        if (operand->is_any_of(kind::integer, kind::boolean) || operand->is == kind::number)
            continue;
        find(op, "Bitwise '", op->text(), "' needs int operands, not ",
             tvr_strict_type_name(*operand), ".");
        break;
    }
    return kind::integer;
}

tvr_strict_type tvr_strict_checker_impl::combine_class(token op, const type& left,
                                                       const type& right) {
    const tvr_operator which = method_of(op->code);
    if (which == tvr_operator_count) return {};
    const auto method = [](const type& of, size_t number) -> const tvr_strict_function* {
        if (of.is != kind::instance || of.of_class == nullptr) return nullptr;
        return of.of_class->find_method(tvr_operator_methods[number].method);
    };
    const auto lacks = [&](const type& of, size_t number) {
        return of.is != kind::instance ||
               (of.of_class != nullptr && !has_member(of, tvr_operator_methods[number].method));
    };
    const size_t reversed = size_t(which) + tvr_reversed_operator;
    if (const tvr_strict_function* found = method(left, which)) return result_of(left, *found);
    if (lacks(left, which)) {
        if (const tvr_strict_function* found = method(right, reversed))
            return result_of(right, *found);
    }
    if (!lacks(left, which) || !lacks(right, reversed)) return {};
    const bool on_left = left.is == kind::instance;
    const type& of = on_left ? left : right;
    find(op, "Class '", of.of_class->name, "' has no operator method ",
         tvr_operator_methods[on_left ? size_t(which) : reversed].method, " for '", op->text(),
         "' with ", tvr_strict_type_name(on_left ? right : left),
         on_left ? " on the right." : " on the left.");
    return {};
}

tvr_strict_type tvr_strict_checker_impl::combine_comparison(token op, const type& left,
                                                            const type& right) {
    if (!left.is_known() || !right.is_known() || left.is_none() || right.is_none() ||
        left.is == kind::object || right.is == kind::object)
        return kind::boolean;
    const bool order = is_order(op->code);
    if (left.is == kind::instance && (order || right.is != kind::instance))
        return compare_class(op, left, right);
    const bool truths = left.is == kind::boolean || right.is == kind::boolean;
    if (order && truths && left.is_numeric() && right.is_numeric()) {
        find(op, "bool values cannot be ordered", " (only == and !=).");
        return kind::boolean;
    }
    if (comparable(left, right, order)) return kind::boolean;
    refuse_comparison(op, left, right);
    return kind::boolean;
}

bool tvr_strict_checker_impl::comparable(const type& left, const type& right, bool order) {
    if (left.is_numeric() && right.is_numeric()) return true;
    if (left.is == kind::text && right.is == kind::text) return true;
    if (order) return false;
    // A list equals its length.
    const auto counts = [](const type& t) {
        return t.is_any_of(kind::integer, kind::number) || t.is == kind::boolean;
    };
    if (left.is_json()) return right.is_json() || counts(right);
    if (right.is_json()) return counts(left);
    const auto is_data = [](const type& t) { return t.is_numeric() || t.is == kind::text; };
    return !is_data(left) && !is_data(right);
}

// Only the left side is asked. Equality needs no method.
tvr_strict_type tvr_strict_checker_impl::compare_class(token op, const type& left,
                                                       const type& right) {
    if (left.of_class == nullptr) return kind::boolean;
    const tvr_operator which = method_of(op->code);
    const auto has = [&](tvr_operator method) {
        return has_member(left, tvr_operator_methods[method].method);
    };
    if (has(which) || (which == tvr_operator_ne && has(tvr_operator_eq))) return kind::boolean;
    if (is_order(op->code))
        find(op, "Class '", left.of_class->name, "' has no operator method ",
             tvr_operator_methods[which].method, " for '", op->text(), "' with ",
             tvr_strict_type_name(right), " on the right.");
    else
        refuse_comparison(op, left, right);
    return kind::boolean;
}

void tvr_strict_checker_impl::refuse_comparison(token op, const type& left, const type& right) {
    const auto converts = [](const type& t) { return t.is_numeric() || t.is == kind::text; };
    const bool both = converts(left) && converts(right);
    find(op, "Comparing ", tvr_strict_type_name(left), " with ", tvr_strict_type_name(right), ".",
         both ? convert_hint : "");
}

void tvr_strict_checker_impl::check_divisor(token op, const tvr_ast_node& divisor) {
    const code plain = plain_operator(op->code);
    if (plain != code::slash && plain != code::percent) return;
    const bool zero =
        (divisor.type == node_type::node_int && divisor.as<tvr_ast_node_int>().value == 0) ||
        (divisor.type == node_type::node_float && divisor.as<tvr_ast_node_float>().value == 0.0);
    if (zero) find(op, plain == code::slash ? "Division by zero." : "Modulo by zero.");
}
