// What the compiler says, and what it makes of correct source.

#include <gtest/gtest.h>

#include "kernel/compile.h"
#include "kernel/execute.h"
#include "kernel/ops.h"

namespace {

std::string message_of(const std::string& source, const tvrk_imports& imports = {}) {
    tvrk_compile_error error;
    return tvrk_compile(source, "file", error, imports) != nullptr ? "" : error.message;
}

std::shared_ptr<const tvrk_unit> compile(const std::string& source,
                                         const tvrk_imports& imports = {}) {
    tvrk_compile_error error;
    auto unit = tvrk_compile(source, "file", error, imports);
    EXPECT_NE(unit, nullptr) << error.line << ":" << error.column << ": " << error.message;
    return unit;
}

struct message_row {
    const char* source;
    const char* message;
};

// A body stands for a kernel with parameters of all kinds.
std::string with_body(const char* body) {
    return "kernel struct S { i32 a; f32 b[3]; }\n"
           "kernel const i32 TEN = 10;\n"
           "kernel inline i32 twice(i32 v) { return v * 2; }\n"
           "kernel void entry(i32* p) { p[gid] = 1; }\n"
           "kernel void k(i32 i, u32 u, f32 f, f64 d, i64 l, u8 n, bool flag, i32* p, const u8* c, "
           "S* s, f32x4* v, i32* q) {\n" +
           std::string(body) + "\n}";
}

TEST(compile_message, top_level) {
    const message_row rows[] = {
        {"int main() {}",
         "expected a kernel declaration ('kernel void name(...) { }', 'kernel inline', 'kernel "
         "struct' or 'kernel const') but found 'int' (kernel source only contains kernel "
         "declarations)"},
        {"kernel void k(",
         "expected a type (bool, i8, u8, i16, u16, i32, u32, i64, u64, f32, f64, a "
         "vector type like f32x4 or a kernel struct) but found the end of the "
         "kernel source"},
        {"kernel void k() ;", "expected '{' (the kernel body) but found ';'"},
        {"kernel void k() { ", "missing '}' for this block"},
        {"kernel struct S { i32 a;", "missing '}' at the end of struct 'S'"},
        {"kernel struct S { }", "struct 'S' has no fields"},
        {"kernel struct S { i32* a; }", "struct fields cannot be pointers"},
        {"kernel struct S { bool a; }", "struct fields cannot be bool (use u8 for flags)"},
        {"kernel struct S { i32 a; i32 a; }", "duplicate field 'a'"},
        {"kernel struct S { T t; } kernel struct T { i32 a; }",
         "struct 'T' must be declared before it is used as a field type"},
        {"kernel struct S { X t; }", "unknown type 'X'"},
        {"kernel struct S { i64 a[100000000]; }", "struct 'S' is too large (more than 256 MiB)"},
        {"kernel struct S { i64 a[0]; }", "array size must be a positive integer constant"},
        {"kernel const i32* P = 0;", "kernel constants cannot be pointers"},
        {"kernel const f32x2 P = 0;", "kernel constants must have a number or bool type"},
        {"kernel const i32 A = 1 / 0;", "constant expression: division by zero"},
        {"kernel const i32 A = 1 % 0;", "constant expression: modulo by zero"},
        {"kernel const i32 Z = 0; kernel const i32 A = 1 / Z;",
         "constant expression: division by zero"},
        {"kernel const i64 A = 9223372036854775807 + 1;",
         "integer constant overflow (write u64(...) for values above 2^63)"},
        {"kernel const i64 A = 9223372036854775807 * 9;", "integer constant overflow"},
        {"kernel const i64 A = 1 << 64;", "shift count out of range"},
        {"kernel const i32 A = 1; kernel void A() {}",
         "'A' is already declared in this kernel source"},
        {"kernel void if() {}", "'if' is a reserved word"},
        {"kernel void f32() {}", "'f32' is a reserved word"},
        {"kernel i32 k() { return 1; }",
         "a kernel that returns a value needs a reduction: 'kernel i32 k(...) reduce(+) { ... }' "
         "(+, "
         "min, max, &, |, ^)"},
        {"kernel struct S { i32 a; } kernel S k() { return {1}; }",
         "a kernel that returns a value needs a reduction: 'kernel S k(...) reduce(+) { ... }' (+, "
         "min, max, &, |, ^, or per field: reduce(a: +, b: max))"},
        {"kernel void k() reduce(+) {}", "a void kernel cannot have a reduction"},
        {"kernel inline i32 k() reduce(+) { return 1; }",
         "only entry kernels can have a reduction"},
        {"kernel i32 k() reduce(a: +) { return 1; }",
         "reductions per field ('reduce(a: +)') need a struct result"},
        {"kernel u8 k() reduce(+) { return 1; }",
         "reduce(+) is not supported for u8 (reductions return i32, u32, i64, u64, f32, f64, or "
         "bool "
         "with &, |, ^)"},
        {"kernel f32 k() reduce(&) { return 1; }",
         "reduce(&) is not supported for f32 (reductions return i32, u32, i64, u64, f32, f64, or "
         "bool with &, |, ^)"},
        {"kernel struct S { i32 a; i32 b; } kernel S k() reduce(a: +) { return {1, 2}; }",
         "field 'b' of 'S' has no reduction (add 'b: +', min, max, &, | or ^)"},
        {"kernel struct S { i32 a; } kernel S k() reduce(a: +, a: +) { return {1}; }",
         "field 'a' has two reductions"},
        {"kernel struct S { i32 a; } kernel S k() reduce(a: +, c: +) { return {1}; }",
         "struct 'S' has no field 'c'"},
        {"kernel struct S { u8 a; } kernel S k() reduce(a: +) { return {1}; }",
         "reduce(+) is not supported for field 'a' (u8), reduced fields must be i32, u32, i64, "
         "u64, "
         "f32 or f64 (&, |, ^ only for integers)"},
        {"kernel i32 k() reduce(*) { return 1; }",
         "expected a reduction operator (+, min, max, &, |, ^) but found '*'"},
        {"kernel i32* k() {}", "kernels cannot return pointers"},
        {"kernel struct S { i32 a; } kernel void k(S s) {}",
         "kernels take structs as pointers ('S* s'), struct values are for helpers and local "
         "variables"},
        {"kernel void k(void v) {}", "parameters cannot be void"},
        {"kernel void k(bool* v) {}", "bool* is not supported (use u8*)"},
        {"kernel void k(i32** v) {}", "pointers to pointers are not supported in kernels"},
        {"kernel inline i32 f(i32 a) { return f(a); }",
         "recursive call of 'f' (kernel helpers are inlined, recursion is not possible)"},
        {"kernel inline i32 f(i32 a) { if (a > 0) return 1; }",
         "'f' does not return a value on every path"},
        {"kernel inline void f() { return 1; }", "a void function cannot return a value"},
        {"kernel void f() { return 1; }", "a void kernel cannot return a value"},
        {"kernel inline i32 f() { return; }", "this function must return a i32"},
        {"kernel i32 k(i32* p) reduce(+) { return p; }",
         "this kernel must return a i32 (it is reduced with +)"},
        {"kernel inline i32 f() { return {1}; }", "a {...} list needs a struct result"},
        {"/* no end", "unterminated comment"},
        {"#pragma x\n", "unknown directive '#pragma' (kernel code only knows #line)"},
        {"#line x\n", "invalid #line directive"},
        {"kernel void k() { i32 a = 12x; }", "invalid suffix on number '12x'"},
        {"kernel void k() { i32 a = 0x; }", "invalid number"},
        {"kernel void k() { i32 a = 0b12; }", "invalid number"},
        {"kernel void k() { f64 a = 1e400; }", "invalid number"},
        {"kernel void k() { f64 a = 1e; }", "invalid number"},
        {"kernel void k() { u64 a = 0x10000000000000000; }",
         "integer literal does not fit into 64 bit"},
        {"kernel void k() { i64 a = 18446744073709551616; }",
         "integer literal does not fit into 64 bit"},
        {"kernel void k() { i32 a = 1 @ 2; }", "unexpected character '@'"},
    };
    for (const message_row& row : rows)
        EXPECT_EQ(message_of(row.source), row.message) << row.source;
}

TEST(compile_message, statements) {
    const message_row rows[] = {
        {"i + 1;", "this expression does nothing (only calls can be statements)"},
        {"else {}", "'else' without 'if'"},
        {"break;", "'break' outside of a loop"},
        {"continue;", "'continue' outside of a loop"},
        {"for (i32 a = 0; a < 3; i32 b = 1) {}", "the step of a for loop cannot declare variables"},
        {"for (;;) {}", "expected an expression but found ';'"},
        {"if (i) {}", "a condition must be a bool but got a i32 (write x != 0)"},
        {"if (!i) {}", "'!' needs a bool (write x == 0)"},
        {"i32 a = i ? 1 : 2;", "the condition of '?:' must be a bool"},
        {"i32* a = flag ? p : p;", "'?:' cannot select pointers"},
        {"bool a = i;", "an integer cannot be used as bool (write x != 0, or true / false)"},
        {"void a;", "variables cannot be void"},
        {"const i32 a = 1;",
         "'const' is only allowed for pointer types ('const u8* p'); use 'kernel "
         "const' for constants"},
        {"i32* a;", "pointer variables must be initialized ('i32* a = p;')"},
        {"i32* a = p; a = q;",
         "pointer variable 'a' points into 'p' and cannot be set to another parameter"},
        {"i32* a[3];", "arrays of pointers are not supported"},
        {"bool a[3];", "bool arrays are not supported (use u8)"},
        {"i32 a[flag ? 4 : 2];", "expected a constant expression"},
        {"i32 a[i > i ? 4 : 2];", "expected a constant expression"},
        {"i32 a[u32(flag && true) + 1];", "expected a constant expression"},
        {"i32 a[u32(false || flag) + 1];", "expected a constant expression"},
        {"i32 a[TEN > 3 && true ? 4 : 2]; a[5] = 1;",
         "array index 5 is out of bounds (array size 4)"},
        {"i32 a[3] = 1;", "arrays are initialized with a list ('{1, 2, 3}')"},
        {"i32 a[2] = {1, 2, 3};", "too many values for an array of 2"},
        {"f32x2 a = {1, 2, 3};", "too many values for 'f32x2' (2 fields)"},
        {"i32 a = {1};", "a {...} list initializes arrays, structs and vectors, not a i32"},
        {"i = {1};", "kernel parameters are read only, copy 'i' into a local variable first"},
        {"f32x2 a; a = {1, 2};",
         "a {...} list is only allowed to initialize a variable or in a return statement"},
        {"i32 a = 1, a = 2;", "'a' is already declared in this scope"},
        {"i32 TEN = 1;", "'TEN' is already the name of a kernel struct or constant"},
        {"gid = 1;", "'gid' is read only"},
        {"TEN = 1;", "'TEN' is a constant"},
        {"c[0] = 1;", "cannot write through a const pointer"},
        {"twice(1) = 1;", "cannot assign to this expression"},
        {"i32 a[2]; i32 b[2]; a = b;", "cannot assign to an array, assign its elements"},
        {"S a; a += a;", "'+=' is not defined for structs"},
        {"u8 a = 1; a += 1;", "the result is a i32, not a u8 (write v = u8(v + ...))"},
        {"f32 a = 1; a += d;", "the result is a f64, not a f32 (write v = f32(v + ...))"},
        {"i32 a = ++i;", "'++' is only allowed as a statement ('i++;'), not inside an expression"},
        {"i32 a = i++;", "'++' is only allowed as a statement ('i++;'), not inside an expression"},
        {"p *= 2;", "kernel parameters are read only, copy 'p' into a local variable first"},
        {"i32* a = p; a *= 2;", "only += and -= (and ++ / --) are defined for pointers"},
        {"i64 a[200000];", "the local variables of this kernel need more than 1 MiB"},
    };
    for (const message_row& row : rows) {
        EXPECT_EQ(message_of(with_body(row.source)), row.message) << row.source;
    }
}

TEST(compile_message, expressions) {
    const message_row rows[] = {
        {"u32 a = -1;", "integer literal -1 does not fit into u32"},
        {"i32 a = 3000000000;", "integer literal 3000000000 does not fit into i32"},
        {"f32 a = 16777217;", "integer literal 16777217 does not fit into f32 exactly"},
        {"f32 a = 1e40;", "float literal does not fit into f32"},
        {"u8 a = u8(300.5);", "float literal does not fit into u8"},
        {"i32 a = 1.5;", "a float literal cannot be converted to i32 implicitly, write i32(...)"},
        {"i32 a = 1u;", "integer literal 1 does not fit into i32"},
        {"u32 a = i;", "cannot convert i32 to u32 implicitly, write u32(...)"},
        {"f32 a = d;", "cannot convert f64 to f32 implicitly, write f32(...)"},
        {"f64 a = i;", "cannot convert i32 to f64 implicitly, write f64(...)"},
        {"i64 a = i + u;",
         "cannot convert i32 to u32 implicitly, convert one side explicitly (e.g. u32(x))"},
        {"f32 a = f * i;",
         "cannot convert i32 to f32 implicitly, convert one side explicitly (e.g. f32(x))"},
        {"i32 a = i + 1.5;", "cannot mix i32 with a float literal in +, convert explicitly"},
        {"i32 a = 1.5 + i;", "cannot mix a float literal with i32 in +, convert explicitly"},
        {"i32 a = 5 & 1.5;", "'&' needs integers but got a f64"},
        {"f32 a = f & f;", "'&' needs integers but got a f32"},
        {"f32 a = f << 1;", "'<<' needs an integer on the left but got f32"},
        {"i32 a = i << f;", "the shift count must be an integer but got f32"},
        {"bool a = flag & flag;", "'&' is not defined for bool (use && / || / !)"},
        {"bool a = flag < flag;", "bool values cannot be ordered (only == and !=)"},
        {"bool a = v[0] == v[0];", "'==' is not defined for vectors (compare their components)"},
        {"f32x2 a; f32x3 b; f32 x = (a + b).x;",
         "'+' needs vectors of the same size (f32x2 and f32x3)"},
        {"f32x4 a = f32x4(1, 2);", "'f32x4' expects 1 or 4 values but got 2"},
        {"boolx4 a;", "vectors of bool are not supported (compare the components one by one)"},
        {"i32 a = (i32)f;", "C style casts are not supported, write i32(value)"},
        {"S a = S(1);", "structs have no constructor, write 'S v = {...};'"},
        {"i32 a = i32(p);", "pointers cannot be converted"},
        {"i32 a = s;", "expected i32 but got a pointer"},
        {"i32 a = s[0];",
         "a struct (S) cannot be used as a value, access a field or copy it with '='"},
        {"i32 a[2]; i32 b = a;", "an array (i32[2]) cannot be used as a value, index it"},
        {"i32 a = s.a;", "use '->' to access a field through a pointer ('p->a' or 'p[i].a')"},
        {"i32 a = i->a;", "'->' needs a pointer to a struct"},
        {"i32 a = i.a;", "'.a' needs a struct"},
        {"i32 a = s->z;", "struct 'S' has no field 'z'"},
        {"i32 a = i[0];", "only pointers and array fields can be indexed, not a i32"},
        {"i32 a = p[f];", "an index must be an integer but got a f32"},
        {"f32 a = s->b[3];", "array index 3 is out of bounds (array size 3)"},
        {"i32 a = *i;", "'*' needs a pointer but got a i32"},
        {"i32* a = &i;", "'&' only works on array elements ('&p[i]')"},
        {"f32* a = p;", "pointer types do not match: expected f32* but got i32*"},
        {"u8* a = c;", "cannot pass a const pointer as a writable pointer (u8*)"},
        {"i32* a = i;", "expected a pointer (i32*) but got a i32"},
        {"bool a = p == q;", "pointers into different parameters cannot be compared or subtracted"},
        {"i32* a = 1 + p;", "only 'pointer + integer' and 'pointer - integer' are defined"},
        {"i64 a = p * p;", "'*' is not defined for two pointers"},
        {"i32* a = p + f;", "pointer arithmetic needs an integer offset but got a f32"},
        {"i32* a = p + 9223372036854775807;", "pointer offset out of range"},
        {"f32x4 a = v[0] + p;", "vectors and pointers cannot be combined"},
        {"i32 a = nothing;", "unknown name 'nothing'"},
        {"i32 a = nothing(1);", "unknown function 'nothing'"},
        {"nothing a;", "unknown type 'nothing'"},
        {"i32 a = S;", "'S' is a struct type, not a value"},
        {"i32 a = f32;", "'f32' is a type, convert values with 'f32(value)'"},
        {"i32 a = twice;", "'twice' is a kernel function, call it with 'twice(...)'"},
        {"i32 a = (twice)(1);", "'twice' is a kernel function, call it with 'twice(...)'"},
        {"i32 a = i(1);", "only named functions can be called"},
        {"i32 a = twice(1, 2);", "'twice' expects 1 argument but got 2"},
        {"i32 a = min(1);", "'min' expects 2 arguments but got 1"},
        {"entry(p);",
         "'entry' is an entry kernel and cannot be called from kernel code (declare helpers with "
         "'kernel inline')"},
        {"f32 a = sqrt(i);", "'sqrt' needs f32 or f64 but got a i32 (convert with f32(x))"},
        {"i32 a = min(p, 1);", "min / max / clamp need numbers"},
        {"i32 a = abs(flag);", "'abs' needs a number"},
        {"f32x2 a; f32 b = length(f);", "'length' needs a float vector (f32x2 .. f64x4)"},
        {"f32x2 a; f32x2 b = cross(a, a);", "'cross' needs vectors with 3 components"},
        {"i32 a = atomic_add(i, 1);", "atomic_add needs a memory location ('atomic_add(p[i], v)')"},
        {"f32 a = atomic_add(v[0].x, 1.0);",
         "atomic_add supports i32, u32, i64 and u64 memory, not f32"},
        {"i32 a = sizeof(1);", "sizeof expects a type"},
        {"i32 a = sizeof(void);", "sizeof(void) is not defined"},
        {"i32 a = ;", "expected an expression but found ';'"},
    };
    for (const message_row& row : rows) {
        EXPECT_EQ(message_of(with_body(row.source)), row.message) << row.source;
    }
}

TEST(compile_message, position) {
    tvrk_compile_error error;
    EXPECT_EQ(tvrk_compile("kernel void k() {\n  x;\n}", "f", error), nullptr);
    EXPECT_EQ(error.file, "f");
    EXPECT_EQ(error.line, 2u);
    EXPECT_EQ(error.column, 3u);
    EXPECT_EQ(tvrk_compile("kernel void k() {\n#line 100 \"a\"\n  x;\n}", "f", error), nullptr);
    EXPECT_EQ(error.file, "a");
    EXPECT_EQ(error.line, 100u);
}

// Whatever the size of a source, it compiles or is refused before memory or stack run out.
TEST(compile_message, limits) {
    const auto repeat = [](const std::string& text, size_t count) {
        std::string made;
        for (size_t i = 0; i < count; ++i) made += text;
        return made;
    };
    const auto numbered = [](const std::string& head, const char* before, size_t count,
                             const char* behind) {
        std::string made = head;
        for (size_t i = 0; i < count; ++i) made += before + std::to_string(i + 100) + behind;
        return made + "}";
    };
    const std::string deep = "kernel code is nested too deeply (more than 256 levels)";
    const std::string out = "kernel void k(u32* p, u32 u) {\n";
    EXPECT_EQ(message_of("kernel void k() { i32 a = " + repeat("(", 100000)), deep);
    EXPECT_EQ(message_of("kernel void k() " + repeat("{", 100000)), deep);
    EXPECT_EQ(message_of("kernel void k() { i32 a = " + repeat("~", 100000)), deep);
    EXPECT_EQ(message_of(numbered(out, "p[gid] ^= ", 28671 - 1, "u;")), "");
    EXPECT_EQ(message_of(numbered(out, "p[gid] ^= ", 28672, "u;")),
              "kernel is too large (too many constants)");
    // Short-lived values are no limit; values that all live to the end are.
    std::string many = out, sum = "p[0] = 0";
    for (int i = 0; i < 33000; ++i) {
        const std::string name = "v" + std::to_string(i);
        many += "u32 " + name + " = p[gid + " + std::to_string(i) + "];\n";
        sum += " + " + name;
    }
    EXPECT_EQ(message_of(many + sum + ";}"), "kernel is too large (too many registers)");
    // Calls that double with each helper.
    std::string bomb = "kernel inline void f0() {}\n";
    for (int i = 1; i < 40; ++i) {
        const std::string before = "f" + std::to_string(i - 1) + "(); ";
        bomb += "kernel inline void f" + std::to_string(i) + "() { " + before + before + "}\n";
    }
    EXPECT_EQ(message_of(bomb), "kernel is too large (too many inlined calls)");
}

// The limit can be met at any token, also at the first of a helper from another source, which has
// other files.
TEST(compile_message, too_many_tokens_are_placed_in_the_right_source) {
    const auto base = compile("kernel inline void h() {}");
    const auto calls = [](const std::string& of, size_t count) {
        std::string text;
        for (size_t i = 0; i < count; ++i) text += of + "();";
        return text;
    };
    std::string helpers = "#line 1 \"other\"\nkernel inline void f0() {" + calls("h", 100) + "}\n";
    helpers += "kernel inline void f1() {" + calls("f0", 100) + "}\n";
    constexpr size_t tokens_of_a_call = 6;
    for (size_t padding = 0; padding < tokens_of_a_call; ++padding) {
        const std::string source = helpers + "kernel inline void f2() {" +
                                   std::string(padding, ';') + calls("f1", 100) + "}\n";
        tvrk_compile_error error;
        EXPECT_EQ(tvrk_compile(source, "file", error, {base}), nullptr);
        EXPECT_EQ(error.message, "kernel is too large (too many inlined calls)");
        EXPECT_TRUE(error.file == "other" || error.file == "file") << error.file;
    }
}

// code ---------------------------------------------------------------------------------------

std::string code_of(const std::string& source) {
    const auto unit = compile(source);
    return unit == nullptr ? "" : unit->kernels.at(0).program->disassemble();
}

size_t count_of(const std::string& text, const std::string& word) {
    size_t found = 0;
    for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1))
        ++found;
    return found;
}

