#pragma once

// The operators on values.
//
// Each binary operator dereferences both sides and follows the rule of the larger type, so none
// beside an int acts as 0. The result goes into `result`, which may be the left operand itself:
// that is how the stack machine uses it, and numbers then allocate nothing. False where a class
// instance stands on either side: the caller has to look for an operator method (operators.h),
// which runs as a frame of its own; `result` is untouched then. Errors and warnings are reported
// and the stated result stored.
//
// Integers wrap at 64 bits. Division truncates towards zero and the remainder has the sign of the
// left side; by zero both warn and give 0 or 0.0; by -1 they negate and give 0, without a trap.

#include "runtime/value/value.h"

bool tvrvar_add(tvrvar& left, tvrvar& right, tvrvar& result);
bool tvrvar_sub(tvrvar& left, tvrvar& right, tvrvar& result);
bool tvrvar_mult(tvrvar& left, tvrvar& right, tvrvar& result);
bool tvrvar_div(tvrvar& left, tvrvar& right, tvrvar& result);
bool tvrvar_mod(tvrvar& left, tvrvar& right, tvrvar& result);
bool tvrvar_band(tvrvar& left, tvrvar& right, tvrvar& result);
bool tvrvar_bor(tvrvar& left, tvrvar& right, tvrvar& result);
bool tvrvar_bxor(tvrvar& left, tvrvar& right, tvrvar& result);

// False for a class instance, which may have __neg__.
bool tvrvar_minus(tvrvar& operand, tvrvar& result);
void tvrvar_bnot(tvrvar& operand, tvrvar& result);

// The integer rules alone, as every engine of the language follows them.
constexpr int64_t tvr_wrap_add(int64_t a, int64_t b) {
    return int64_t(uint64_t(a) + uint64_t(b));
}
constexpr int64_t tvr_wrap_sub(int64_t a, int64_t b) {
    return int64_t(uint64_t(a) - uint64_t(b));
}
constexpr int64_t tvr_wrap_mul(int64_t a, int64_t b) {
    return int64_t(uint64_t(a) * uint64_t(b));
}
constexpr int64_t tvr_wrap_neg(int64_t a) {
    return int64_t(0 - uint64_t(a));
}

// b is not 0.
constexpr int64_t tvr_wrap_div(int64_t a, int64_t b) {
    return b == -1 ? tvr_wrap_neg(a) : a / b;
}
constexpr int64_t tvr_wrap_mod(int64_t a, int64_t b) {
    return b == -1 ? 0 : a % b;
}
