// Binary and unary operators on values.

#include <cmath>
#include <limits>

#include "base/join.h"
#include "kernel/arithmetic.h"
#include "kernel/compiler/compiler.h"

namespace {

// The instruction for each type: i32, u32, i64, u64, f32, f64. NOP: there is none.
struct op_row {
    std::string_view symbol;
    uint16_t codes[6];
};

constexpr op_row arithmetic[] = {
    {"+", {TVRK_ADD_I32, TVRK_ADD_U32, TVRK_ADD_X64, TVRK_ADD_X64, TVRK_ADD_F32, TVRK_ADD_F64}},
    {"-", {TVRK_SUB_I32, TVRK_SUB_U32, TVRK_SUB_X64, TVRK_SUB_X64, TVRK_SUB_F32, TVRK_SUB_F64}},
    {"*", {TVRK_MUL_I32, TVRK_MUL_U32, TVRK_MUL_X64, TVRK_MUL_X64, TVRK_MUL_F32, TVRK_MUL_F64}},
    {"/", {TVRK_DIV_I32, TVRK_DIV_U32, TVRK_DIV_I64, TVRK_DIV_U64, TVRK_DIV_F32, TVRK_DIV_F64}},
    {"%", {TVRK_MOD_I32, TVRK_MOD_U32, TVRK_MOD_I64, TVRK_MOD_U64, TVRK_MOD_F32, TVRK_MOD_F64}},
    {"&", {TVRK_AND_X, TVRK_AND_X, TVRK_AND_X, TVRK_AND_X, TVRK_NOP, TVRK_NOP}},
    {"|", {TVRK_OR_X, TVRK_OR_X, TVRK_OR_X, TVRK_OR_X, TVRK_NOP, TVRK_NOP}},
    {"^", {TVRK_XOR_X, TVRK_XOR_X, TVRK_XOR_X, TVRK_XOR_X, TVRK_NOP, TVRK_NOP}},
    {"<<", {TVRK_SHL_I32, TVRK_SHL_U32, TVRK_SHL_X64, TVRK_SHL_X64, TVRK_NOP, TVRK_NOP}},
    {">>", {TVRK_SHR_I32, TVRK_SHR_U32, TVRK_SHR_I64, TVRK_SHR_U64, TVRK_NOP, TVRK_NOP}},
    {"neg", {TVRK_NEG_I32, TVRK_NEG_U32, TVRK_NEG_X64, TVRK_NEG_X64, TVRK_NEG_F32, TVRK_NEG_F64}},
    {"~", {TVRK_NOT_X, TVRK_NOT_U32, TVRK_NOT_X, TVRK_NOT_X, TVRK_NOP, TVRK_NOP}},
};

bool is_compare(std::string_view op) {
    return op == "==" || op == "!=" || op == "<" || op == "<=" || op == ">" || op == ">=";
}
bool is_bitwise(std::string_view op) {
    return op == "&" || op == "|" || op == "^";
}

constexpr tvrk_wide lowest_literal = std::numeric_limits<int64_t>::min();
constexpr tvrk_wide highest_literal = std::numeric_limits<int64_t>::max();
constexpr tvrk_wide highest_unsigned = std::numeric_limits<uint64_t>::max();

}  // namespace

uint16_t tvrk_compiler::arithmetic_op(std::string_view symbol, tvrk_prim prim) {
    const size_t column = prim == tvrk_prim::f64   ? 5
                          : prim == tvrk_prim::f32 ? 4
                          : prim == tvrk_prim::u64 ? 3
                          : prim == tvrk_prim::i64 ? 2
                          : tvrk_is_signed(prim)   ? 0
                                                   : 1;
    for (const op_row& row : arithmetic) {
        if (row.symbol == symbol) return row.codes[column];
    }
    return TVRK_NOP;
}

tvrk_operand tvrk_compiler::binary(std::string_view op, operand x, operand y) {
    if (x.is(kind::nothing) || y.is(kind::nothing)) {
        fail(tvr_join("a void call has no value for '", op, "'"));
    }
    const bool vectors =
        (!x.is_number_text() && x.type.is_vector()) || (!y.is_number_text() && y.type.is_vector());
    if (x.is(kind::pointer) || y.is(kind::pointer)) {
        if (vectors) fail("vectors and pointers cannot be combined");
        return pointer_binary(op, x, y);
    }
    if (x.is(kind::condition)) x = materialise(x);
    if (y.is(kind::condition)) y = materialise(y);
    return vectors ? vector_binary(op, std::move(x), std::move(y))
                   : scalar_binary(op, std::move(x), std::move(y));
}