TEST(compile_code, text_form) {
    EXPECT_EQ(code_of("kernel f32 k(f32 a, const f32* x)\nreduce(max) {\n  return a * x[gid + 5] / "
                      "0.1;\n}"),
              "kernel k(f32 a -> r6, const f32* x -> p0) -> f32 reduce(max)\n"
              "  registers: 10, pointers: 1, gid: r0, gsize: r1, acc: r7\n"
              "  const r8 = 0.100000001\n"
              "  main:\n"
              "  0000  LD_F32      r9, p0, r0, +5; line 3\n"
              "  0001  MUL_F32     r9, r6, r9; line 3\n"
              "  0002  DIV_F32     r9, r9, r8; line 3\n"
              "  0003  MAX_F32     r7, r7, r9; line 3\n"
              "  0004  END         ; line 4\n");
}

TEST(compile_code, what_the_optimiser_does) {
    struct row {
        const char* what;
        const char* source;
        const char* word;
        size_t count;
    };
    const row rows[] = {
        {"an expression is computed once",
         "kernel void k(i32* p, i32 a) { p[gid] = (i32(gid) * a) + (i32(gid) * a); }", "MUL_I32",
         1},
        {"a load is repeated after a store",
         "kernel void k(i32* p, i32* q) { q[gid] = 1; i32 a = p[gid]; q[gid] = 2; p[gid] = a + "
         "p[gid]; }",
         "LD_I32", 2},
        {"a load is not repeated without one",
         "kernel void k(i32* p) { p[gid] = p[gid] + p[gid]; }", "LD_I32", 1},
        {"what never changes moves to the prologue",
         "kernel void k(f32* p, f32 a) { p[gid] = sqrt(a * a + 1.0); }", "prologue", 1},
        {"an unread load with a test stays", "kernel void k(i32* p) { i32 a = p[100]; }", "LD_I32",
         1},
        {"an unread division stays", "kernel void k(i32 a, i32 b) { i32 c = a / b; }", "DIV_I32",
         1},
        {"a compare is fused with its jump",
         "kernel void k(i32* p, i32 a) { if (a < 3 && a != 1) p[0] = 1; }", "CMP", 0},
        {"constants fold", "kernel void k(i32* p) { p[gid] = i32(7) * 6 + i32(2.5); }", "MUL", 0},
        {"32-bit indices keep their wrap", "kernel void k(i32* p, u32 i) { p[i + 1] = 1; }",
         "ADDI_U32", 1},
        {"64-bit indices fold", "kernel void k(i32* p, i64 i) { p[i - 1] = 1; }", "ADDI", 0},
        {"a constant divisor is multiplied",
         "kernel void k(i32* p, i32 i) { p[gid] = p[gid] / 7 + p[gid] % 10; }", "DIVC_I32", 1},
        {"a loop has a poll", "kernel void k(i32 n) { for (i32 i = 0; i < n; i++) {} }", "LOOP", 1},
        {"continue in while has one too",
         "kernel void k(i32* p) { while (p[gid] > 0) { p[gid]--; if (p[gid] == 3) continue; p[0] = "
         "1; } }",
         "LOOP", 2},
        {"unchecked accesses have no test",
         "kernel void k(i32* p) { unchecked { p[gid] = p[gid + 1]; } }", "U_I32", 2},
    };
    for (const row& r : rows) EXPECT_EQ(count_of(code_of(r.source), r.word), r.count) << r.what;
}

