// Literals that meet a type, and conversions between types.

#include <cmath>
#include <cstring>
#include <limits>

#include "base/join.h"
#include "kernel/compiler/compiler.h"

namespace {

struct integer_range {
    tvrk_wide low, high;
};

integer_range range_of(tvrk_prim prim) {
    const auto bits = int(tvrk_prim_size(prim) * 8);
    const tvrk_wide one = 1;
    if (!tvrk_is_signed(prim)) return {0, (one << bits) - 1};
    return {-(one << (bits - 1)), (one << (bits - 1)) - 1};
}

bool fits(tvrk_wide value, tvrk_prim prim) {
    const integer_range range = range_of(prim);
    return value >= range.low && value <= range.high;
}

// Canonical bits of an integer in a type that may be too small for it.
uint64_t wrap(uint64_t bits, tvrk_prim prim) {
    switch (prim) {
    case tvrk_prim::i8: return uint64_t(int64_t(int8_t(bits)));
    case tvrk_prim::u8: return uint8_t(bits);
    case tvrk_prim::i16: return uint64_t(int64_t(int16_t(bits)));
    case tvrk_prim::u16: return uint16_t(bits);
    case tvrk_prim::i32: return uint64_t(int64_t(int32_t(bits)));
    case tvrk_prim::u32: return uint32_t(bits);
    default: return bits;
    }
}

uint64_t float_bits(double value, tvrk_prim prim) {
    if (prim == tvrk_prim::f32) {
        const auto narrow = float(value);
        uint32_t bits;
        std::memcpy(&bits, &narrow, sizeof bits);
        return bits;
    }
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

bool overflows_f32(double value) {
    return std::isinf(float(value)) && !std::isinf(value);
}

uint16_t truncation(tvrk_prim to) {
    switch (to) {
    case tvrk_prim::i8: return TVRK_TRUNC_I8;
    case tvrk_prim::u8: return TVRK_TRUNC_U8;
    case tvrk_prim::i16: return TVRK_TRUNC_I16;
    case tvrk_prim::u16: return TVRK_TRUNC_U16;
    case tvrk_prim::i32: return TVRK_TRUNC_I32;
    default: return TVRK_TRUNC_U32;
    }
}

}  // namespace

tvrk_operand tvrk_compiler::constant(tvrk_prim prim, uint64_t bits) const {
    operand x;
    x.what = kind::constant;
    x.type = tvrk_scalar(prim);
    x.bits = bits;
    return x;
}

std::string tvrk_compiler::literal_text(const tvrk_literal& number) const {
    if (number.integer < 0) return tvr_join(int64_t(number.integer));
    return tvr_join(uint64_t(number.integer));
}

tvrk_prim tvrk_compiler::default_prim(const tvrk_literal& number) {
    if (number.is_float) return number.is_f32 ? tvrk_prim::f32 : tvrk_prim::f64;
    if (number.is_unsigned) {
        return fits(number.integer, tvrk_prim::u32) ? tvrk_prim::u32 : tvrk_prim::u64;
    }
    if (fits(number.integer, tvrk_prim::i32)) return tvrk_prim::i32;
    return fits(number.integer, tvrk_prim::i64) ? tvrk_prim::i64 : tvrk_prim::u64;
}

tvrk_operand tvrk_compiler::typed_literal(const tvrk_literal& number, tvrk_prim to) {
    const std::string type = tvrk_prim_name(to);
    if (to == tvrk_prim::boolean) {
        fail(number.is_float ? tvr_join("a float literal cannot be converted to ", type,
                                        " implicitly, write ", type, "(...)")
                             : "an integer cannot be used as bool (write x != 0, or true / false)");
    }
    if (number.is_float) {
        if (!tvrk_is_float(to)) {
            fail(tvr_join("a float literal cannot be converted to ", type, " implicitly, write ",
                          type, "(...)"));
        }
        if (to == tvrk_prim::f32 && overflows_f32(number.number)) {
            fail(tvr_join("float literal does not fit into ", type));
        }
        return constant(to, float_bits(number.number, to));
    }
    const std::string refused =
        tvr_join("integer literal ", literal_text(number), " does not fit into ", type);
    if (tvrk_is_float(to)) {
        const double value =
            to == tvrk_prim::f32 ? double(float(number.integer)) : double(number.integer);
        if (tvrk_wide(value) != number.integer) fail(refused + " exactly");
        return constant(to, float_bits(value, to));
    }
    if (!fits(number.integer, to) || (number.is_unsigned && tvrk_is_signed(to))) fail(refused);
    return constant(to, uint64_t(number.integer));
}

// T(literal): integers wrap as values do.
tvrk_operand tvrk_compiler::wrapped_literal(const tvrk_literal& number, tvrk_prim to) {
    if (to == tvrk_prim::boolean) return constant(to, number.as_double() != 0);
    if (tvrk_is_float(to)) {
        const double value = number.as_double();
        if (to == tvrk_prim::f32 && overflows_f32(value)) {
            fail("float literal does not fit into f32");
        }
        // An integer is rounded once, straight to the target.
        if (to == tvrk_prim::f32 && !number.is_float) {
            return constant(to, float_bits(double(float(number.integer)), to));
        }
        return constant(to, float_bits(value, to));
    }
    if (!number.is_float) return constant(to, wrap(uint64_t(number.integer), to));
    const double whole = std::trunc(number.number);
    const bool inside = std::fabs(whole) < 1e20 && fits(tvrk_wide(whole), to);
    if (!inside) fail(tvr_join("float literal does not fit into ", tvrk_prim_name(to)));
    return constant(to, uint64_t(tvrk_wide(whole)));
}

// The moves of ?: were left open until the type was known.
tvrk_operand tvrk_compiler::resolve_choice(const operand& x, tvrk_prim to) {
    const uint32_t made = new_register(to);
    for (const auto& [where, number] : x.pending) {
        const uint32_t from = reg(typed_literal(number, to));
        tvrk_draft_inst& in = draft.code[where];
        in.op = TVRK_MOV;
        in.a = made;
        in.b = from;
    }
    return value_in(made, to);
}

tvrk_operand tvrk_compiler::settle(const operand& x) {
    if (x.is(kind::literal)) return typed_literal(x.number, default_prim(x.number));
    if (!x.is(kind::choice)) return x;
    tvrk_prim widest = tvrk_prim::i32;
    bool any_float = false, all_f32 = true, any_unsigned = false;
    for (const auto& [where, number] : x.pending) {
        const tvrk_prim own = default_prim(number);
        any_float = any_float || number.is_float;
        all_f32 = all_f32 && (!number.is_float || number.is_f32);
        any_unsigned = any_unsigned || !tvrk_is_signed(own);
        if (tvrk_prim_size(own) > tvrk_prim_size(widest)) widest = own;
    }
    if (any_float) return resolve_choice(x, all_f32 ? tvrk_prim::f32 : tvrk_prim::f64);
    if (any_unsigned) {
        widest = tvrk_prim_size(widest) > 4 ? tvrk_prim::u64 : tvrk_prim::u32;
    }
    return resolve_choice(x, widest);
}

bool tvrk_compiler::widens(tvrk_prim from, tvrk_prim to) {
    if (from == to) return true;
    if (from == tvrk_prim::f32) return to == tvrk_prim::f64;
    if (!tvrk_is_integer(from) || !tvrk_is_integer(to)) return false;
    const integer_range inner = range_of(from), outer = range_of(to);
    return inner.low >= outer.low && inner.high <= outer.high;
}

void tvrk_compiler::refuse(const operand& x, const tvrk_type& to) const {
    const std::string wanted = tvrk_type_name(to);
    if (x.is(kind::nothing)) fail(tvr_join("cannot convert void to ", wanted));
    if (x.is(kind::pointer)) fail(tvr_join("expected ", wanted, " but got a pointer"));
    const std::string given = tvrk_type_name(x.type);
    if (to.is_bool() && x.type.is_scalar() && tvrk_is_integer(x.type.prim)) {
        fail("an integer cannot be used as bool (write x != 0, or true / false)");
    }
    if (to.is_struct()) fail(tvr_join("cannot convert ", given, " to ", wanted));
    fail(
        tvr_join("cannot convert ", given, " to ", wanted, " implicitly, write ", wanted, "(...)"));
}

tvrk_operand tvrk_compiler::convert(const operand& x, const tvrk_type& to) {
    if (to.is_pointer()) return pointer_argument(x, to);
    if (to.is_vector()) {
        if (x.is_number_text() || !x.type.is_vector() || x.type.lanes != to.lanes) {
            refuse(settle(x), to);
        }
        operand made = x;
        made.type = to;
        made.variable = -1;
        for (size_t lane = 0; lane < to.lanes; ++lane) {
            made.regs[lane] = reg(convert(vector_component(x, lane), tvrk_scalar(to.prim)));
        }
        return made;
    }
    if (!to.is_scalar()) refuse(settle(x), to);
    if (x.is(kind::literal)) return typed_literal(x.number, to.prim);
    if (x.is(kind::choice)) return resolve_choice(x, to.prim);
    if (x.is(kind::pointer) || x.is(kind::nothing) || !x.type.is_scalar()) refuse(x, to);
    if (x.type.prim == to.prim) return x;
    if (!widens(x.type.prim, to.prim)) refuse(x, to);
    if (to.prim == tvrk_prim::f64) return compute(TVRK_CVT_F32_F64, to.prim, x);
    operand made = x;  // a canonical register already holds the wider type's value
    made.type = to;
    made.variable = -1;
    return made;
}

tvrk_operand tvrk_compiler::scalar(const operand& x, tvrk_prim prim) {
    operand made = convert(x, tvrk_scalar(prim));
    return made.is(kind::condition) ? materialise(made) : made;
}

tvrk_operand tvrk_compiler::convert_explicit(operand x, const tvrk_type& to) {
    if (x.is(kind::pointer)) fail("pointers cannot be converted");
    if (x.is(kind::literal)) return wrapped_literal(x.number, to.prim);
    if (x.is(kind::choice)) x = settle(x);
    if (x.is(kind::nothing) || !x.type.is_scalar()) refuse(x, to);
    if (x.is(kind::condition)) x = materialise(x);
    const tvrk_prim from = x.type.prim;
    x.variable = -1;
    if (from == to.prim) return x;
    if (to.is_bool()) {
        if (from == tvrk_prim::f32) return compute(TVRK_BOOL_F32, to.prim, x);
        if (from == tvrk_prim::f64) return compute(TVRK_BOOL_F64, to.prim, x);
        const operand nothing = constant(from, 0);
        return compute(TVRK_CMPNE_X, to.prim, x, &nothing);
    }
    if (tvrk_is_float(from)) {
        if (to.prim == tvrk_prim::f64) return compute(TVRK_CVT_F32_F64, to.prim, x);
        if (to.prim == tvrk_prim::f32) return compute(TVRK_CVT_F64_F32, to.prim, x);
        const uint16_t op = from == tvrk_prim::f32 ? TVRK_CVT_F32_INT : TVRK_CVT_F64_INT;
        return compute(op, to.prim, x, nullptr, uint32_t(to.prim));
    }
    if (tvrk_is_float(to.prim)) {
        const bool wide = from == tvrk_prim::u64;
        if (to.prim == tvrk_prim::f32) {
            return compute(wide ? TVRK_CVT_U_F32 : TVRK_CVT_S_F32, to.prim, x);
        }
        return compute(wide ? TVRK_CVT_U_F64 : TVRK_CVT_S_F64, to.prim, x);
    }
    const bool stays = from == tvrk_prim::boolean || widens(from, to.prim) ||
                       tvrk_prim_size(to.prim) == sizeof(uint64_t);
    if (!stays) return compute(truncation(to.prim), to.prim, x);
    x.type = to;
    return x;
}

// What arithmetic at 32 bits left in a narrow type.
tvrk_operand tvrk_compiler::truncated(operand x) {
    if (!tvrk_is_narrow(x.type.prim)) return x;
    return compute(truncation(x.type.prim), x.type.prim, x);
}
