// What the builder refuses, and with which words.

#include <gtest/gtest.h>

#include "program_maker.h"

namespace {

struct row {
    const char* source;
    const char* message;  // empty: compiles
};

void expect_errors(const std::vector<row>& rows) {
    program_maker maker;
    for (const row& r : rows) {
        SCOPED_TRACE(r.source);
        EXPECT_EQ(maker.error(r.source), r.message);
    }
}

const char* unknown_x =
    "Variable 'x' does not exist (or did you mean to catch a local var in a lambda?).";
const char* illegal = "Cannot assign to illegal expression.";

TEST(builder_error, names) {
    expect_errors({
        {"y = x;", unknown_x},
        {"x;", unknown_x},
        {"x += 1;", unknown_x},
        {"x++;", unknown_x},
        {"x = x;", unknown_x},
        {"x.a = 1;", unknown_x},
        {"x[1] = 1;", unknown_x},
        {"x();", unknown_x},
        {"x = 1; x = x + 1;", ""},
        {"def f() { return x; } x = 1;", unknown_x},
        {"x = 1; def f() { return x; }", ""},
        {"def f() { x = 1; def g() { return x; } }", unknown_x},
        {"def f() { x = (n) { return x(n); }; }", unknown_x},
        {"x = (n) { return x(n); };", ""},
        {"if (1) { x = () { return x; }; }", unknown_x},
        {"x = y = 1; x + y;", ""},
        {"this;", "'this' can only be used inside methods of a class."},
        {"class A { x = this; }", "'this' can only be used inside methods of a class."},
        {"super.f();", "'super' can only be used inside methods of a class."},
        {"interface I { } x = I;",
         "'I' is an interface, it is only a type and has no value at runtime."},
        {"interface I { } I();", "'I' is an interface, it cannot be instantiated."},
    });
}

TEST(builder_error, variables) {
    expect_errors({
        {"var x; var x;", "Variable 'x' double definition."},
        {"x = 1; let x = 2;", "Variable 'x' double definition."},
        {"var x = 1; if (1) { var x = x + 1; }", ""},
        {"def f(a) { var a; }", "Variable 'a' double definition."},
        {"def f(a, a) { }", "Variable 'a' double definition."},
        {"int x; x = 1; int x;", "Variable 'x' double definition."},
        {"int x = 1; float x = 2;", ""},
        {"class A { } A x = 1;", ""},
        {"var let x = 1;", "Multiple assignment keywords in one group are not supported."},
        {"int float x = 1;", "Multiple assignment keywords in one group are not supported."},
        {"var int x = 1;", ""},
        {"speed x = 1;",
         "Unknown assignment keyword 'speed' (missing ';' at the end of the previous statement?)."},
        {"1 = 2;", illegal},
        {"1 + 2 = 3;", illegal},
        {"None = 1;", illegal},
        {"var this = 1;", illegal},
        {"def f() { } f = 1;", illegal},
        {"def f() { } f++;", illegal},
        {"def f() { } f() = 1;", illegal},
        {"def f() { } f()++;", illegal},
        {"def f() { } f().x = 1;", ""},
        {"var x; x++++;", illegal},
        {"var x; ++x++;", illegal},
        {"++1;", illegal},
        {"var x; -x = 1;", illegal},
        {"lamp.on = 1;", illegal},
    });
}

TEST(builder_error, scopes_end) {
    expect_errors({
        {"if (1) { x = 1; } x;", unknown_x},
        {"if (1) x = 1; x;", unknown_x},
        {"if (1) { } else { x = 1; } x;", unknown_x},
        {"if (x = 1) { } x;", ""},
        {"for (x = 0; x < 1; x++) { } x;", unknown_x},
        {"for (1) { x = 1; } x;", unknown_x},
        {"try { x = 1; } catch (e) { } x;", unknown_x},
        {"try { x = 1; } catch (e) { x; }", unknown_x},
        {"try { } catch (x) { } x;", unknown_x},
        {"{ x = 1; } x;", unknown_x},
        {"var x; { x = 1; } x;", ""},
        {"{ def x() { } } x();", unknown_x},
        {"{ using lamp; } on();",
         "Variable 'on' does not exist (or did you mean to catch a local var in a lambda?)."},
    });
}

TEST(builder_error, functions) {
    expect_errors({
        {"def f() { } def f() { }", "Function already exists."},
        {"class f { } def f() { }", "Function already exists."},
        {"() { };", "Anonymous functions not allowed."},
        {"private def f() { }", "Unknown method keyword 'private'"},
        {"def f(var a) { }", "parameter keywords not supported yet."},
        {"f(); def f() { g(); } def g() { f(); }", ""},
        {"def f(a, b = 1) { } f();", "Not enough arguments for function f"},
        {"def f(a, b = 1) { } f(1, 2, 3);", "Too many arguments for function f"},
        {"def f(a, b = 1) { } f(b = 1);", "Not enough arguments for function f"},
        {"def f(a, b = 1) { } f(b = 1, a = 2);", ""},
        {"def f(a) { } f(a = 1, 2);", "cannot place positional argument here."},
        {"def f(a) { } f(b = 1);", "The function has no parameter 'b'."},
        {"def f(a) { } f(1, a = 1);", "Parameter 'a' is given twice."},
        {"var f; f(a = 1);", "Cannot resolve function call."},
        {"var f; f(1, 2, 3);", ""},
        {"f(1); def f() { }", "Too many arguments for function f"},
        {"lamp.color.mix(1);", "Not enough arguments for function mix"},
        {"lamp.color.mix(1, 2, 3, 4);", "Too many arguments for function mix"},
        {"lamp.color.mix(a = 1, b = 2);", "Cannot resolve function call."},
        {"def f(a = b, b = 1) { }",
         "Variable 'b' does not exist (or did you mean to catch a local var in a lambda?)."},
        {"class A { def __init__(a) { } } A();", "Not enough arguments for function A"},
        {"class A { } A(1);", "Too many arguments for function A"},
        {"class A { def __init__(a) { } } class B : A { } B(1);", ""},
    });
}

TEST(builder_error, namespaces) {
    expect_errors({
        {"using nowhere;", "Cannot import namespace 'nowhere'"},
        {"using lamp.nowhere;", "Cannot import namespace 'lamp.nowhere'"},
        {"import nowhere_at_all;", "Cannot load module: nowhere_at_all"},
        {"using lamp; using color; mix(1, 2);", ""},
        {"import lamp; on();", ""},
        {"lamp();", "Invalid function call (cannot call a namespace)"},
        {"lamp.color();", "Invalid function call (cannot call a namespace)"},
        {"lamp;", "Cannot return namespace."},
        {"x = lamp.color;", "Cannot return namespace."},
        {"lamp.off();", "Name doesnt exist in namespace."},
        {"lamp = 1; lamp.off = 2;", ""},
        {"var x; x::y;", "Cannot resolve namespace."},
        {"using lamp; on = 1; on + 1;", ""},
    });
}

TEST(builder_error, restricted_mode_checks_every_path) {
    program_maker maker;
    maker.script.config.restricted_mode = true;
    maker.script.config.allowed_namespaces = {"lamp.color"};
    const row rows[] = {
        {"lamp.color.mix(1, 2);", ""},
        {"using lamp.color;", ""},
        {"using lamp;", "Cannot import namespace 'lamp'"},
        {"lamp.on();", "Cannot import namespace 'lamp'"},
        {"lamp.level = 1;", "Cannot import namespace 'lamp'"},
        {"secret.tell();", "Cannot import namespace 'secret'"},
        {"import anything;", "Cannot import namespace 'anything'"},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.source);
        EXPECT_EQ(maker.error(r.source), r.message);
    }
}

