// std.math: floats in, floats out, but for what keeps ints as they are.

#include <cmath>
#include <limits>
#include <numbers>

#include "runtime/local/error_sink.h"
#include "runtime/object/namespaces.h"
#include "runtime/value/plain_value.h"
#include "stdobj/arguments.h"
#include "stdobj/core_namespaces.h"

namespace {

constexpr double degrees_per_radian = 180.0 / std::numbers::pi;

struct unary_function {
    const char* name;  // with its path, for messages
    double (*of)(double);
    const char* description;
};

struct binary_function {
    const char* name;
    double (*of)(double, double);
    const char* first;
    const char* second;
    const char* description;
};

#define TVR_UNARY(name, expression, text)                            \
    {                                                                \
        "std.math." #name, [](double x) { return expression; }, text \
    }

constexpr unary_function unary_functions[] = {
    TVR_UNARY(sin, std::sin(x), "The sine of an angle in radians."),
    TVR_UNARY(cos, std::cos(x), "The cosine of an angle in radians."),
    TVR_UNARY(tan, std::tan(x), "The tangent of an angle in radians."),
    TVR_UNARY(asin, std::asin(x), "The angle whose sine is x, in radians."),
    TVR_UNARY(acos, std::acos(x), "The angle whose cosine is x, in radians."),
    TVR_UNARY(atan, std::atan(x), "The angle whose tangent is x, in radians."),
    TVR_UNARY(sinh, std::sinh(x), "The hyperbolic sine."),
    TVR_UNARY(cosh, std::cosh(x), "The hyperbolic cosine."),
    TVR_UNARY(tanh, std::tanh(x), "The hyperbolic tangent."),
    TVR_UNARY(exp, std::exp(x), "e to the power of x."),
    TVR_UNARY(log, std::log(x), "The natural logarithm."),
    TVR_UNARY(log2, std::log2(x), "The logarithm to the base 2."),
    TVR_UNARY(log10, std::log10(x), "The logarithm to the base 10."),
    TVR_UNARY(sqrt, std::sqrt(x), "The square root; NaN for negative numbers."),
    TVR_UNARY(cbrt, std::cbrt(x), "The cube root."),
    TVR_UNARY(fract, x - std::floor(x), "What x is above the next lower whole number."),
    TVR_UNARY(deg, x* degrees_per_radian, "Radians as degrees."),
    TVR_UNARY(rad, x / degrees_per_radian, "Degrees as radians."),
};

constexpr unary_function rounding_functions[] = {
    TVR_UNARY(floor, std::floor(x), "The next lower whole number, as int where it fits."),
    TVR_UNARY(ceil, std::ceil(x), "The next higher whole number, as int where it fits."),
    TVR_UNARY(round, std::round(x),
              "The nearest whole number, halves away from zero, as int where it fits."),
    TVR_UNARY(trunc, std::trunc(x), "x without its fraction, as int where it fits."),
};

#undef TVR_UNARY

constexpr binary_function binary_functions[] = {
    {"std.math.atan2", [](double y, double x) { return std::atan2(y, x); }, "y", "x",
     "The angle of the point (x, y), in radians."},
    {"std.math.pow", [](double x, double y) { return std::pow(x, y); }, "x", "y",
     "x to the power of y."},
    {"std.math.hypot", [](double x, double y) { return std::hypot(x, y); }, "x", "y",
     "The distance of the point (x, y) from the origin."},
    {"std.math.fmod", [](double x, double y) { return std::fmod(x, y); }, "x", "y",
     "What is left of x when it is divided by y, with the sign of x."},
    {"std.math.step", [](double edge, double x) { return x < edge ? 0.0 : 1.0; }, "edge", "x",
     "0 below the edge, 1 from it on."},
};

std::string_view short_name(std::string_view path) {
    return path.substr(path.rfind('.') + 1);
}

tvrvar_shared as_int_if_it_fits(double whole) {
    constexpr double limit = 9223372036854775808.0;  // 2^63
    if (whole >= -limit && whole < limit) return int64_t(whole);
    return whole;
}

// A number that stays what it is.
struct number {
    bool is_int = true;
    int64_t integer = 0;
    double real = 0;  // also of an int

