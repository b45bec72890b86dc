#include "kernel/reduce.h"

#include <algorithm>
#include <limits>

#include "kernel/arithmetic.h"

namespace {

tvrk_reg of_u(uint64_t v) {
    tvrk_reg r;
    r.u = v;
    return r;
}

constexpr uint64_t f32_infinity = 0x7f800000, f64_infinity = 0x7ff0000000000000;
constexpr uint64_t f32_minus_infinity = 0xff800000, f64_minus_infinity = 0xfff0000000000000;
constexpr uint64_t all_ones = ~uint64_t(0);

// All bits of the type's width; signed types fill the register.
uint64_t ones_of(tvrk_prim prim) {
    switch (prim) {
    case tvrk_prim::boolean: return 1;
    case tvrk_prim::u8: return 0xff;
    case tvrk_prim::u16: return 0xffff;
    case tvrk_prim::u32: return 0xffffffff;
    default: return all_ones;
    }
}

uint64_t largest_of(tvrk_prim prim) {
    switch (prim) {
    case tvrk_prim::i32: return uint64_t(std::numeric_limits<int32_t>::max());
    case tvrk_prim::i64: return uint64_t(std::numeric_limits<int64_t>::max());
    case tvrk_prim::f32: return f32_infinity;
    case tvrk_prim::f64: return f64_infinity;
    default: return ones_of(prim);
    }
}

uint64_t smallest_of(tvrk_prim prim) {
    switch (prim) {
    case tvrk_prim::i32: return uint64_t(int64_t(std::numeric_limits<int32_t>::min()));
    case tvrk_prim::i64: return uint64_t(std::numeric_limits<int64_t>::min());
    case tvrk_prim::f32: return f32_minus_infinity;
    case tvrk_prim::f64: return f64_minus_infinity;
    default: return 0;
    }
}

tvrk_reg sum(tvrk_prim prim, tvrk_reg a, tvrk_reg b) {
    tvrk_reg r = of_u(a.u + b.u);
    if (prim == tvrk_prim::i32) r.i = k_i32(r.u);
    if (prim == tvrk_prim::u32) r.u = k_u32(r.u);
    if (prim == tvrk_prim::f64) r.d = a.d + b.d;
    if (prim == tvrk_prim::f32) {
        r.u = 0;
        r.f = a.f + b.f;
    }
    return r;
}

bool less(tvrk_prim prim, tvrk_reg a, tvrk_reg b) {
    if (prim == tvrk_prim::f32) return a.f < b.f;
    if (prim == tvrk_prim::f64) return a.d < b.d;
    return tvrk_is_signed(prim) ? a.i < b.i : a.u < b.u;
}

}  // namespace

tvrk_reg tvrk_reduce_identity(tvrk_reduce reduce, tvrk_prim prim) {
    switch (reduce) {
    case tvrk_reduce::min: return of_u(largest_of(prim));
    case tvrk_reduce::max: return of_u(smallest_of(prim));
    case tvrk_reduce::bit_and: return of_u(ones_of(prim));
    default: return of_u(0);
    }
}

tvrk_reg tvrk_reduce_combine(tvrk_reduce reduce, tvrk_prim prim, tvrk_reg a, tvrk_reg b) {
    switch (reduce) {
    case tvrk_reduce::add: return sum(prim, a, b);
    case tvrk_reduce::min: return less(prim, b, a) ? b : a;
    case tvrk_reduce::max: return less(prim, a, b) ? b : a;
    case tvrk_reduce::bit_and: return of_u(a.u & b.u);
    case tvrk_reduce::bit_or: return of_u(a.u | b.u);
    case tvrk_reduce::bit_xor: return of_u(a.u ^ b.u);
    default: return a;
    }
}

tvrk_reg tvrk_reduce_fold(tvrk_reduce reduce, tvrk_prim prim, tvrk_reg a, const tvrk_reg* values,
                          size_t count) {
    // Sums are what nearly all reductions are; the type is decided once.
    if (reduce == tvrk_reduce::add && tvrk_is_integer(prim)) {
        uint64_t total = 0;
        for (size_t i = 0; i < count; ++i) total += values[i].u;
        return sum(prim, a, of_u(total));
    }
    if (reduce == tvrk_reduce::add && prim == tvrk_prim::f32) {
        float total = a.f;
        for (size_t i = 0; i < count; ++i) total += values[i].f;
        a.u = 0;
        a.f = total;
        return a;
    }
    if (reduce == tvrk_reduce::add && prim == tvrk_prim::f64) {
        for (size_t i = 0; i < count; ++i) a.d += values[i].d;
        return a;
    }
    for (size_t i = 0; i < count; ++i) a = tvrk_reduce_combine(reduce, prim, a, values[i]);
    return a;
}