TEST(builder_error, classes) {
    expect_errors({
        {"class A { } class A { }", "Class 'A' double definition."},
        {"interface A { } class A { }", "Class 'A' has the name of an interface."},
        {"class A : A { }", "'A' cannot inherit from itself."},
        {"class A { } class B : A, A { }", "Base class 'A' is listed twice."},
        {"class B : A { } class A { }",
         "Base class 'A' does not exist (it has to be defined before 'B')."},
        {"interface I { } class A : I { }", ""},
        {"class A { x = 1; x = 2; }", "Member 'x' double definition."},
        {"class A { x = 1; def x() { } }", "Member 'x' conflicts with a method of the same name."},
        {"class A { x = 1; } class B : A { def x() { } }",
         "Member 'x' conflicts with a method of the same name."},
        {"class A { def f() { } def f() { } }",
         "Definition of function does not match declaration, or this function was defined more "
         "than once."},
        {"class A { fast def f() { } }", "Unknown method keyword 'fast'"},
        {"class A { abstract def f() { 1; } }", "Abstract method 'f' must have an empty body."},
        {"class A { class B { } }", "Classes in classes not yet implemented."},
        {"class A { 1 + 2; }", "Not allowed in class definition."},
        {"class A { x += 1; }", "Not allowed in class definition."},
        {"class A { if (1) { } }", "Not allowed in class definition."},
        {"class A { x = y = 1; }", "Not allowed in class definition."},
        {"class A { () { }; }", "Cannot parse function definition."},
        {"class A { x = y; y = 1; }",
         "Variable 'y' does not exist (or did you mean to catch a local var in a lambda?)."},
        {"class A { def __add__(a, b) { } }",
         "Operator method '__add__' (operator +) must take exactly 1 parameter(s)."},
        {"class A { def __deinit__(a) { } }", "The destructor '__deinit__' has no parameters."},
        {"fast class A { }", "TODO: implement class keywords"},
        {"class A { def f() { A(); } }", ""},
        {"x = A(); class A { }", ""},
    });
}

TEST(builder_error, super_and_interfaces) {
    expect_errors({
        {"class A { def f() { super; } }",
         "'super' can only be used to call a base class method: super.method(...)"},
        {"class A { def f() { super.x; } }",
         "'super' can only be used to call a base class method: super.method(...)"},
        {"class A { def f() { super.f(); } }", "No base class of 'A' defines a method 'f'."},
        {"class A { abstract def f() { } } class B : A { def f() { super.f(); } }",
         "Base class method 'f' is abstract and has no implementation to call."},
        {"class A { def f(a) { } } class B : A { def f() { super.f(); } }",
         "Not enough arguments for function f"},
        {"interface I { } interface I { }",
         "Interface 'I' is defined twice (interface names cannot be used by other interfaces or "
         "classes)."},
        {"interface I : J { }",
         "Interface 'I' can only extend interfaces, 'J' is none (an interface has to be defined "
         "before it is extended)."},
        {"interface I { x = 1; }",
         "Methods of interface 'I' can only declare methods, like 'float area() {}'."},
        {"interface I { def f() { 1; } }",
         "Method 'f' of an interface has no implementation, its body has to be empty: '{}'."},
        {"interface I { private def f() { } }",
         "Methods of interface 'I' are always public and abstract, 'private' is not allowed."},
    });
}

TEST(builder_error, points_at_the_best_word) {
    program_maker maker;
    maker.error("a = 1;\nb = a +\n  lamp.color.off;");
    EXPECT_EQ(maker.finding.line, 3u);
    EXPECT_EQ(maker.finding.column, 14u);
}

}  // namespace
