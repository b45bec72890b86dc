// Functions that the language brings along.

#include "base/join.h"
#include "kernel/compiler/compiler.h"

namespace {

int math_kind(std::string_view name) {
    for (size_t code = 0; code < tvrk_math_count; ++code) {
        if (name == tvrk_math_name(code)) return int(code);
    }
    return -1;
}

}  // namespace

bool tvrk_compiler::is_builtin(std::string_view name) const {
    for (const std::string_view known :
         {"min", "max", "clamp", "abs", "sqrt", "dot", "cross", "length", "atomic_add"}) {
        if (name == known) return true;
    }
    return math_kind(name) >= 0;
}

tvrk_operand tvrk_compiler::builtin_call(const tvrk_token& name) {
    if (name.text == "atomic_add") return atomic_add();
    const int code = math_kind(name.text);
    const bool two = name.text == "min" || name.text == "max" || name.text == "dot" ||
                     name.text == "cross" || code >= int(tvrk_unary_math_count);
    std::vector<operand> args = arguments(name, name.text == "clamp" ? 3 : two ? 2 : 1);
    last = name;
    for (operand& arg : args) {
        arg = rvalue(arg);
        if (arg.is(kind::condition)) arg = materialise(arg);
    }
    if (name.text == "min" || name.text == "max" || name.text == "clamp") {
        return min_family(name, std::move(args));
    }
    if (name.text == "abs") return absolute(args[0]);
    if (name.text == "dot") return dot(name, args[0], args[1]);
    if (name.text == "cross") return cross(args[0], args[1]);
    if (name.text == "length") return length(args[0]);
    return math_call(name, std::move(args), code);
}

uint16_t tvrk_compiler::extremum_op(bool is_min, tvrk_prim prim) {
    const unsigned view = prim == tvrk_prim::f64   ? 3
                          : prim == tvrk_prim::f32 ? 2
                          : tvrk_is_signed(prim)   ? 0
                                                   : 1;
    return uint16_t((is_min ? TVRK_MIN_S : TVRK_MAX_S) + view);
}

tvrk_operand tvrk_compiler::extremum(bool is_min, const operand& x, const operand& y) {
    return compute(extremum_op(is_min, x.type.prim), x.type.prim, x, &y);
}

// clamp is min(max(x, lo), hi): a NaN stays, and hi wins.
tvrk_operand tvrk_compiler::min_family(const tvrk_token& name, std::vector<operand> args) {
    for (const operand& arg : args) {
        const bool number =
            arg.is_number_text() || (!arg.is(kind::pointer) && !arg.is(kind::nothing) &&
                                     arg.type.is_scalar() && tvrk_is_number(arg.type.prim));
        if (!number) fail("min / max / clamp need numbers");
    }
    // Literals wait for a type that another argument brings.
    const operand* typed = nullptr;
    bool any_text = false, any_float_text = false;
    for (operand& arg : args) {
        if (arg.is(kind::choice)) arg = settle(arg);
        any_text = any_text || arg.is(kind::literal);
        any_float_text = any_float_text || (arg.is(kind::literal) && arg.number.is_float);
        if (!arg.is(kind::literal) && typed == nullptr) typed = &arg;
    }
    if (typed == nullptr) {
        args[0] = any_float_text && !args[0].number.is_float
                      ? typed_literal(args[0].number, tvrk_prim::f64)
                      : settle(args[0]);
        typed = args.data();
    }
    operand widest = *typed;
    for (const operand& arg : args) {
        const tvrk_prim prim = common_prim(name.text, widest, arg);
        widest.type = tvrk_scalar(prim);
    }
    if (any_text && tvrk_is_narrow(widest.type.prim)) widest.type = tvrk_scalar(tvrk_prim::i32);
    for (operand& arg : args) arg = scalar(arg, widest.type.prim);
    if (name.text != "clamp") return extremum(name.text == "min", args[0], args[1]);
    return extremum(true, extremum(false, args[0], args[1]), args[2]);
}

tvrk_operand tvrk_compiler::absolute(const operand& given) {
    const operand x = settle(given);
    const bool number = !x.is(kind::pointer) && !x.is(kind::nothing) && x.type.is_scalar() &&
                        tvrk_is_number(x.type.prim);
    if (!number) fail("'abs' needs a number");
    const tvrk_prim prim = x.type.prim;
    if (prim == tvrk_prim::f32) return compute(TVRK_ABS_F32, prim, x);
    if (prim == tvrk_prim::f64) return compute(TVRK_ABS_F64, prim, x);
    if (!tvrk_is_signed(prim)) {
        operand same = x;
        same.variable = -1;
        return same;
    }
    if (prim == tvrk_prim::i64) return compute(TVRK_ABS_I64, prim, x);
    return truncated(compute(TVRK_ABS_I32, prim, x));
}

tvrk_operand tvrk_compiler::root(const operand& x) {
    const bool narrow = x.type.prim == tvrk_prim::f32;
    return compute(narrow ? TVRK_SQRT_F32 : TVRK_SQRT_F64, x.type.prim, x);
}

