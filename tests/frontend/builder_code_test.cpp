// The code that each form of the language becomes, instruction by instruction: the machine relies
// on these patterns.

#include <sstream>

#include <gtest/gtest.h>

#include "program_maker.h"

namespace {

// The instructions of one block of a disassembly with two blanks between them, labels included,
// offsets and source lines left out.
std::string code_of(const std::string& text, const std::string& heading) {
    std::istringstream in(text);
    std::string line, out;
    bool inside = false;
    while (std::getline(in, line)) {
        if (!line.starts_with("  ")) inside = line == heading;
        const bool label = line.starts_with("    L");
        const bool instruction = line.starts_with("    ") && !label;
        if (!inside || !(label || instruction)) continue;
        std::istringstream words(line);
        std::string word, row;
        if (instruction) words >> word;  // the offset
        while (words >> word) {
            if (word == ";") continue;
            row += (row.empty() ? "" : " ") + word;
        }
        out += (out.empty() ? "" : "  ") + row;
    }
    return out;
}

struct row {
    const char* what;
    const char* source;
    const char* code;
    const char* heading = "root <memory>";
};

void expect_code(const std::vector<row>& rows) {
    program_maker maker;
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        const std::string text = maker.code(r.source);
        EXPECT_EQ(code_of(text, r.heading), r.code) << text;
    }
}

TEST(builder_code, values) {
    expect_code({
        {"whole number", "5;", "push_stack  return_int 5  pop_stack 1"},
        {"a minus belongs to its number", "-5;", "push_stack  return_int -5  pop_stack 1"},
        {"smallest number", "-9223372036854775808;",
         "push_stack  return_int -9223372036854775808  pop_stack 1"},
        {"fraction", "-0.5;", "push_stack  return_float -0.5  pop_stack 1"},
        {"text", "'a';", "push_stack  return_string 0 \"a\"  pop_stack 1"},
        {"words", "[true, False, None];",
         "push_stack  return_new_json  push_stack  return_int 1  json_list_add  "
         "push_stack  return_int 0  json_list_add  push_stack  return_new_variable  "
         "json_list_add  pop_stack 1"},
        {"map", "['k': 2];",
         "push_stack  return_new_json  push_stack_copy  json_literal target k  push_stack  "
         "return_int 2  set_and_pop_stack  pop_stack 1  pop_stack 1"},
    });
}

TEST(builder_code, operators) {
    expect_code({
        {"left to right", "1 - 2 - 3;",
         "push_stack  return_int 1  push_stack  return_int 2  sub  push_stack  return_int 3  sub  "
         "pop_stack 1"},
        {"prefixes", "!~-(1 + 2);",
         "push_stack  return_int 1  push_stack  return_int 2  add  unary_minus  bnot  negate  "
         "pop_stack 1"},
        {"references", "x = 1; *&x;",
         "push_stack  return_local_var 0 x  push_stack  return_int 1  set_and_pop_stack  "
         "pop_stack 1  push_stack  return_local_var 0 x  makeref  deref  pop_stack 1"},
        {"the deciding operand is the value", "1 && 2 && 3 || 4;",
         "push_stack  return_int 1  jmp_if_false -> L1  return_int 2  jmp_if_false -> L1  "
         "return_int 3  L1:  jmp_if_true -> L2  return_int 4  L2:  pop_stack 1"},
        {"a default leaves no entry behind", "x = []; x.a.b ?? x.c ?? 1;",
         "push_stack  return_local_var 0 x  push_stack  return_new_json  set_and_pop_stack  "
         "pop_stack 1  push_stack  return_local_var 0 x  json_literal optional a  "
         "json_literal optional b  jmp_if_true some -> L1  return_local_var 0 x  "
         "json_literal optional c  jmp_if_true some -> L1  return_int 1  L1:  pop_stack 1"},
        {"choice", "1 < 2 ? 3 : 4;",
         "push_stack  push_stack  return_int 1  push_stack  return_int 2  cmp_smaller 0  "
         "jmp_if_false -> L1  pop_stack 1  return_int 3  jmp -> L2  L1:  pop_stack 1  "
         "return_int 4  L2:  pop_stack 1"},
    });
}

