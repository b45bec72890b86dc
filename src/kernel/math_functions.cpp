// The C library's math, one function pointer for each kind. Tables, so that a call costs the same
// for every kind and nothing is replaced by the compiler's own arithmetic.

#include <cmath>
#include <cstddef>

#include "kernel/arithmetic.h"

namespace {

// No word of these is folded by the compiler: the pointers are read at run time.
using unary_f32 = float (*)(float);
using unary_f64 = double (*)(double);

constexpr unary_f32 unary_f32_table[] = {floorf, ceilf, roundf, truncf, sinf, cosf,  tanf,
                                         asinf,  acosf, atanf,  expf,   logf, log2f, log10f};
constexpr unary_f64 unary_f64_table[] = {floor, ceil, round, trunc, sin, cos,  tan,
                                         asin,  acos, atan,  exp,   log, log2, log10};
static_assert(sizeof unary_f32_table / sizeof *unary_f32_table == tvrk_unary_math_count);
static_assert(sizeof unary_f64_table / sizeof *unary_f64_table == tvrk_unary_math_count);

}  // namespace

float k_math1_f32(tvrk_math kind, float x) {
    return unary_f32_table[size_t(kind)](x);
}

double k_math1_f64(tvrk_math kind, double x) {
    return unary_f64_table[size_t(kind)](x);
}

float k_math2_f32(tvrk_math kind, float x, float y) {
    return kind == tvrk_math::pow ? powf(x, y) : atan2f(x, y);
}

double k_math2_f64(tvrk_math kind, double x, double y) {
    return kind == tvrk_math::pow ? pow(x, y) : atan2(x, y);
}