tvrk_operand tvrk_compiler::vector_binary(std::string_view op, operand x, operand y) {
    if (is_compare(op)) {
        fail(tvr_join("'", op, "' is not defined for vectors (compare their components)"));
    }
    const bool both = x.type.is_vector() && y.type.is_vector();
    if (both && x.type.lanes != y.type.lanes) {
        fail(tvr_join("'", op, "' needs vectors of the same size (", tvrk_type_name(x.type),
                      " and ", tvrk_type_name(y.type), ")"));
    }
    if (x.is(kind::choice)) x = resolve_choice(x, y.type.prim);
    if (y.is(kind::choice)) y = resolve_choice(y, x.type.prim);
    operand made;
    made.what = kind::value;
    made.type = x.type.is_vector() ? x.type : y.type;
    for (size_t lane = 0; lane < made.type.lanes; ++lane) {
        const operand left = x.type.is_vector() ? vector_component(x, lane) : x;
        const operand right = y.type.is_vector() ? vector_component(y, lane) : y;
        const operand part = scalar_binary(op, left, right);
        made.type.prim = part.type.prim;
        made.regs[lane] = reg(part);
    }
    note_vector(made.type);
    return made;
}

// The type at which two operands meet; literals become that type.
tvrk_prim tvrk_compiler::meet(std::string_view op, operand& x, operand& y) {
    const tvrk_prim prim = common_prim(op, x, y);
    x = scalar(x, prim);
    y = scalar(y, prim);
    return prim;
}

tvrk_prim tvrk_compiler::common_prim(std::string_view op, const operand& x,
                                     const operand& y) const {
    const bool x_text = x.is_number_text(), y_text = y.is_number_text();
    if (x_text || y_text) {
        const operand& typed = x_text ? y : x;
        const tvrk_literal& number = (x_text ? x : y).number;
        const tvrk_prim prim = typed.type.prim;
        const std::string type = tvrk_type_name(typed.type);
        if (number.is_float && !tvrk_is_float(prim)) {
            fail(x_text ? tvr_join("cannot mix a float literal with ", type, " in ", op,
                                   ", convert explicitly")
                        : tvr_join("cannot mix ", type, " with a float literal in ", op,
                                   ", convert explicitly"));
        }
        return tvrk_is_narrow(prim) ? tvrk_prim::i32 : prim;
    }
    const tvrk_prim a = x.type.prim, b = y.type.prim;
    if (widens(a, b)) return b;
    if (widens(b, a)) return a;
    const bool to_left = a > b;
    const char* to = tvrk_prim_name(to_left ? a : b);
    const char* from = tvrk_prim_name(to_left ? b : a);
    fail(tvr_join("cannot convert ", from, " to ", to,
                  " implicitly, convert one side explicitly (e.g. ", to, "(x))"));
}

void tvrk_compiler::check_operands(std::string_view op, const operand& x, const operand& y) const {
    for (const operand* side : {&x, &y}) {
        if (side->is_number_text() || !side->type.is_bool()) continue;
        if (!is_compare(op)) {
            fail(tvr_join("'", op, "' is not defined for bool (use && / || / !)"));
        }
        if (op != "==" && op != "!=") fail("bool values cannot be ordered (only == and !=)");
    }
    if (!is_bitwise(op)) return;
    for (const operand* side : {&x, &y}) {
        const tvrk_prim own = side->is_number_text() ? default_prim(side->number) : side->type.prim;
        if (tvrk_is_integer(own)) continue;
        fail(tvr_join("'", op, "' needs integers but got a ", tvrk_prim_name(own)));
    }
}

tvrk_operand tvrk_compiler::scalar_binary(std::string_view op, operand x, operand y) {
    if (x.is(kind::literal) && y.is(kind::literal)) return literal_binary(op, x.number, y.number);
    if (x.is_number_text() && y.is_number_text()) {  // one was chosen at run time
        x = settle(x);
        y = settle(y);
    }
    if (op == "<<" || op == ">>") return shift(op, std::move(x), y);
    check_operands(op, x, y);
    const auto wide_enough = [](tvrk_prim prim) {
        return tvrk_is_narrow(prim) ? tvrk_prim::i32 : prim;
    };
    if (x.is(kind::choice)) x = resolve_choice(x, wide_enough(y.type.prim));
    if (y.is(kind::choice)) y = resolve_choice(y, wide_enough(x.type.prim));
    const tvrk_prim prim = meet(op, x, y);
    if (is_compare(op)) return compare(op, x, y);
    if (auto cheaper = with_constant(op, prim, x, y)) return std::move(*cheaper);
    operand made = compute(arithmetic_op(op, prim), prim, x, &y);
    return is_bitwise(op) ? made : truncated(made);
}

