// The text at the head of all generated C. Every byte counts: the hashes of ahead-of-time code
// cover it. It says in C what arithmetic.h says in C++.
//
// Functions that are not exact are called through volatile pointers. Otherwise the C compiler would
// replace calls by its own arithmetic where it sees constants, and pow(x, 2.0) by a product, with
// other last bits than the C library's, which the interpreters call.

#include "kernel/native/c_source.h"

namespace {

constexpr std::string_view prelude = R"prelude(
#include <stdint.h>
#include <string.h>
#include <math.h>

typedef union { int64_t i; uint64_t u; double d; float f; uint8_t* p; } kreg;
typedef struct { uint8_t* base; uint64_t count; uint64_t stride; uint64_t bytes; } kptr;
typedef struct { uint32_t code; uint32_t pc; uint64_t gid; int64_t value; double fvalue; uint64_t limit; } ktrap;

#if defined(_MSC_VER) && !defined(__clang__)
#include <intrin.h>
#define K_EXPORT __declspec(dllexport)
#define K_UNLIKELY(x) (x)
#define K_INLINE static __forceinline
K_INLINE uint32_t k_aadd32(void* p, uint64_t v) { return (uint32_t)_InterlockedExchangeAdd((volatile long*)p, (long)v); }
K_INLINE uint64_t k_aadd64(void* p, uint64_t v) { return (uint64_t)_InterlockedExchangeAdd64((volatile long long*)p, (long long)v); }
K_INLINE uint64_t k_mulhi(uint64_t a, uint64_t b) { return __umulh(a, b); }
#else
#if defined(_WIN32)
#define K_EXPORT __declspec(dllexport)
#else
#define K_EXPORT __attribute__((visibility("default")))
#endif
#define K_UNLIKELY(x) __builtin_expect(!!(x), 0)
#define K_INLINE static inline __attribute__((always_inline))
K_INLINE uint32_t k_aadd32(void* p, uint64_t v) { return __atomic_fetch_add((uint32_t*)p, (uint32_t)v, __ATOMIC_RELAXED); }
K_INLINE uint64_t k_aadd64(void* p, uint64_t v) { return __atomic_fetch_add((uint64_t*)p, v, __ATOMIC_RELAXED); }
#if defined(__SIZEOF_INT128__)
K_INLINE uint64_t k_mulhi(uint64_t a, uint64_t b) { return (uint64_t)(((unsigned __int128)a * b) >> 64); }
#else
K_INLINE uint64_t k_mulhi(uint64_t a, uint64_t b) {
	const uint64_t a0 = (uint32_t)a, a1 = a >> 32, b0 = (uint32_t)b, b1 = b >> 32;
	const uint64_t m = a1 * b0 + ((a0 * b0) >> 32);
	const uint64_t n = a0 * b1 + (uint32_t)m;
	return a1 * b1 + (m >> 32) + (n >> 32);
}
#endif
#endif

K_INLINE int64_t k_i32(uint64_t v) { return (int64_t)(int32_t)(uint32_t)v; }
K_INLINE uint64_t k_u32(uint64_t v) { return (uint64_t)(uint32_t)v; }
K_INLINE float k_fmin(float a, float b) { return b < a ? b : a; }
K_INLINE float k_fmax(float a, float b) { return a < b ? b : a; }
K_INLINE double k_dmin(double a, double b) { return b < a ? b : a; }
K_INLINE double k_dmax(double a, double b) { return a < b ? b : a; }
K_INLINE uint64_t k_divc_u32(uint64_t x, uint64_t m) { return k_mulhi(m, (uint32_t)x); }
K_INLINE uint64_t k_modc_u32(uint64_t x, uint64_t m, uint64_t d) { return k_mulhi(m * (uint32_t)x, d); }
K_INLINE uint64_t k_abs32(int64_t x) { return (uint32_t)(x < 0 ? 0 - (uint64_t)x : (uint64_t)x); }
K_INLINE int64_t k_divc_i32(int64_t x, uint64_t m) { const int64_t q = (int64_t)k_divc_u32(k_abs32(x), m); return x < 0 ? -q : q; }
K_INLINE int64_t k_modc_i32(int64_t x, uint64_t m, uint64_t d) { const int64_t r = (int64_t)k_modc_u32(k_abs32(x), m, d); return x < 0 ? -r : r; }

/* The conversion itself drops the fraction, so these bounds are those of what would round to it. */
K_INLINE int k_f2i(double v, int target, int64_t* out) {
	switch (target) {
	case 2: if (!(v > -129.0 && v < 128.0)) return 0; break;
	case 3: if (!(v > -1.0 && v < 256.0)) return 0; break;
	case 4: if (!(v > -32769.0 && v < 32768.0)) return 0; break;
	case 5: if (!(v > -1.0 && v < 65536.0)) return 0; break;
	case 6: if (!(v > -2147483649.0 && v < 2147483648.0)) return 0; break;
	case 7: if (!(v > -1.0 && v < 4294967296.0)) return 0; break;
	case 8: if (!(v >= -9223372036854775808.0 && v < 9223372036854775808.0)) return 0; break;
	case 9: if (!(v > -1.0 && v < 18446744073709551616.0)) return 0; *out = (int64_t)(uint64_t)v; return 1;
	default: return 0;
	}
	*out = (int64_t)v;
	return 1;
}

#define K_MATH1(name) \
	static float (*const volatile k_##name##f)(float) = name##f; \
	static double (*const volatile k_##name)(double) = name;
K_MATH1(sin) K_MATH1(cos) K_MATH1(tan) K_MATH1(asin) K_MATH1(acos) K_MATH1(atan)
K_MATH1(exp) K_MATH1(log) K_MATH1(log2) K_MATH1(log10)
static float (*const volatile k_powf)(float, float) = powf;
static double (*const volatile k_pow)(double, double) = pow;
static float (*const volatile k_atan2f)(float, float) = atan2f;
static double (*const volatile k_atan2)(double, double) = atan2;

#define K_TRAP(c, pc_, v, lim) do { trap->code = (c); trap->pc = (pc_); trap->gid = gid; trap->value = (int64_t)(v); trap->fvalue = 0; trap->limit = (lim); return (c); } while (0)
#define K_TRAPF(c, pc_, fv) do { trap->code = (c); trap->pc = (pc_); trap->gid = gid; trap->value = 0; trap->fvalue = (fv); trap->limit = 0; return (c); } while (0)

)prelude";

}  // namespace

std::string_view tvrk_c_prelude() {
    return prelude;
}

uint64_t tvrk_c_hash(std::string_view text) {
    constexpr uint64_t start = 0x14650fb0739d0383, prime = 0x100000001b3;
    uint64_t hash = start;
    for (const char c : text) hash = (hash ^ uint8_t(c)) * prime;
    return hash;
}
