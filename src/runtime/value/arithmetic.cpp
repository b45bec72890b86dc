#include "runtime/value/arithmetic.h"

#include <algorithm>
#include <cmath>

#include "runtime/local/error_sink.h"
#include "runtime/object/object.h"
#include "runtime/payload/std_json.h"
#include "runtime/payload/std_string.h"
#include "runtime/value/payload_pools.h"
#include "runtime/value/plain_value.h"

namespace {

using object_operator = bool (tvrobject_base::*)(tvrvar&, tvrvar&);

// What tells one of the four operators from the others.
struct operator_rules {
    std::string_view type_error;  // "Add invalid type: "
    std::string_view failure;     // "Cannot add '"
    int64_t (*of_ints)(int64_t, int64_t);
    double (*of_floats)(double, double);
    object_operator lhs, rhs;
};

int64_t divide_ints(int64_t a, int64_t b) {
    if (b != 0) return tvr_wrap_div(a, b);
    runtime_warning("Division by zero!");
    return 0;
}

double divide_floats(double a, double b) {
    if (b != 0.0) return a / b;
    runtime_warning("Division by zero!");
    return 0.0;
}

constexpr operator_rules add_rules = {"Add invalid type: ",
                                      "Cannot add '",
                                      tvr_wrap_add,
                                      [](double a, double b) { return a + b; },
                                      &tvrobject_base::op_math_add_lhs,
                                      &tvrobject_base::op_math_add_rhs};
constexpr operator_rules sub_rules = {"Sub invalid type: ",
                                      "Cannot subtract '",
                                      tvr_wrap_sub,
                                      [](double a, double b) { return a - b; },
                                      &tvrobject_base::op_math_sub_lhs,
                                      &tvrobject_base::op_math_sub_rhs};
constexpr operator_rules mult_rules = {"Mult invalid type: ",
                                       "Cannot multiplicate '",
                                       tvr_wrap_mul,
                                       [](double a, double b) { return a * b; },
                                       &tvrobject_base::op_math_mul_lhs,
                                       &tvrobject_base::op_math_mul_rhs};
constexpr operator_rules div_rules = {"Div invalid type: ",
                                      "Cannot divide '",
                                      divide_ints,
                                      divide_floats,
                                      &tvrobject_base::op_math_div_lhs,
                                      &tvrobject_base::op_math_div_rhs};

bool has_class(const tvrvar& left, const tvrvar& right) {
    return left.is_class() || right.is_class();
}

void fail_operator(const operator_rules& rules, tvrvar& left, tvrvar& right, tvrvar& result) {
    std::string left_text, right_text;
    runtime_error(rules.failure, left.text_view(left_text), "' and '", right.text_view(right_text),
                  "'");
    result.as_none();
}

bool asks(tvrvar& asked, object_operator op, tvrvar& other, tvrvar& result) {
    if (asked.type != tvrvar_type_object) return false;
    const tvrptr_strong<tvrobject_base> object(asked.object_ptr());
    return object && (object.get()->*op)(other, result);
}

void by_objects(const operator_rules& rules, tvrvar& left, tvrvar& right, tvrvar& result) {
    const tvrvar_shared answer = tvrvar_shared::make();
    if (asks(left, rules.lhs, right, *answer) || asks(right, rules.rhs, left, *answer)) {
        return result.take(*answer);
    }
    fail_operator(rules, left, right, result);
}

// The rules that the four operators share.
bool arithmetic(const operator_rules& rules, tvrvar& left, tvrvar& right, tvrvar& result) {
    if (has_class(left, right)) return false;
    const uint8_t larger = std::max(left.type, right.type);
    switch (larger) {
    case tvrvar_type_int: result.as_int(rules.of_ints(left.int_value(), right.int_value())); break;
    case tvrvar_type_float:
        result.as_float(rules.of_floats(left.float_value(), right.float_value()));
        break;
    case tvrvar_type_object: by_objects(rules, left, right, result); break;
    default: runtime_error(rules.type_error, tvrvar_type_name(larger)); result.as_none();
    }
    return true;
}

bool behind_handles(const operator_rules& rules, tvrvar& left, tvrvar& right, tvrvar& result) {
    const tvr_plain_value a(left), b(right);
    return arithmetic(rules, *a, *b, result);
}

// The result's own text while nobody else looks at it: its memory takes the sum then.
std::string* reusable_text(tvrvar& result, const tvrvar& right) {
    const bool own = result.type == tvrvar_type_string && result.block->strong == 1;
    if (!own || &result == &right) return nullptr;
    return &static_cast<tvr_std_string*>(result.block->object)->text;
}

void concatenate(tvrvar& left, tvrvar& right, tvrvar& result) {
    std::string left_scratch, right_scratch;
    const std::string_view left_text = left.text_view(left_scratch);
    const std::string_view right_text = right.text_view(right_scratch);
    if (std::string* text = reusable_text(result, right)) {
        if (&left != &result) text->assign(left_text);
        *text += right_text;
        return;
    }
    const tvrptr_strong<tvr_std_string> sum(tvr_pool_take<tvr_std_string>());
    sum->text.reserve(left_text.size() + right_text.size());
    sum->text += left_text;
    sum->text += right_text;
    tvrvar made;
    made.type = tvrvar_type_string;
    made.block = sum.control_block();
    made.block->add_strong();
    result.take(made);
}

// Every value in a variable of its own, so that changing the sum leaves the parts alone.
void add_entries(tvr_std_json& sum, const tvr_std_json& part) {
    for (size_t i = 0; i < part.size(); ++i) {
        tvrvar_shared copy = tvrvar_shared::make();
        copy->set(*part.entries[i].value);
        sum.set(part.entries[i].name(), std::move(copy));
    }
}

void add_json(tvrvar& left, tvrvar& right, tvrvar& result) {
    if (left.type == tvrvar_type_string || right.type == tvrvar_type_string) {
        return concatenate(left, right, result);
    }
    if (left.type != right.type) return fail_operator(add_rules, left, right, result);
    tvrvar sum;
    tvr_std_json& entries = sum.as_json(true);
    add_entries(entries, *left.object<tvr_std_json>());
    add_entries(entries, *right.object<tvr_std_json>());
    result.take(sum);
}

bool both(const tvrvar& left, const tvrvar& right, TVRVAR_TYPE type) {
    return left.type == type && right.type == type;
}

bool modulo(tvrvar& left, tvrvar& right, tvrvar& result) {
    if (has_class(left, right)) return false;
    const bool of_floats = left.type == tvrvar_type_float || right.type == tvrvar_type_float;
    if (of_floats) {
        const double divisor = right.float_value();
        if (divisor == 0.0) runtime_warning("Modulo by zero!");
        result.as_float(divisor == 0.0 ? 0.0 : std::fmod(left.float_value(), divisor));
        return true;
    }
    const int64_t divisor = right.int_value();
    if (divisor == 0) runtime_warning("Modulo by zero!");
    result.as_int(divisor == 0 ? 0 : tvr_wrap_mod(left.int_value(), divisor));
    return true;
}

template <typename OP>
bool bitwise(tvrvar& left, tvrvar& right, tvrvar& result, OP op) {
    const tvr_plain_value a(left), b(right);
    if (has_class(*a, *b)) return false;
    result.as_int(op(a->int_value(), b->int_value()));
    return true;
}

}  // namespace