tvrk_operand tvrk_compiler::math_call(const tvrk_token& name, std::vector<operand> args, int code) {
    const auto as_float = [&](operand x) {
        x = settle(x);
        const bool fits = !x.is(kind::pointer) && !x.is(kind::nothing) && x.type.is_scalar() &&
                          tvrk_is_float(x.type.prim);
        if (fits) return x;
        fail(tvr_join("'", name.text, "' needs f32 or f64 but got a ",
                      x.is(kind::nothing) ? "void" : tvrk_type_name(x.type),
                      " (convert with f32(x))"));
    };
    if (args.size() == 1) {
        const operand x = as_float(args[0]);
        if (name.text == "sqrt") return root(x);
        const bool narrow = x.type.prim == tvrk_prim::f32;
        return compute(narrow ? TVRK_MATH1_F32 : TVRK_MATH1_F64, x.type.prim, x, nullptr,
                       uint32_t(code));
    }
    // A literal takes the type of the other argument.
    if (!args[0].is_number_text() || args[1].is_number_text()) args[0] = as_float(args[0]);
    if (!args[1].is_number_text()) args[1] = as_float(args[1]);
    const tvrk_prim prim = meet(name.text, args[0], args[1]);
    const bool narrow = prim == tvrk_prim::f32;
    return compute(narrow ? TVRK_MATH2_F32 : TVRK_MATH2_F64, prim, args[0], &args[1], 0, code);
}

// ((x*x + y*y) + z*z) + w*w, each operation rounded.
tvrk_operand tvrk_compiler::dot(const tvrk_token& name, const operand& x, const operand& y) {
    const bool vectors = x.is(kind::value) && y.is(kind::value) && x.type.is_vector() &&
                         y.type.is_vector() && x.type.lanes == y.type.lanes;
    if (!vectors) {
        const auto shown = [](const operand& side) {
            return side.is_number_text() ? std::string(tvrk_prim_name(default_prim(side.number)))
                                         : tvrk_type_name(side.type);
        };
        fail(tvr_join("'", name.text, "' needs vectors of the same size (", shown(x), " and ",
                      shown(y), ")"));
    }
    operand sum;
    for (size_t lane = 0; lane < x.type.lanes; ++lane) {
        const operand product =
            scalar_binary("*", vector_component(x, lane), vector_component(y, lane));
        sum = lane == 0 ? product : scalar_binary("+", sum, product);
    }
    return sum;
}

tvrk_operand tvrk_compiler::cross(const operand& x, const operand& y) {
    const auto fits = [](const operand& side) {
        return side.is(kind::value) && side.type.is_vector() && side.type.lanes == 3;
    };
    if (!fits(x) || !fits(y)) fail("'cross' needs vectors with 3 components");
    operand made;
    made.what = kind::value;
    made.type = x.type;
    for (size_t lane = 0; lane < 3; ++lane) {
        const size_t one = (lane + 1) % 3, two = (lane + 2) % 3;
        const operand left = scalar_binary("*", vector_component(x, one), vector_component(y, two));
        const operand right =
            scalar_binary("*", vector_component(x, two), vector_component(y, one));
        const operand part = scalar_binary("-", left, right);
        made.type.prim = part.type.prim;
        made.regs[lane] = reg(part);
    }
    return made;
}

tvrk_operand tvrk_compiler::length(const operand& v) {
    const bool fits = v.is(kind::value) && v.type.is_vector() && tvrk_is_float(v.type.prim);
    if (!fits) fail("'length' needs a float vector (f32x2 .. f64x4)");
    return root(dot(last, v, v));
}

tvrk_operand tvrk_compiler::atomic_add() {
    const tvrk_token name = last;
    expect("(");
    const operand target = expression();
    if (!target.is(kind::memory)) {
        fail_at(name, "atomic_add needs a memory location ('atomic_add(p[i], v)')");
    }
    const tvrk_prim prim = target.type.prim;
    const bool fits = target.type.is_scalar() && tvrk_is_integer(prim) && !tvrk_is_narrow(prim);
    if (!fits) {
        fail_at(name, tvr_join("atomic_add supports i32, u32, i64 and u64 memory, not ",
                               tvrk_type_name(target.type)));
    }
    if (target.place.read_only) fail("cannot write through a const pointer");
    expect(",");
    const operand amount = convert(rvalue(expression()), target.type);
    if (peek().is(",")) fail_at(name, "'atomic_add' expects 2 arguments but got 3");
    expect(")");
    const uint16_t view = prim == tvrk_prim::i32 ? 1 : tvrk_prim_size(prim) == 8 ? 2 : 0;
    const uint32_t value = reg(amount);
    const uint32_t made = new_register(prim);
    const tvrk_place& place = target.place;
    if (place.by_address || place.in_record) {
        tvrk_place start = place;
        start.offset = 0;
        const bool outer = std::exchange(unchecked, false);  // atomics keep their tests
        emit(uint16_t(TVRK_AADDR_32 + view), made, address(start), value, place.offset);
        unchecked = outer;
    } else {
        emit(uint16_t(TVRK_AADD_32 + view), made, place.ptr, element_index(place), value);
    }
    return value_in(made, prim);
}