    bool operator<(const number& other) const {
        return is_int && other.is_int ? integer < other.integer : real < other.real;
    }
    tvrvar_shared value(bool keep_int) const {
        return keep_int ? tvrvar_shared(integer) : tvrvar_shared(real);
    }
};

bool read_number(const tvr_arguments& given, size_t at, std::string_view name, number& out) {
    const auto real = given.number(at, name);
    if (!real) return false;
    const tvrvar_shared value = given.value(at);
    out = {value->type == tvrvar_type_int, value->type == tvrvar_type_int ? value->integer : 0,
           *real};
    return true;
}

tvrvar_shared call_unary(const unary_function& function, tvr_native_args& args) {
    const tvr_plain_value x(*args[0]);
    if (x->type == tvrvar_type_float) [[likely]]
        return function.of(x->real);
    const auto other = tvr_arguments(function.name, args).number(0, "x");
    return other ? tvrvar_shared(function.of(*other)) : tvrvar_shared();
}

tvrvar_shared call_rounding(const unary_function& function, tvr_native_args& args) {
    const tvr_arguments given(function.name, args);
    number x;
    if (!read_number(given, 0, "x", x)) return {};
    return x.is_int ? tvrvar_shared(x.integer) : as_int_if_it_fits(function.of(x.real));
}

tvrvar_shared call_binary(const binary_function& function, tvr_native_args& args) {
    const tvr_arguments given(function.name, args);
    const auto a = given.number(0, function.first);
    if (!a) return {};
    const auto b = given.number(1, function.second);
    if (!b) return {};
    return function.of(*a, *b);
}

tvrvar_shared absolute(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    number x;
    if (!read_number(tvr_arguments("std.math.abs", args), 0, "x", x)) return {};
    // The one int whose opposite is none.
    if (x.is_int && x.integer == std::numeric_limits<int64_t>::min()) return -x.real;
    return x.is_int ? tvrvar_shared(x.integer < 0 ? -x.integer : x.integer)
                    : tvrvar_shared(std::fabs(x.real));
}

tvrvar_shared sign(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    number x;
    if (!read_number(tvr_arguments("std.math.sign", args), 0, "x", x)) return {};
    if (x.is_int) return int64_t(x.integer > 0) - int64_t(x.integer < 0);
    if (std::isnan(x.real)) return x.real;
    return double(x.real > 0) - double(x.real < 0);
}

// The first argument that no other one passes by.
template <typename PASSES>
tvrvar_shared extreme(std::string_view function, tvr_native_args& args, PASSES passes) {
    const tvr_arguments given(function, args);
    number best;
    bool all_ints = true;
    for (size_t i = 0; i < args.size(); ++i) {
        number x;
        if (!read_number(given, i, "an argument", x)) return {};
        all_ints = all_ints && x.is_int;
        if (i == 0 || passes(x, best)) best = x;
    }
    return best.value(all_ints);
}

tvrvar_shared smallest(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    return extreme("std.math.min", args, [](const number& a, const number& b) { return a < b; });
}

tvrvar_shared largest(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    return extreme("std.math.max", args, [](const number& a, const number& b) { return b < a; });
}

tvrvar_shared clamp(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const tvr_arguments given("std.math.clamp", args);
    number x, lo, hi;
    if (!read_number(given, 0, "x", x) || !read_number(given, 1, "lo", lo) ||
        !read_number(given, 2, "hi", hi)) {
        return {};
    }
    if (hi < lo) {
        runtime_error("std.math.clamp: lo is ", lo.real, ", above hi, which is ", hi.real, '.');
        return {};
    }
    const number& inside = x < lo ? lo : hi < x ? hi : x;
    return inside.value(x.is_int && lo.is_int && hi.is_int);
}

// Three floats at once, for mix and smoothstep.
bool read_three(const tvr_arguments& given, std::string_view a, std::string_view b,
                std::string_view c, double (&out)[3]) {
    const std::string_view names[] = {a, b, c};
    for (size_t i = 0; i < 3; ++i) {
        const auto value = given.number(i, names[i]);
        if (!value) return false;
        out[i] = *value;
    }
    return true;
}

// Exact at both ends.
tvrvar_shared mix(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    double v[3];
    if (!read_three(tvr_arguments("std.math.mix", args), "a", "b", "t", v)) return {};
    return v[0] * (1.0 - v[2]) + v[1] * v[2];
}

tvrvar_shared smoothstep(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    double v[3];
    if (!read_three(tvr_arguments("std.math.smoothstep", args), "lo", "hi", "x", v)) return {};
    if (v[0] == v[1]) return v[2] < v[0] ? 0.0 : 1.0;
    const double t = std::fmin(std::fmax((v[2] - v[0]) / (v[1] - v[0]), 0.0), 1.0);
    return t * t * (3.0 - 2.0 * t);
}

tvrvar_shared is_nan(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const auto x = tvr_arguments("std.math.isnan", args).number(0, "x");
    return x ? tvrvar_shared(bool(std::isnan(*x))) : tvrvar_shared();
}

tvrvar_shared is_inf(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const auto x = tvr_arguments("std.math.isinf", args).number(0, "x");
    return x ? tvrvar_shared(bool(std::isinf(*x))) : tvrvar_shared();
}

void fill_tables(tvr_namespace& math) {
    for (const unary_function& row : unary_functions) {
        math.add_function(short_name(row.name),
                          [&row](tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
                              return call_unary(row, args);
                          },
                          1, 1, {.description = row.description, .params = {"x: number"}});
    }
    for (const unary_function& row : rounding_functions) {
        math.add_function(short_name(row.name),
                          [&row](tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
                              return call_rounding(row, args);
                          },
                          1, 1, {.description = row.description, .params = {"x: number"}});
    }
    for (const binary_function& row : binary_functions) {
        math.add_function(short_name(row.name),
                          [&row](tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
                              return call_binary(row, args);
                          },
                          2, 2,
                          {.description = row.description,
                           .params = {std::string(row.first) + ": number",
                                      std::string(row.second) + ": number"}});
    }
}

void fill_comparing(tvr_namespace& math) {
    const char* numbers = "...: number - one or more";
    math.add_function("abs", absolute, 1, 1,
                      {.description = "The size of a number without its sign. Ints stay ints.",
                       .params = {"x: number"}});
    math.add_function("sign", sign, 1, 1,
                      {.description = "-1, 0 or 1. Ints stay ints.", .params = {"x: number"}});
    math.add_function("min", smallest, 1, tvr_function_def::any_number,
                      {.description = "The smallest argument; an int when all of them are ints.",
                       .params = {numbers}});
    math.add_function("max", largest, 1, tvr_function_def::any_number,
                      {.description = "The largest argument; an int when all of them are ints.",
                       .params = {numbers}});
    math.add_function("clamp", clamp, 3, 3,
                      {.description = "x, but not below lo and not above hi; an int when all of "
                                      "them are ints.",
                       .params = {"x: number", "lo: number", "hi: number"}});
    math.add_function("isnan", is_nan, 1, 1,
                      {.description = "1 for what is no number, else 0.", .params = {"x: number"}});
    math.add_function("isinf", is_inf, 1, 1,
                      {.description = "1 for an infinity, else 0.", .params = {"x: number"}});
}

}  // namespace

void tvr_fill_std_math(tvr_namespace& math) {
    math.description = "Numbers. Angles are in radians.";
    math.add_variable("pi")->as_float(std::numbers::pi);
    math.add_variable("tau")->as_float(2.0 * std::numbers::pi);
    math.add_variable("e")->as_float(std::numbers::e);
    fill_tables(math);
    fill_comparing(math);
    math.add_function("mix", mix, 3, 3,
                      {.description = "From a at t = 0 to b at t = 1, in a straight line.",
                       .params = {"a: number", "b: number", "t: number"}});
    math.add_function("smoothstep", smoothstep, 3, 3,
                      {.description = "0 up to lo, 1 from hi on, and a soft curve between them.",
                       .params = {"lo: number", "hi: number", "x: number"}});
}