TEST(builder_code, assignments) {
    expect_code({
        {"declaration leaves no code", "var x;", ""},
        {"managed", "managed x = 1;",
         "push_stack  return_local_var 0 x  bind_object_to_var  push_stack  return_int 1  "
         "set_and_pop_stack  pop_stack 1"},
        {"the value comes into being first", "x = y = 1;",
         "push_stack  return_local_var 1 x  push_stack  return_local_var 0 y  push_stack  "
         "return_int 1  set_and_pop_stack  set_and_pop_stack  pop_stack 1"},
        {"compound", "var x; x += 1;",
         "push_stack  return_local_var 0 x  push_stack_copy  push_stack  return_int 1  add  "
         "set_and_pop_stack  pop_stack 1"},
        {"member", "var x; x.a.b = 1;",
         "push_stack  return_local_var 0 x  json_literal a  json_literal target b  push_stack  "
         "return_int 1  set_and_pop_stack  pop_stack 1"},
        {"compound member", "var x; x.a *= 2;",
         "push_stack  return_local_var 0 x  json_literal target a  push_stack_copy  push_stack  "
         "return_int 2  mult  set_and_pop_stack  pop_stack 1"},
        {"element", "var x; x[0] = 1;",
         "push_stack  return_local_var 0 x  push_stack  return_int 0  push_stack  return_int 1  "
         "json_expression_set  pop_stack 1"},
        {"compound element", "var x; x[0] -= 1;",
         "push_stack  return_local_var 0 x  push_stack  return_int 0  json_expression_peek  "
         "push_stack  return_int 1  sub  json_expression_set  pop_stack 1"},
        {"through a reference", "var x; *x = 1;",
         "push_stack  return_local_var 0 x  deref  push_stack  return_int 1  set_and_pop_stack  "
         "pop_stack 1"},
        {"old value not wanted", "var x; x++; --x.a;",
         "push_stack  return_local_var 0 x  inc 0  pop_stack 1  push_stack  "
         "return_local_var 0 x  json_literal a  dec 0  pop_stack 1"},
        {"old value wanted", "var x; y = x[1]++;",
         "push_stack  return_local_var 1 y  push_stack  return_local_var 0 x  push_stack  "
         "return_int 1  json_expression  inc 1  set_and_pop_stack  pop_stack 1"},
        {"variable of a namespace", "lamp.color.red = 1; using lamp; level = 2;",
         "push_stack  return_namespace_variable  push_stack  return_int 1  set_and_pop_stack  "
         "pop_stack 1  push_stack  return_namespace_variable  push_stack  return_int 2  "
         "set_and_pop_stack  pop_stack 1"},
    });
}

TEST(builder_code, conditions_and_loops) {
    expect_code({
        {"if and else", "var x; if (x) 1; else 2;",
         "push_stack  return_local_var 0 x  jmp_if_false -> L1  pop_stack 1  push_stack  "
         "return_int 1  pop_stack 1  jmp -> L2  L1:  pop_stack 1  push_stack  return_int 2  "
         "pop_stack 1  L2:"},
        {"and, or, not", "var x; if (!(x && 1) || 2) 3;",
         "push_stack  return_local_var 0 x  jmp_if_false -> L1  pop_stack 1  push_stack  "
         "return_int 1  jmp_if_false -> L1  pop_stack 1  push_stack  return_int 2  "
         "jmp_if_false -> L2  L1:  pop_stack 1  push_stack  return_int 3  pop_stack 1  "
         "jmp -> L3  L2:  pop_stack 1  L3:"},
        {"a body with names is a block", "if (1) { a = 1; }",
         "push_stack  return_int 1  jmp_if_false -> L1  pop_stack 1  call_subroutine 0 if  "
         "jmp -> L2  L1:  pop_stack 1  L2:"},
        {"a loop is a block", "for (i = 0; i < 2; i++) { }",
         "push_stack  return_local_var 0 i  push_stack  return_int 0  set_and_pop_stack  "
         "pop_stack 1  L1:  push_stack  return_local_var 0 i  push_stack  return_int 2  "
         "cmp_smaller 0  jmp_if_false -> L3  pop_stack 1  L2 continue:  push_stack  "
         "return_local_var 0 i  inc 0  pop_stack 1  jmp -> L1  L3:  pop_stack 1",
         "loop for"},
        {"break and continue", "for (1) { if (2) break; continue; }",
         "L1:  push_stack  return_int 1  jmp_if_false -> L5  pop_stack 1  push_stack  "
         "return_int 2  jmp_if_false -> L2  pop_stack 1  end_break  jmp -> L3  L2:  pop_stack 1  "
         "L3:  end_continue  L4 continue:  jmp -> L1  L5:  pop_stack 1",
         "loop for"},
        {"catch takes the message", "try { 1; } catch (e) { e; }",
         "push_stack  return_local_var 0 e  pop_stack 1", "scoped catch"},
    });
}