// Sums with a constant, and divisions by a small one, have instructions of their own.
std::optional<tvrk_operand> tvrk_compiler::with_constant(std::string_view op, tvrk_prim prim,
                                                         const operand& x, const operand& y) {
    const bool folds = x.is(kind::constant) && y.is(kind::constant);
    if (folds || !tvrk_is_integer(prim) || tvrk_is_narrow(prim)) return {};
    if (op == "+" && x.is(kind::constant)) return add_constant(y, int64_t(x.bits));
    if (!y.is(kind::constant)) return {};
    if (op == "+") return add_constant(x, int64_t(y.bits));
    if (op == "-") return add_constant(x, int64_t(0 - y.bits));
    const bool divides = op == "/" || op == "%";
    const bool at_32 = prim == tvrk_prim::i32 || prim == tvrk_prim::u32;
    if (!divides || !at_32 || y.bits < 2 || y.bits > 65535) return {};
    return divide_by_constant(op == "%", x, y.bits);
}

// 64-bit sums wait: an index takes the constant into its instruction.
tvrk_operand tvrk_compiler::add_constant(const operand& x, int64_t amount) {
    const tvrk_prim prim = x.type.prim;
    if (tvrk_prim_size(prim) == sizeof(uint64_t)) {
        operand made = x;
        made.variable = -1;
        made.addend = int64_t(uint64_t(x.addend) + uint64_t(amount));
        return made;
    }
    const uint16_t op = prim == tvrk_prim::u32 ? TVRK_ADDI_U32 : TVRK_ADDI_I32;
    return compute(op, prim, x, nullptr, 0, amount);
}

tvrk_operand tvrk_compiler::divide_by_constant(bool modulo, const operand& x, uint64_t divisor) {
    const bool is_signed = tvrk_is_signed(x.type.prim);
    uint16_t op = modulo ? TVRK_MODC_U32 : TVRK_DIVC_U32;
    if (is_signed) op = modulo ? TVRK_MODC_I32 : TVRK_DIVC_I32;
    return compute(op, x.type.prim, x, nullptr, uint32_t(divisor), int64_t(k_magic(divisor)));
}

// The result has the left operand's type; the count is taken as it is.
tvrk_operand tvrk_compiler::shift(std::string_view op, operand x, const operand& y) {
    x = settle(x);
    const operand count = settle(y);
    if (x.type.is_bool() || count.type.is_bool()) {
        fail(tvr_join("'", op, "' is not defined for bool (use && / || / !)"));
    }
    if (!tvrk_is_integer(x.type.prim)) {
        fail(tvr_join("'", op, "' needs an integer on the left but got ", tvrk_type_name(x.type)));
    }
    if (!tvrk_is_integer(count.type.prim)) {
        fail(tvr_join("the shift count must be an integer but got ", tvrk_type_name(count.type)));
    }
    return truncated(compute(arithmetic_op(op, x.type.prim), x.type.prim, x, &count));
}

tvrk_operand tvrk_compiler::compare(std::string_view op, const operand& x, const operand& y) {
    const tvrk_prim prim = x.type.prim;
    uint16_t code = TVRK_CMPEQ_X;
    if (op == "==" || op == "!=") {
        code = prim == tvrk_prim::f64   ? TVRK_CMPEQ_F64
               : prim == tvrk_prim::f32 ? TVRK_CMPEQ_F32
                                        : TVRK_CMPEQ_X;
        if (op == "!=") ++code;
    } else {
        code = op == "<"    ? TVRK_CMPLT_S
               : op == "<=" ? TVRK_CMPLE_S
               : op == ">"  ? TVRK_CMPGT_S
                            : TVRK_CMPGE_S;
        if (prim == tvrk_prim::f64) {
            code = uint16_t(code + 3);
        } else if (prim == tvrk_prim::f32) {
            code = uint16_t(code + 2);
        } else if (!tvrk_is_signed(prim)) {
            code = uint16_t(code + 1);
        }
    }
    if (x.is(kind::constant) && y.is(kind::constant)) {
        return compute(code, tvrk_prim::boolean, x, &y);
    }
    tvrk_condition made;
    made.compare = code;
    made.x = reg(x);
    made.y = reg(y);
    return condition_operand(std::move(made));
}

tvrk_operand tvrk_compiler::literal_unary(std::string_view op, operand x) {
    tvrk_literal& number = x.number;
    x.from_call = false;
    if (op == "+") return x;
    if (op == "-" && number.is_float) {
        number.number = -number.number;
        return x;
    }
    if (number.is_float) {
        fail(
            tvr_join("'", op, "' needs integers but got a ", tvrk_prim_name(default_prim(number))));
    }
    if (number.is_unsigned) return unary(op, settle(x));
    number.integer = op == "-" ? -number.integer : -number.integer - 1;
    if (number.integer < lowest_literal) {
        fail("integer constant overflow (write u64(...) for values above 2^63)");
    }
    return x;
}

