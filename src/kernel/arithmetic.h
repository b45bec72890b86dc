#pragma once

// What the expressions of the instruction table call. The C prelude (native/c_prelude.cpp) says
// the same in C; the differential tests hold the two together. They are static because batch.inc is
// compiled for several instruction sets, and copies of one must not serve another.

#include <cmath>
#include <cstdint>
#include <limits>

#include "kernel/prim.h"

static constexpr int64_t k_i32(uint64_t v) {
    return int64_t(int32_t(uint32_t(v)));
}
static constexpr uint64_t k_u32(uint64_t v) {
    return uint64_t(uint32_t(v));
}

// The order of the compare decides what becomes of a NaN: the first operand wins.
static constexpr float k_fmin(float a, float b) {
    return b < a ? b : a;
}
static constexpr float k_fmax(float a, float b) {
    return a < b ? b : a;
}
static constexpr double k_dmin(double a, double b) {
    return b < a ? b : a;
}
static constexpr double k_dmax(double a, double b) {
    return a < b ? b : a;
}

static constexpr uint64_t k_mulhi(uint64_t a, uint64_t b) {
    __extension__ typedef unsigned __int128 wide;
    return uint64_t(wide(a) * b >> 64);
}

// Division by a constant of 2 to 65535 through its magic number, floor((2^64 - 1) / d) + 1.
static constexpr uint64_t k_magic(uint64_t d) {
    return std::numeric_limits<uint64_t>::max() / d + 1;
}
static constexpr uint64_t k_divc_u32(uint64_t x, uint64_t m) {
    return k_mulhi(m, uint32_t(x));
}
static constexpr uint64_t k_modc_u32(uint64_t x, uint64_t m, uint64_t d) {
    return k_mulhi(m * uint32_t(x), d);
}
static constexpr uint64_t k_abs32(int64_t x) {
    return uint32_t(x < 0 ? 0 - uint64_t(x) : uint64_t(x));
}
static constexpr int64_t k_divc_i32(int64_t x, uint64_t m) {
    const auto q = int64_t(k_divc_u32(k_abs32(x), m));
    return x < 0 ? -q : q;
}
static constexpr int64_t k_modc_i32(int64_t x, uint64_t m, uint64_t d) {
    const auto rest = int64_t(k_modc_u32(k_abs32(x), m, d));
    return x < 0 ? -rest : rest;
}

// What a truncated float may be to fit: low <= value < end. From i8 to u64.
struct k_range {
    double low, end;
};
static constexpr k_range k_ranges[] = {
    {-128.0, 128.0},
    {0.0, 256.0},
    {-32768.0, 32768.0},
    {0.0, 65536.0},
    {-2147483648.0, 2147483648.0},
    {0.0, 4294967296.0},
    {-9223372036854775808.0, 9223372036854775808.0},
    {0.0, 18446744073709551616.0},
};

// Truncates toward zero. False for a NaN, a value outside the target's range, and a target that
// is no integer type.
static inline bool k_f2i(double v, uint32_t target, int64_t* out) {
    if (target < uint32_t(tvrk_prim::i8) || target > uint32_t(tvrk_prim::u64)) return false;
    const double t = std::trunc(v);
    const k_range& r = k_ranges[target - uint32_t(tvrk_prim::i8)];
    if (!(t >= r.low && t < r.end)) return false;
    *out = target == uint32_t(tvrk_prim::u64) ? int64_t(uint64_t(t)) : int64_t(t);
    return true;
}

static inline uint32_t k_aadd32(void* at, uint64_t v) {
    return __atomic_fetch_add(static_cast<uint32_t*>(at), uint32_t(v), __ATOMIC_RELAXED);
}
static inline uint64_t k_aadd64(void* at, uint64_t v) {
    return __atomic_fetch_add(static_cast<uint64_t*>(at), v, __ATOMIC_RELAXED);
}

// The C library's functions, which every engine calls.
float k_math1_f32(tvrk_math kind, float x);
double k_math1_f64(tvrk_math kind, double x);
float k_math2_f32(tvrk_math kind, float x, float y);
double k_math2_f64(tvrk_math kind, double x, double y);