TEST(compile_code, many_temporaries_share_registers) {
    std::string source = "kernel void k(u32* p) {\n";
    for (int i = 0; i < 3000; ++i) source += "p[gid] = p[gid] * p[gid + 1] + p[gid + 2];\n";
    const auto unit = compile(source + "}");
    ASSERT_NE(unit, nullptr);
    EXPECT_LT(unit->kernels[0].program->num_regs, 20u);
}

TEST(compile_code, imports) {
    const auto base = compile(
        "kernel struct P { f32 x; }\nkernel const f32 K = 2.5;\n"
        "kernel inline f32 scaled(const P* p, u64 i) { return p[i].x * K; }");
    const auto user = compile("kernel void k(P* p) { p[gid].x = scaled(p, gid) + K; }", {base});
    ASSERT_NE(user, nullptr);
    EXPECT_EQ(tvrk_verify(*user->kernels[0].program), "");
    EXPECT_EQ(message_of("kernel const i32 K = 1;", {base}), "");  // own names come first
}

TEST(compile_code, struct_layouts) {
    const auto unit = compile(
        "kernel struct A { u8 a; f64 b; u16 c; }\nkernel cstruct B { u8 a; f64 b; u16 c; }\n"
        "kernel cstruct C { u8 a; f32x3 v[2]; }");
    ASSERT_NE(unit, nullptr);
    EXPECT_EQ(unit->structs[0]->size, 11u);
    EXPECT_EQ(unit->structs[0]->fields[1].offset, 1u);
    EXPECT_EQ(unit->structs[1]->size, 24u);
    EXPECT_EQ(unit->structs[1]->fields[1].offset, 8u);
    EXPECT_EQ(unit->structs.back()->size, 28u);
}

TEST(op_table, names_and_formats) {
    EXPECT_STREQ(tvrk_op_name(270), "?");
    EXPECT_STREQ(tvrk_op_format(270), "");
    EXPECT_STREQ(tvrk_op_name(142), "JFGE_F64");
    EXPECT_STREQ(tvrk_op_name(258), "STR_F64");
    EXPECT_STREQ(tvrk_op_name(269), "CHKIDX");
    EXPECT_STREQ(tvrk_op_format(265), "DPRI");
}

}  // namespace