tvrk_operand tvrk_compiler::unary(std::string_view op, operand x) {
    if (x.is(kind::literal)) return literal_unary(op, std::move(x));
    x = settle(x);
    if (x.is(kind::pointer)) fail(tvr_join("'", op, "' is not defined for pointers"));
    if (x.is(kind::nothing)) fail(tvr_join("a void call has no value for '", op, "'"));
    if (x.type.is_bool()) {
        fail(tvr_join("'", op, "' is not defined for bool (use && / || / !)"));
    }
    if (op == "~" && !tvrk_is_integer(x.type.prim)) {
        fail(tvr_join("'", op, "' needs integers but got a ", tvrk_type_name(x.type)));
    }
    x.variable = -1;
    x.from_call = false;
    if (op == "+") return x;
    const uint16_t code = arithmetic_op(op == "-" ? "neg" : "~", x.type.prim);
    if (!x.type.is_vector()) return truncated(compute(code, x.type.prim, x));
    operand made = x;
    for (size_t lane = 0; lane < x.type.lanes; ++lane) {
        const operand part = vector_component(x, lane);
        made.regs[lane] = reg(truncated(compute(code, x.type.prim, part)));
    }
    return made;
}

// literals -----------------------------------------------------------------------------------

tvrk_literal tvrk_compiler::integer_literal_binary(std::string_view op, const tvrk_literal& x,
                                                   const tvrk_literal& y) {
    tvrk_literal made;
    made.is_unsigned = x.is_unsigned || y.is_unsigned;
    const tvrk_wide a = x.integer, b = y.integer;
    if ((op == "/" || op == "%") && b == 0) {
        fail(op == "/" ? "constant expression: division by zero"
                       : "constant expression: modulo by zero");
    }
    if ((op == "<<" || op == ">>") && (b < 0 || b > 63)) fail("shift count out of range");
    if (op == "+") made.integer = a + b;
    if (op == "-") made.integer = a - b;
    if (op == "*") {
        // Factors of up to 64 bits with signs: their product may leave even 128 bits.
        if (__builtin_mul_overflow(a, b, &made.integer)) fail("integer constant overflow");
    }
    if (op == "/") made.integer = a / b;
    if (op == "%") made.integer = a % b;
    if (op == "&") made.integer = a & b;
    if (op == "|") made.integer = a | b;
    if (op == "^") made.integer = a ^ b;
    if (op == "<<") {
        made.is_unsigned = x.is_unsigned;
        made.integer = a * (tvrk_wide(1) << int(b));
    }
    if (op == ">>") {
        made.is_unsigned = x.is_unsigned;
        made.integer = a >> int(b);
    }
    if (made.is_unsigned && made.integer >= 0 && made.integer <= highest_unsigned) return made;
    if (!made.is_unsigned && made.integer >= lowest_literal && made.integer <= highest_literal) {
        return made;
    }
    fail(made.integer > highest_literal && made.integer <= highest_unsigned
             ? "integer constant overflow (write u64(...) for values above 2^63)"
             : "integer constant overflow");
}

tvrk_operand tvrk_compiler::literal_binary(std::string_view op, const tvrk_literal& x,
                                           const tvrk_literal& y) {
    const bool floats = x.is_float || y.is_float;
    if (is_compare(op)) {
        const auto holds = [&](auto a, auto b) {
            return op == "=="   ? a == b
                   : op == "!=" ? a != b
                   : op == "<"  ? a < b
                   : op == "<=" ? a <= b
                   : op == ">"  ? a > b
                                : a >= b;
        };
        const bool truth =
            floats ? holds(x.as_double(), y.as_double()) : holds(x.integer, y.integer);
        return constant(tvrk_prim::boolean, truth);
    }
    operand made;
    made.what = kind::literal;
    if (!floats) {
        made.number = integer_literal_binary(op, x, y);
        return made;
    }
    if (is_bitwise(op) || op == "<<" || op == ">>") {
        const tvrk_literal& wrong = x.is_float ? x : y;
        const char* type = tvrk_prim_name(default_prim(wrong));
        if (is_bitwise(op)) fail(tvr_join("'", op, "' needs integers but got a ", type));
        fail(x.is_float ? tvr_join("'", op, "' needs an integer on the left but got ", type)
                        : tvr_join("the shift count must be an integer but got ", type));
    }
    made.number.is_float = true;
    made.number.is_f32 = (x.is_f32 || !x.is_float) && (y.is_f32 || !y.is_float);
    const double a = x.as_double(), b = y.as_double();
    made.number.number = op == "+"   ? a + b
                         : op == "-" ? a - b
                         : op == "*" ? a * b
                         : op == "/" ? a / b
                                     : std::fmod(a, b);
    if (made.number.is_f32) made.number.number = double(float(made.number.number));
    return made;
}
