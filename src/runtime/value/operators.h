#pragma once

// The methods by which script classes take part in operators.

#include <array>
#include <cstdint>
#include <string_view>

// A row's place is its number in a class's operator table: arithmetic, its reversed forms eight
// places on, comparisons, negation, elements. Builder, checker and machine read this list.
//   name, operator text, number of parameters
#define TVR_OPERATOR_METHODS(OP) \
    OP(add, "+", 1)              \
    OP(sub, "-", 1)              \
    OP(mul, "*", 1)              \
    OP(div, "/", 1)              \
    OP(and, "&", 1)              \
    OP(or, "|", 1)               \
    OP(xor, "^", 1)              \
    OP(mod, "%", 1)              \
    OP(radd, "+", 1)             \
    OP(rsub, "-", 1)             \
    OP(rmul, "*", 1)             \
    OP(rdiv, "/", 1)             \
    OP(rand, "&", 1)             \
    OP(ror, "|", 1)              \
    OP(rxor, "^", 1)             \
    OP(rmod, "%", 1)             \
    OP(eq, "==", 1)              \
    OP(ne, "!=", 1)              \
    OP(lt, "<", 1)               \
    OP(le, "<=", 1)              \
    OP(gt, ">", 1)               \
    OP(ge, ">=", 1)              \
    OP(neg, "-", 0)              \
    OP(getitem, "[]", 1)         \
    OP(setitem, "[]=", 2)

#define TVR_OPERATOR_ENUM(name, text, params) tvr_operator_##name,
enum tvr_operator : uint8_t { TVR_OPERATOR_METHODS(TVR_OPERATOR_ENUM) tvr_operator_count };
#undef TVR_OPERATOR_ENUM

inline constexpr int tvr_reversed_operator = 8;  // from an arithmetic operator to its right form

struct tvr_operator_method {
    std::string_view method;  // "__add__"
    std::string_view text;    // "+"
    uint32_t params;
};

#define TVR_OPERATOR_ROW(name, text, params) tvr_operator_method{"__" #name "__", text, params},
inline constexpr std::array<tvr_operator_method, tvr_operator_count> tvr_operator_methods = {
    {TVR_OPERATOR_METHODS(TVR_OPERATOR_ROW)}};
#undef TVR_OPERATOR_ROW

// The number of a method, tvr_operator_count for a name that is none.
tvr_operator tvr_find_operator(std::string_view method);
