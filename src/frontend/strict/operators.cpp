// What operators make of their operands, and which operands they cannot use.

#include "frontend/syntax/operators.h"
#include "frontend/strict/checker.h"

namespace {

// The method of a class for an operator; tvr_operator_count for one that has none.
tvr_operator method_of(tvr_token_code op) {
    using code = tvr_token_code;
    switch (tvr_plain_operator(op)) {
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
    const code plain = tvr_plain_operator(op);
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

tvr_strict_type tvr_strict_checker_impl::combine(const tvr_ast_node_binary& node, type left,
                                                 type right) {
    check_divisor(node.op, *node.right);
    return combine(node.op, {shared(left), node.left}, {shared(right), node.right});
}

tvr_strict_type tvr_strict_checker_impl::combine(token op, used_operand left, used_operand right) {
    if (op->is(code::equal) || op->is(code::not_equal))
        return combine_comparison(op, left.is, right.is);
    const bool joins = tvr_plain_operator(op->code) == code::plus &&
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
    const code plain = tvr_plain_operator(op->code);
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
    const code plain = tvr_plain_operator(op->code);
    if (plain != code::slash && plain != code::percent) return;
    const bool zero =
        (divisor.type == node_type::node_int && divisor.as<tvr_ast_node_int>().value == 0) ||
        (divisor.type == node_type::node_float && divisor.as<tvr_ast_node_float>().value == 0.0);
    if (zero) find(op, plain == code::slash ? "Division by zero." : "Modulo by zero.");
}