TEST(builder_code, calls) {
    expect_code({
        {"function of the program", "def f(a, b = 1, c = 2) { } f(1, c = 3);",
         "push_stack  return_function 0, 0 f  call_init 2  push_stack  return_int 1  "
         "call_setparam 0  pop_stack 1  push_stack  return_int 3  call_setparam 2  pop_stack 1  "
         "call  pop_stack 1"},
        {"defaults stand at the head", "def f(a, b = a) { } f(1);",
         "call_subroutine_default_arg 1 b", "function f"},
        {"a default sees what stands in front of it", "def f(a, b = a) { } f(1);",
         "push_stack  return_parent_var 1, 0 a  end_return", "scoped b in f"},
        {"value", "var f; f(1)(2);",
         "push_stack  return_local_var 0 f  call_init 1  push_stack  return_int 1  "
         "call_setparam 0  pop_stack 1  call  call_init 1  push_stack  return_int 2  "
         "call_setparam 0  pop_stack 1  call  pop_stack 1"},
        {"native function", "lamp::color::mix(1, 2);",
         "push_stack  push_ext_stack 2  push_stack  return_int 1  set_ext_stack 0  pop_stack 1  "
         "push_stack  return_int 2  set_ext_stack 1  pop_stack 1  call_ext mix  pop_stack 1"},
        {"native function by using", "using lamp.color; x = mix;",
         "push_stack  return_local_var 0 x  push_stack  return_external_function mix  "
         "set_and_pop_stack  pop_stack 1"},
        {"method", "var o; o.a.m(1, 2).b;",
         "push_stack  return_local_var 0 o  json_literal a  push_stack  return_int 1  "
         "push_stack  return_int 2  call_method 2 m  json_literal b  pop_stack 1"},
        {"of this and of the base",
         "class A { def m(a, b) { } } class B : A { def m() { super.m(b = 1, a = 2); m(); } }",
         "push_stack  call_class_return_this  push_stack  return_int 2  push_stack  return_int 1  "
         "call_method 2 super m in class A  pop_stack 1  push_stack  call_class_return_this  "
         "call_method 0 m in class B  pop_stack 1",
         "function m in B"},
        {"function inside a method knows this",
         "class A { x = 1; def m() { def f() { x; } f(); } }",
         "push_stack  return_function 0, 0 f  set_lambda 1  call_init 0  call  pop_stack 1",
         "function m in A"},
    });
}

TEST(builder_code, functions_and_lambdas) {
    expect_code({
        {"bare return", "def f() { return; }", "push_stack  end_return", "function f"},
        {"function from a block inside a function", "def f() { for (1) { for (1) { f; } } }",
         "L1:  push_stack  return_int 1  jmp_if_false -> L3  pop_stack 1  push_stack  "
         "return_function 3, 0 f  pop_stack 1  L2 continue:  jmp -> L1  L3:  pop_stack 1",
         "loop for in for, f"},
        {"captures",
         "g = 1; def f(a, b) { c = 2; return (d) { return () { return b + c + d + g; }; }; }",
         "push_stack  return_local_var 2 c  push_stack  return_int 2  set_and_pop_stack  "
         "pop_stack 1  push_stack  return_function 0, 0 lambda  push_stack  return_local_var 1 b  "
         "set_lambda 0  push_stack  return_local_var 2 c  set_lambda 0  end_return",
         "function f"},
        {"captures of captures",
         "g = 1; def f(a, b) { c = 2; return (d) { return () { return b + c + d + g; }; }; }",
         "push_stack  return_function 0, 0 lambda  push_stack  return_local_var 1 b  set_lambda 0  "
         "push_stack  return_local_var 2 c  set_lambda 0  push_stack  return_local_var 0 d  "
         "set_lambda 0  end_return",
         "function lambda in f"},
        {"variables of the main body stay live", "g = 1; def f() { return () { g = 2; }; }",
         "push_stack  return_global_var 0 g  push_stack  return_int 2  set_and_pop_stack  "
         "pop_stack 1",
         "function lambda in f"},
        {"of a block of the main body they are copied", "if (1) { a = 1; f = () { return a; }; }",
         "push_stack  return_local_var 0 a  push_stack  return_int 1  set_and_pop_stack  "
         "pop_stack 1  push_stack  return_local_var 1 f  push_stack  return_function 0, 0 lambda  "
         "push_stack  return_local_var 0 a  set_lambda 0  set_and_pop_stack  pop_stack 1",
         "scoped if"},
        {"this of a lambda", "class A { def m() { return () { return this; }; } }",
         "push_stack  return_function 0, 0 lambda  set_lambda 1  end_return", "function m in A"},
    });
}

TEST(builder_code, classes) {
    expect_code({
        {"body", "class A { a = 1; b; managed c = a; }",
         "push_stack  return_local_var 0 a  push_stack  return_int 1  set_and_pop_stack  "
         "pop_stack 1  push_stack  return_local_var 2 c  bind_object_to_var  push_stack  "
         "return_local_var 0 a  set_and_pop_stack  pop_stack 1  call_class_create",
         "class A"},
        {"body of a base first", "class A { a = 1; } class B : A { }",
         "call_class_top_constructor  call_class_create", "class B"},
        {"members without this", "class A { x = 1; def m(y) { x += y; x.z = 1; } }",
         "push_stack  call_class_return_this  json_literal target x in class A  push_stack_copy  "
         "push_stack  return_local_var 0 y  add  set_and_pop_stack  pop_stack 1  push_stack  "
         "call_class_return_this  json_literal x in class A  json_literal target z in class A  "
         "push_stack  return_int 1  set_and_pop_stack  pop_stack 1",
         "function m in A"},
    });
}

}  // namespace
