// Adding to a variable in place.

#include <algorithm>

#include "runtime/local/error_sink.h"
#include "runtime/value/arithmetic.h"
#include "runtime/value/plain_value.h"
#include "runtime/value/value.h"

namespace {

bool step(tvrvar& value, int sign) {
    if (value.type == tvrvar_type_int) {
        value.integer = tvr_wrap_add(value.integer, sign);
        return true;
    }
    if (value.type != tvrvar_type_float) return false;
    value.real += sign;
    return true;
}

// Adds `by` times `sign`, as numbers. None and none make an int.
bool change(tvrvar& value, tvrvar& by, int sign, std::string_view name) {
    const tvr_plain_value left(value), right(by);
    const uint8_t larger = std::max(left->type, right->type);
    tvrvar sum;
    switch (larger) {
    case tvrvar_type_none:
    case tvrvar_type_int: {
        const int64_t a = left->int_value(), b = right->int_value();
        sum.as_int(sign > 0 ? tvr_wrap_add(a, b) : tvr_wrap_sub(a, b));
        break;
    }
    case tvrvar_type_float: {
        const double a = left->float_value(), b = right->float_value();
        sum.as_float(sign > 0 ? a + b : a - b);
        break;
    }
    default:
        runtime_warning(name, " not implemented for type: ", tvrvar_type_name(larger));
        return false;
    }
    value.set(sum);
    return true;
}

}  // namespace

bool tvrvar::increment_value() {
    return step(*this, 1);
}

bool tvrvar::decrement_value() {
    return step(*this, -1);
}

bool tvrvar::increment_value(tvrvar& by) {
    return change(*this, by, 1, "increment_value");
}

bool tvrvar::decrement_value(tvrvar& by) {
    return change(*this, by, -1, "decrement_value");
}