bool tvrvar_add(tvrvar& left, tvrvar& right, tvrvar& result) {
    if (both(left, right, tvrvar_type_int)) {
        result.as_int(tvr_wrap_add(left.integer, right.integer));
        return true;
    }
    if (both(left, right, tvrvar_type_float)) {
        result.as_float(left.real + right.real);
        return true;
    }
    const tvr_plain_value a(left), b(right);
    if (has_class(*a, *b)) return false;
    switch (std::max(a->type, b->type)) {
    case tvrvar_type_string:
    case tvrvar_type_binary: concatenate(*a, *b, result); return true;
    case tvrvar_type_json: add_json(*a, *b, result); return true;
    default: return arithmetic(add_rules, *a, *b, result);
    }
}

bool tvrvar_sub(tvrvar& left, tvrvar& right, tvrvar& result) {
    if (both(left, right, tvrvar_type_int)) {
        result.as_int(tvr_wrap_sub(left.integer, right.integer));
        return true;
    }
    if (both(left, right, tvrvar_type_float)) {
        result.as_float(left.real - right.real);
        return true;
    }
    return behind_handles(sub_rules, left, right, result);
}

bool tvrvar_mult(tvrvar& left, tvrvar& right, tvrvar& result) {
    if (both(left, right, tvrvar_type_int)) {
        result.as_int(tvr_wrap_mul(left.integer, right.integer));
        return true;
    }
    if (both(left, right, tvrvar_type_float)) {
        result.as_float(left.real * right.real);
        return true;
    }
    return behind_handles(mult_rules, left, right, result);
}

bool tvrvar_div(tvrvar& left, tvrvar& right, tvrvar& result) {
    return behind_handles(div_rules, left, right, result);
}

bool tvrvar_mod(tvrvar& left, tvrvar& right, tvrvar& result) {
    const tvr_plain_value a(left), b(right);
    return modulo(*a, *b, result);
}

bool tvrvar_band(tvrvar& left, tvrvar& right, tvrvar& result) {
    return bitwise(left, right, result, [](int64_t a, int64_t b) { return a & b; });
}

bool tvrvar_bor(tvrvar& left, tvrvar& right, tvrvar& result) {
    return bitwise(left, right, result, [](int64_t a, int64_t b) { return a | b; });
}

bool tvrvar_bxor(tvrvar& left, tvrvar& right, tvrvar& result) {
    return bitwise(left, right, result, [](int64_t a, int64_t b) { return a ^ b; });
}

bool tvrvar_minus(tvrvar& operand, tvrvar& result) {
    const tvr_plain_value value(operand);
    switch (value->type) {
    case tvrvar_type_class: return false;
    case tvrvar_type_int: result.as_int(tvr_wrap_neg(value->integer)); return true;
    case tvrvar_type_float: result.as_float(-value->real); return true;
    default:
        runtime_error("Cannot negate type ", value->type);
        result.as_none();
        return true;
    }
}

void tvrvar_bnot(tvrvar& operand, tvrvar& result) {
    result.as_int(~operand.int_value());
}
