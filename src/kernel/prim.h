#pragma once

// Scalar types, reductions and math kinds of the kernel language, with their codes and names.
//
// The codes are a contract: generated C text and ahead-of-time libraries contain them.

#include <cstddef>
#include <cstdint>
#include <string_view>

enum class tvrk_prim : uint8_t {
    void_type = 0,
    boolean = 1,
    i8 = 2,
    u8 = 3,
    i16 = 4,
    u16 = 5,
    i32 = 6,
    u32 = 7,
    i64 = 8,
    u64 = 9,
    f32 = 10,
    f64 = 11,
    record = 12,  // a struct
};

enum class tvrk_reduce : uint8_t {
    none = 0,
    add = 1,
    min = 2,
    max = 3,
    bit_and = 4,
    bit_or = 5,
    bit_xor = 6,
};

// Kinds of the MATH instructions. Up to log10 they take one argument, then two.
enum class tvrk_math : uint8_t {
    floor = 0,
    ceil = 1,
    round = 2,
    trunc = 3,
    sin = 4,
    cos = 5,
    tan = 6,
    asin = 7,
    acos = 8,
    atan = 9,
    exp = 10,
    log = 11,
    log2 = 12,
    log10 = 13,
    pow = 14,
    atan2 = 15,
};

inline constexpr size_t tvrk_unary_math_count = 14;
inline constexpr size_t tvrk_math_count = 16;

// "i32", "struct"; "?" for a code beyond the table.
const char* tvrk_prim_name(tvrk_prim prim);

// void_type for an unknown word.
tvrk_prim tvrk_prim_from_name(std::string_view name);

// "+", "min"; "" for none.
const char* tvrk_reduce_name(tvrk_reduce reduce);

// "floor", "atan2"; "?" for a code beyond the table.
const char* tvrk_math_name(uint64_t kind);

// Bytes in memory: 1 for bool, 0 for void and struct.
size_t tvrk_prim_size(tvrk_prim prim);

constexpr bool tvrk_is_integer(tvrk_prim prim) {
    return prim >= tvrk_prim::i8 && prim <= tvrk_prim::u64;
}
constexpr bool tvrk_is_float(tvrk_prim prim) {
    return prim == tvrk_prim::f32 || prim == tvrk_prim::f64;
}
constexpr bool tvrk_is_number(tvrk_prim prim) {
    return tvrk_is_integer(prim) || tvrk_is_float(prim);
}
// i8 to u16: worked at 32 bits, then truncated.
constexpr bool tvrk_is_narrow(tvrk_prim prim) {
    return prim >= tvrk_prim::i8 && prim <= tvrk_prim::u16;
}
constexpr bool tvrk_is_signed(tvrk_prim prim) {
    return tvrk_is_integer(prim) && uint8_t(prim) % 2 == 0;
}
