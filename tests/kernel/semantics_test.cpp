// What the language computes, in every interpreter: results that are written down here.

#include <gtest/gtest.h>

#include <limits>

#include "engines.h"

using namespace tavro::test;

namespace {

std::shared_ptr<const tvrk_unit> compile(const std::string& source) {
    tvrk_compile_error error;
    auto unit = tvrk_compile(source, "file", error);
    EXPECT_NE(unit, nullptr) << error.line << ":" << error.column << ": " << error.message << "\n"
                             << source;
    return unit;
}

// The body stores into p; one invocation.
template <typename T>
std::vector<T> stored(const std::string& type, const std::string& body, const kernel_engine& engine,
                      std::string* trap = nullptr) {
    const auto unit = compile(
        "kernel struct S { i32 a; i32 b[3]; }\n"
        "kernel cstruct N { u8 t; f32x2 v; S s[2]; }\n"
        "kernel inline S make(i32 a) { return {a, {1, a}}; }\n"
        "kernel inline i32 second(S s) { return s.b[1]; }\n"
        "kernel inline f32x2 swap(f32x2 v) { return f32x2(v.y, v.x); }\n"
        "kernel void k(" +
        type + "* p, i32 zero, f64 nan, i32 low, f32* q, i32 one, N* n2) {\n" + body + "\n}");
    if (unit == nullptr) return {};
    kernel_arguments given;
    given.scalars = {whole(0), f64(std::numeric_limits<double>::quiet_NaN()),
                     whole(std::numeric_limits<int32_t>::min()), whole(1)};
    given.buffers = {kernel_buffer::of(std::vector<T>(4)),
                     kernel_buffer::of(std::vector<float>{1, 2, 3, 4}),
                     kernel_buffer::of(std::vector<uint8_t>(2 * 44))};
    const kernel_outcome out = run_kernel(*unit->kernels[0].program, given, engine);
    if (trap != nullptr) *trap = out.trap;
    return out.buffers[0].as<T>();
}

TEST(semantics, integers) {
    struct row {
        const char* expression;
        int32_t value;
    };
    const row rows[] = {
        {"2147483647 + one", std::numeric_limits<int32_t>::min()},
        {"-low", std::numeric_limits<int32_t>::min()},
        {"abs(low)", std::numeric_limits<int32_t>::min()},
        {"(one - 8) / 2", -3},
        {"(one - 8) % 2", -1},
        {"(one - 8) / (one + 1)", -3},
        {"i32(u32(zero - 1) / 10)", 429496729},
        {"i32(u32(zero - 1) % 7)", 3},
        {"one << 33", 2},
        {"(zero - 8) >> 1", -4},
        {"i32(u8(300))", 44},
        {"i32(i8(one + 254))", -1},
        {"i32(u8(one - 2))", 255},
        {"~zero", -1},
        {"i32(nan == nan)", 0},
        {"i32(nan != nan)", 1},
        {"i32(bool(nan))", 1},
        {"one != 0 ? 10 / one : 10 / zero", 10},
        {"zero != 0 ? 10 / zero : 7", 7},
        {"zero != 0 && 1 / zero > 0 ? 1 : 2", 2},
        {"min(low, 5)", std::numeric_limits<int32_t>::min()},
        {"clamp(one * 9, 0, 5)", 5},
        {"clamp(one, 5, 3)", 3},
        {"i32(sizeof(S))", 16},
        {"make(one + 6).b[1]", 7},
        {"second(make(9))", 9},
        {"i32(swap(f32x2(3, 4)).x)", 4},
        {"i32(dot(f32x3(1, 2, 3), f32x3(4, 5, 6)))", 32},
        {"i32(cross(i32x3(1, 0, 0), i32x3(0, 1, 0)).z)", 1},
        {"i32(length(f64x2(3, 4)))", 5},
        {"i32(f64(one) / 3.0 * 3.0)", 1},
        {"i32(i64(one) << 40 >> 38)", 4},
        {"0x10 + 0b11 + 0o7", 26},
    };
    for (const kernel_engine& engine : interpreters()) {
        for (const row& r : rows) {
            const auto got =
                stored<int32_t>("i32", std::string("p[1] = ") + r.expression + ";", engine);
            ASSERT_EQ(got.size(), 4u);
            EXPECT_EQ(got[1], r.value) << r.expression << ", " << engine.name;
        }
    }
}

TEST(semantics, statements) {
    struct row {
        const char* what;
        const char* body;
        std::vector<int32_t> values;
    };
    const row rows[] = {
        {"a declaration without a value is zero each time",
         "for (i32 i = 0; i < 3; i++) { i32 x; i32 a[2]; S s; x += 1; a[1] += 2; s.b[2] += 3; "
         "p[i] = x + a[1] + s.b[2]; }",
         {6, 6, 6, 0}},
        {"short lists leave zeros",
         "i32 a[4] = {1, 2}; S s = {5, {6}}; p[0] = a[1] + a[3]; "
         "p[1] = s.a; p[2] = s.b[0]; p[3] = s.b[2];",
         {2, 5, 6, 0}},
        {"break and continue",
         "for (i32 i = 0; i < 9; i++) { if (i == 1) continue; if (i == 3) break; p[i] = i + 1; }",
         {1, 0, 3, 0}},
        {"while with continue",
         "i32 i = 0; while (i < 4) { i++; if (i == 2) continue; p[i - 1] = i; }",
         {1, 0, 3, 4}},
        {"pointers",
         "i32* a = p + 1; *a = 5; a++; a[1] = 6; a -= 2; a[0] = i32((p + 3) - a);",
         {3, 5, 0, 6}},
        {"a struct is copied",
         "S s = make(4); S t = s; t.a = 1; p[0] = s.a; p[1] = t.a; p[2] = t.b[1];",
         {4, 1, 4, 0}},
        {"nested choice of literals",
         "p[0] = zero == 0 ? one == 1 ? 1 : 2 : 3; f64 x = one == 1 ? 1 : "
         "2.5; p[1] = i32(x * 2.0);",
         {1, 2, 0, 0}},
        {"vectors",
         "f32x2 v = {1, 2}; v = f32x2(v.y, v.x); v *= 3; v.x += 1.0; p[0] = i32(v.x); p[1] "
         "= i32(v.y); p[2] = i32(q[1]);",
         {7, 3, 2, 0}},
        {"structs in structs",
         "N n[2]; n[one].s[1].b[one + 1] = 4; n[1].v.y = 2.5; n[zero] = n[1]; N* r = n2; "
         "r->s[one].a = 9; "
         "r[1].v = n[0].v + 1; p[0] = n[0].s[1].b[2]; p[1] = n2[0].s[1].a; p[2] = i32(n2[1].v.y * "
         "2); "
         "p[3] = n[0].s[0].a;",
         {4, 9, 7, 0}},
        {"shadowing", "i32 x = 1; { i32 x = 2; p[0] = x; } p[1] = x;", {2, 1, 0, 0}},
        {"atomics return what was", "p[0] = 5; p[1] = atomic_add(p[0], 3);", {8, 5, 0, 0}},
    };
    for (const kernel_engine& engine : interpreters()) {
        for (const row& r : rows) {
            EXPECT_EQ(stored<int32_t>("i32", r.body, engine), r.values)
                << r.what << ", " << engine.name;
        }
    }
}

TEST(semantics, traps) {
    struct row {
        const char* body;
        const char* message;
    };
    const row rows[] = {
        {"p[4] = 1;", "index 4 is out of bounds of 'p' (4 elements)"},
        {"p[one - 2] = 1;", "index -1 is out of bounds of 'p' (4 elements)"},
        {"p[0] = p[gid - 1];", "index -1 is out of bounds of 'p' (4 elements)"},
        {"i32* a = &p[3]; a[1] = 1;", "index 4 is out of bounds of 'p' (4 elements)"},
        {"i32* a = &p[3]; a[-4] = 1;", "index -1 is out of bounds of 'p' (4 elements)"},
        {"i32* a = &p[7];", "index 7 is out of bounds of 'p' (4 elements)"},
        {"i32 x = p[100];", "index 100 is out of bounds of 'p' (4 elements)"},
        {"p[u32(4294967295 + i64(zero))] = 1;",
         "index 4294967295 is out of bounds of 'p' (4 elements)"},
        {"p[0] = one / zero;", "integer division by zero"},
        {"p[0] = one % zero;", "integer modulo by zero"},
        {"p[0] = low / (zero - 1);", "integer division overflow (-2147483648 / -1)"},
        {"p[0] = low % (zero - 1);", "integer division overflow (-2147483648 / -1)"},
        {"p[0] = i32(u8(f64(one) * 300.5));", "float value 300.5 does not fit into u8"},
        {"p[0] = i32(f64(one) * 1e10);", "float value 1e+10 does not fit into i32"},
        {"p[0] = i32(u8(f32(zero) - 1.0));", "float value -1 does not fit into u8"},
        {"p[0] = i32(nan);", "float value nan does not fit into i32"},
        {"i32 a[3]; a[one + 2] = 1;", "array index 3 is out of bounds (array size 3)"},
        {"i32 a[3]; unchecked { a[one - 2] = 1; }",
         "array index -1 is out of bounds (array size 3)"},
    };
    for (const kernel_engine& engine : interpreters()) {
        for (const row& r : rows) {
            std::string trap;
            stored<int32_t>("i32", r.body, engine, &trap);
            EXPECT_EQ(trap, r.message) << r.body << ", " << engine.name;
        }
    }
}

// -0.5 truncates to 0, and a NaN keeps its place in min, max and clamp.
TEST(semantics, floats) {
    struct row {
        const char* expression;
        double value;
    };
    const row rows[] = {
        {"f64(u8(f64(one) * -0.5))", 0},
        {"f64(u32(f64(one) * 4294967295.5))", 4294967295.0},
        {"min(nan, 1.0)", std::numeric_limits<double>::quiet_NaN()},
        {"min(f64(one), nan)", 1},
        {"clamp(nan, 0.0, 1.0)", std::numeric_limits<double>::quiet_NaN()},
        {"f64(f32(16777217))", 16777216},
        {"f64(one) % 0.75", 0.25},
        {"f64(u64(zero) - 1)", 18446744073709551616.0},
        {"round(f64(one) * -2.5)", -3},
        {"f64(0.1f)", double(0.1f)},
        {".5 + 1. + 25e-2 + 1.5E1", 16.75},
        {"4.9e-324", 4.9e-324},
        {"1e-400", 0},
        {"pow(f64(one) * 3.0, 2.0)", 9},
    };
    for (const kernel_engine& engine : interpreters()) {
        for (const row& r : rows) {
            const auto got =
                stored<double>("f64", std::string("p[0] = ") + r.expression + ";", engine);
            ASSERT_EQ(got.size(), 4u);
            EXPECT_TRUE(got[0] == r.value || (std::isnan(got[0]) && std::isnan(r.value)))
                << r.expression << " is " << got[0] << ", " << engine.name;
        }
    }
}

}  // namespace
