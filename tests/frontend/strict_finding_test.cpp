// What the strict checker finds in one statement, with its words, and what stands beside it that
// is right.

#include "strict_findings.h"

namespace {

#define CONVERT " Convert explicitly with std.int(), std.float() or std.string()."
#define CHECK_NONE " (e.g. 'if (x != None)' or 'x ?? default')."

TEST(strict_finding, conditions) {
    expect_findings({
        {"x = 5; if (x) { }", "Condition is int, compare it explicitly (e.g. 'x != 0')."},
        {"x = 5; if (x != 0) { }", ""},
        {"if (1.5) { }", "Condition is float, compare it explicitly (e.g. 'x != 0')."},
        {"x = std.math.max(1, 2); if (x) { }",
         "Condition is number, compare it explicitly (e.g. 'x != 0')."},
        {"for (\"a\") { }", "Condition is string, compare it explicitly (e.g. 'x != 0')."},
        {"x = [1]; y = x ? 1 : 2;", "Condition is list, compare it explicitly (e.g. 'x != 0')."},
        {"x = [a = 1]; for (!x) { }", "Condition is map, compare it explicitly (e.g. 'x != 0')."},
        {"def f() { } if (f) { }", "Condition is function, compare it explicitly (e.g. 'x != 0')."},
        {"x = 1; if (x > 0 && x) { }", "Condition is int, compare it explicitly (e.g. 'x != 0')."},
        {"x = 1; if (x || x > 0) { }", "Condition is int, compare it explicitly (e.g. 'x != 0')."},
        {"x = 5; y = x || 7; z = !x;", ""},  // no conditions
        {"for (true) { } if (!false) { }", ""},
        {"def f(x, bool y) { if (x) { } if (y) { } if (x && y) { } }", ""},
        {"x = std.file.read(\"a\"); if (x) { }", ""},  // a test for None
        {"if (std.instanceof([], \"std.json\")) { }", ""},
        {"class a { } x = a(); if (x) { }", ""},
        {"x = std.docs(\"std\"); if (x) { } y = [1].pop(); if (y) { }", ""},  // may be None
    });
}

TEST(strict_finding, none) {
    expect_findings({
        {"x = None; x.y;",
         "This value may be None ('x' was set to None in line 1), check it before reading a "
         "member" CHECK_NONE},
        {"x = None; x.y = 1;",
         "This value may be None ('x' was set to None in line 1), check it before setting a "
         "member" CHECK_NONE},
        {"x = None; x[0] = 1;",
         "This value may be None ('x' was set to None in line 1), check it before setting an "
         "element" CHECK_NONE},
        {"x = None; x[0];",
         "This value may be None ('x' was set to None in line 1), check it before indexing "
         "it" CHECK_NONE},
        {"x = None; x();",
         "This value may be None ('x' was set to None in line 1), check it before calling "
         "it" CHECK_NONE},
        {"x = None; x.push(1);",
         "This value may be None ('x' was set to None in line 1), check it before calling a "
         "method" CHECK_NONE},
        {"x = None; y = 1 + x;",
         "This value may be None ('x' was set to None in line 1), check it before using it with "
         "'+'" CHECK_NONE},
        {"x = None; y = x < 1;",
         "This value may be None ('x' was set to None in line 1), check it before using it with "
         "'<'" CHECK_NONE},
        {"x = None; x -= 1;",
         "This value may be None ('x' was set to None in line 1), check it before using it with "
         "'-='" CHECK_NONE},
        {"x = None; x++;",
         "This value may be None ('x' was set to None in line 1), check it before using it with "
         "'++'" CHECK_NONE},
        {"var x; x.y;",
         "This value may be None ('x' has no value yet), check it before reading a "
         "member" CHECK_NONE},
        {"def f(a = None) { return a.b; }",
         "This value may be None (parameter 'a' is None by default), check it before reading a "
         "member" CHECK_NONE},
        {"def f() { } x = f(); x.y;",
         "This value may be None ('f' returns no value), check it before reading a "
         "member" CHECK_NONE},
        {"def f(a) { if (a) return a; } f(1).y;",
         "This value may be None ('f' does not always return a value), check it before reading "
         "a member" CHECK_NONE},
        {"x = std.file.read(\"a\"); x.size();",
         "This value may be None ('read' gives None when there is nothing), check it before "
         "calling a method" CHECK_NONE},
        {"x = None + 1;", "None used in arithmetic ('+')."},
        {"x = None * None;", "None used in arithmetic ('*')."},
        {"x = -None;", "None used in arithmetic ('-')."},
        {"x = None < 1;", "None cannot be ordered ('<')."},
        {"x = \"a\" + None; y = None == 1; z = None != \"\";", ""},
        {"x = None; y = x.a.b ?? 1; z = x[1] ?? x.size() ?? 2;", ""},
        {"x = None; x = 1; x + 1;", ""},
    });
}

TEST(strict_finding, arithmetic) {
    expect_findings({
        {"x = \"a\" - 1;", "'-' cannot be used with string and int ('string - int')." CONVERT},
        {"x = 2.5 * \"a\";",
         "'*' cannot be used with float and string ('float * string')." CONVERT},
        {"x = \"7\" % 4;", "'%' cannot be used with string and int ('string % int')." CONVERT},
        {"x = [1] + 1;", "'+' cannot be used with list and int ('list + int')." CONVERT},
        {"x = 1; x /= [a = 1];", "'/=' cannot be used with int and map ('int /= map')." CONVERT},
        {"def f() { } x = 1 + f;",
         "'+' cannot be used with int and function ('int + function')." CONVERT},
        {"x = -\"a\";", "Unary '-' cannot be used with string." CONVERT},
        {"x = \"a\"; x++;", "'++' cannot be used with string." CONVERT},
        {"x = 1 / 0;", "Division by zero."},
        {"x = 1; x /= 0.0;", "Division by zero."},
        {"x = 5 % 0;", "Modulo by zero."},
        {"x = 1; x %= 0;", "Modulo by zero."},
        {"x = \"a\" + 1 + [1] + 2.5; y = [1] + [a = 1]; z = true + 1; u = 1 / 0.5;", ""},
        {"def f(a, any b) { return a - \"x\" + b * \"x\" - std.docs(\"A\"); }", ""},
        {"x = std.buffer() - 1;", ""},  // the class may take part
    });
}

TEST(strict_finding, bits_and_comparison) {
    expect_findings({
        {"x = 1.5 & 3;", "Bitwise '&' needs int operands, not float."},
        {"x = 4; x ^= \"1\";", "Bitwise '^=' needs int operands, not string."},
        {"x = ~1.5;", "Bitwise '~' needs an int operand, not float."},
        {"x = 6 & 3 | ~5 ^ true;", ""},
        {"x = 1 == \"1\";", "Comparing int with string." CONVERT},
        {"x = \"a\" < 1.5;", "Comparing string with float." CONVERT},
        {"x = [1] < [2];", "Comparing list with list."},
        {"x = [1] == \"a\";", "Comparing list with string."},
        {"def f() { } x = f == 1;", "Comparing function with int."},
        {"x = true < false;", "bool values cannot be ordered (only == and !=)."},
        {"x = (1 < 2) > 0;", "bool values cannot be ordered (only == and !=)."},
        {"x = true == 1; y = [1] == 1; z = [1] != [a = 1]; u = 1 < 2.5; v = \"a\" < \"b\";", ""},
        {"def f() { } def g() { } x = f == g; y = f != std.print;", ""},
    });
}

TEST(strict_finding, operators_of_classes) {
    const std::string vector =
        "class v { def __add__(o) { return this; } int __mul__(o) { return 1; } } ";
    const strict_row rows[] = {
        {"x = v() - 1;", "Class 'v' has no operator method __sub__ for '-' with int on the right."},
        {"x = 1 + v();", "Class 'v' has no operator method __radd__ for '+' with int on the left."},
        {"x = v(); x -= 2;",
         "Class 'v' has no operator method __sub__ for '-=' with int on the right."},
        {"x = -v();", "Class 'v' has no operator method __neg__ for unary '-'."},
        {"x = v() < v();",
         "Class 'v' has no operator method __lt__ for '<' with class v on the right."},
        {"x = v() == 1;", "Comparing class v with int."},
        {"x = v() * 2 - \"a\";",
         "'-' cannot be used with int and string ('int - string')." CONVERT},
        {"x = v() + 1; y = v() == v(); x = \"a\"; x += v() + v();",
         "Class 'v' has no operator method __radd__ for '+=' with string on the left."},
        {"class w { def __rsub__(o) { } def __eq__(o) { } } x = v() - w(); y = w() == 1;", ""},
        // A class below may have it.
        {"class w : v { def __sub__(o) { } } def f(v a) { return a - 1; }", ""},
    };
    strict_findings strict;
    for (const strict_row& row : rows) {
        SCOPED_TRACE(row.source);
        EXPECT_EQ(strict.of(vector + row.source),
                  *row.finding == '\0' ? "" : tvr_join("1: ", row.finding, "\n"));
    }
}

TEST(strict_finding, members) {
    expect_findings({
        {"x = 5; x.size();", "Type 'int' has no member 'size'."},
        {"x = \"a\"; x.nothing();", "Type 'string' has no member 'nothing'."},
        {"x = \"a\"; x.size(); x.length();", ""},
        {"def f() { } f.x;", "Type 'function' has no member 'x'."},
        {"class a { x = 1; } p = a(); p.y;", "Type 'class a' has no member 'y'."},
        {"class a { x = 1; } p = a(); p.y = 1;", "Type 'class a' has no member 'y'."},
        {"class a { x = 1; } p = a(); p.y();", "Type 'class a' has no member 'y'."},
        {"class a { x = 1; } a.x;", "Type 'class a' has no member 'x'."},
        {"class a { x = 1; def f() { this.y = x; } } p = a(); p.x; p.f; p.f();",
         "Type 'class a' has no member 'y'."},
        {"class a { def __getitem__(k) { } def __setitem__(k, v) { } } a().y; a().y = 1;", ""},
        {"class a { } class b : a { y = 1; } def f(a p) { return p.y; } b().y;", ""},
        {"class a { } class b : a { y = 1; } x = a(); x.y;", "Type 'class a' has no member 'y'."},
        {"class a { private x = 1; } p = a(); p.x;", "Member 'x' of class 'a' is private."},
        {"class a { private x = 1; } p = a(); p.x = 2;", "Member 'x' of class 'a' is private."},
        {"class a { private def x() { } } p = a(); p.x();", "Member 'x' of class 'a' is private."},
        {"class a { private x = 1; def f(o) { return x + o.x; } } "
         "class b : a { def g() { return this.x + (() { return x; })(); } }",
         ""},
        {"class a { def f() { } } p = a(); p.f = 1;", "Cannot assign to method 'f' of class 'a'."},
        {"def f() { } f.x = 1;", "Cannot assign to 'x', a function has no members."},
        {"class a { int x = 1; } p = a(); p.x = \"b\";", "Cannot assign string to 'x', it is int."},
        {"class a { int x = 1; def f() { x = 2; x = 2.5; } }",
         "Cannot assign float to 'x', it is int."},
        {"class a { string x = None; def f() { x = None; } } a().x = None;", ""},
        {"class a { int x = \"b\"; }", "Cannot assign string to 'x', it is int."},
        {"x = 5; x.y = 1;",
         "Setting member 'y' turns this int into a json object. Initialize it with [] (or "
         "std.json()) instead."},
        {"x = 5; x[\"y\"] = 1;",
         "Setting an element turns this int into a json object. Initialize it with [] (or "
         "std.json()) instead."},
        {"x = \"abc\"; x[0] = \"b\";", ""},
        {"x = []; x.y = 1; x[\"z\"] = 2; y = std.json(); y.a = 1;", ""},
    });
}

TEST(strict_finding, lists_and_maps) {
    expect_findings({
        {"x = [1, 2]; x.name = 1;", "A list has no keys, 'name' makes it a map."},
        {"x = [1, 2]; x[\"name\"] = 1;", "A list has no keys, 'name' makes it a map."},
        {"list<int> x = []; x.name = 1;", "A list<int> has no keys, 'name' makes it a map."},
        {"list<int> x = [1, a = 2];", "A list<int> has no keys, 'a' makes it a map."},
        {"map<int> x = [a = 1, 2];", "Element 2 has no key ('name = value')."},
        {"list<int> x = [1, \"a\"];", "Element of this list<int> has to be int, not string."},
        {"list<int> x = []; x.push(1); x.push(\"a\");",
         "Element of this list<int> has to be int, not string."},
        {"list<int> x = [1]; x[0] = 2; x[0] = \"a\";",
         "Element of this list<int> has to be int, not string."},
        {"map<float> x = []; x.a = 1; x.b = \"b\";",
         "Element of this map<float> has to be float, not string."},
        {"list<int> x = [1]; y = x[0] - \"a\";",
         "'-' cannot be used with int and string ('int - string')." CONVERT},
        {"list<thing> x = [];", "Unknown element type 'thing'."},
        {"class thing { } list<thing> x = [thing()]; list<any> y = [1, \"a\"]; list z = [1, []];",
         ""},
        {"x = [a = 1]; x.b;", "Type 'map' has no member 'b'."},
        {"x = [1, 2]; x.first();", "Type 'list' has no member 'first'."},
        {"x = [1, 2]; x.push(1); x.push_back(2); x.push_cyclic(3, 2); x.erase(0); y = x.copy();",
         ""},
        {"x = [1, 2]; x.push();", "Not enough arguments for push (0 given, 1 required)."},
        {"x = [a = 1]; x.b = 2; x.b; x.c ?? 1; x.a; x.size();", ""},
        {"x = [a = 1]; y = x; y.b = 1; x.b;", ""},
        {"x = [a = 1]; x[std.env(\"A\")] = 1; x.b;", ""},
        {"def f(o) { } x = [a = 1]; f(x); x.b;", ""},
        {"x = [a = 1]; def f() { x.b = 1; } f(); x.b;", ""},
        {"def f() { x = [a = 1]; g = () { x.b = 1; }; g(); x.b; }", ""},
        {"x = [a = 1]; for (i = 0; i < 2; i++) { if (i > 0) x.b; x.b = 1; }", ""},
        {"x = [a = [b = 1]]; x.a.c;", ""},
    });
}

TEST(strict_finding, calls) {
    expect_findings({
        {"def f(int a, b = 1) { } f(\"x\");", "Argument 1 ('a') of f has to be int, not string."},
        {"def f(int a, string b = \"\") { } f(1, b = 2);",
         "Argument 2 ('b') of f has to be string, not int."},
        {"class v { } def f(v a) { } f(v()); f(None); f(1);",
         "Argument 1 ('a') of f has to be class v, not int."},
        {"class v { } class w { } def f(v a) { } f(w());",
         "Argument 1 ('a') of f has to be class v, not class w."},
        {"class v { } class w : v { } def f(v a) { } f(w()); def g(w a) { } def h(v a) { g(a); }",
         ""},
        {"def f(int a, float b, bool c, any d, object e, function g, json h) { } "
         "f(true, 1, 1 < 2, [], [], f, [1]);",
         ""},
        {"def f(bool a) { } f(1);", "Argument 1 ('a') of f has to be bool, not int."},
        {"def f(int a) { } f(None);", "Argument 1 ('a') of f has to be int, not None."},
        {"def f(int a = None) { } f(None);", ""},
        {"f = (a, b) { }; f(1);", "Not enough arguments for f (1 given, 2 required)."},
        {"f = (a, b = 1) { }; f(1, 2, 3);", "Too many arguments for f (3 given, at most 2)."},
        {"class v { def f(a) { } } v().f();", "Not enough arguments for f (0 given, 1 required)."},
        {"class v { def f(a) { } } class w : v { def f(a, b = 1) { } } def g(v x) { x.f(1, 2); }",
         ""},
        {"class v { def __init__(a) { } } v(1, 2);",
         "Too many arguments for the constructor of class 'v' (2 given, at most 1)."},
        {"class v { } v(1);", "Class 'v' has no __init__ and takes no arguments (1 given)."},
        {"class v { abstract def f() { } } v();",
         "Class 'v' cannot be instantiated, the abstract method 'f' is not implemented."},
        {"class v { abstract def f() { } } class w : v { def f() { } } w();", ""},
        {"interface i { } i();",
         "'i' is an interface, it is only a type: it has no value at runtime and cannot be "
         "instantiated."},
        {"x = 5; x();", "'x' is not a function (int)."},
        {"class v { } v()();", "This value is not a function (class v)."},
        {"std.sort();", "Not enough arguments for sort (0 given, 1 required)."},
        {"lamp.color.mix(1, 2, 3, 4);", "Too many arguments for mix (4 given, at most 3)."},
        {"using lamp; on(1, 2, 3); color.mix(1, 2);", ""},
        {"\"abc\".size(1);", "Too many arguments for size (1 given, at most 0)."},
        {"def f(x) { x(1, 2); x.y(1); x.y.z()(2); unknown.thing(x); }", ""},
    });
}

TEST(strict_finding, assignment) {
    expect_findings({
        {"int x = \"a\";", "Variable 'x' is int, cannot assign string."},
        {"int x = 1; x = 2.5;", "Variable 'x' is int, cannot assign float."},
        {"string x = \"a\"; x += 1; x = 1;", "Variable 'x' is string, cannot assign int."},
        {"int x = 1; x = None;", "Variable 'x' is int, cannot assign None."},
        {"list<int> x = [1]; x = [a = 1];", "A list<int> has no keys, 'a' makes it a map."},
        {"int x = 1; def f() { x = \"a\"; }", "Variable 'x' is int, cannot assign string."},
        {"class v { } v x = None; x = v(); x = 1;", "Variable 'x' is class v, cannot assign int."},
        {"float x = 1; int y = true; json z = []; z = [a = 1]; any u = 1; u = \"a\";", ""},
        {"x = 1; x = \"a\"; x = [x];", ""},
    });
}

TEST(strict_finding, functions) {
    expect_findings({
        {"float f(a) { if (a > 1) { return 1; } }",
         "Not all code paths of 'f' return a value (it is declared float)."},
        {"float f(a) { if (a > 1) { return 1; } else { return 2; } }", ""},
        {"float f(a) { if (a > 1) { return 1; } std.raise(\"no\"); }", ""},
        {"def no() { std.raise(\"no\"); } float f(a) { if (a > 1) { return 1; } no(); }", ""},
        {"float f(a) { for (true) { if (a > 1) return 1; } }", ""},
        {"float f(a) { for (true) { if (a > 1) break; } }",
         "Not all code paths of 'f' return a value (it is declared float)."},
        {"float f(a) { try { return a; } catch (e) { } }",
         "Not all code paths of 'f' return a value (it is declared float)."},
        {"void f() { return 1; }", "'f' is declared void but returns a value."},
        {"void f() { return; }", ""},
        {"int f() { return \"a\"; }", "'f' has to return a value of type int, not string."},
        {"int f() { return; }", "'f' has to return a value of type int."},
        {"list<int> f() { return [1, \"a\"]; }",
         "Element of this list<int> has to be int, not string."},
        {"def f(int a = \"x\") { }",
         "Default value of parameter 'a' of f has to be int, its default value is string."},
        {"def f(int a = 1, b = a - \"x\") { }",
         "'-' cannot be used with int and string ('int - string')." CONVERT},
        {"int f() { return 1; } x = f() - \"a\";",
         "'-' cannot be used with int and string ('int - string')." CONVERT},
        {"def f() { return 1; } x = f() - \"a\";",
         "'-' cannot be used with int and string ('int - string')." CONVERT},
        {"f = (int a) { return a - \"x\"; };",
         "'-' cannot be used with int and string ('int - string')." CONVERT},
    });
}

TEST(strict_finding, classes) {
    const char* no_super =
        "'b.__init__' does not call super.__init__(...) of 'a' (base "
        "constructors are not called automatically).";
    expect_findings({
        {"class a { def __init__() { } } class b : a { def __init__() { } }", no_super},
        {"class a { def __init__() { } } class m : a { } class b : m { def __init__() { } }",
         no_super},
        {"class a { def __init__() { } } class b : a { def __init__() { super.__init__(); } }", ""},
        {"class a { } class b : a { def __init__() { } }", ""},
        {"class a { def __init__() { } } class b : a { }", ""},
        {"class a { def __init__() { return 1; } }",
         "The constructor of class 'a' returns a value, its result is never used."},
        {"class a { def __deinit__(x) { } }",
         "'a.__deinit__' is called without arguments, it cannot have parameters."},
        {"class a { void __deinit__() { } }",
         "'a.__deinit__' declares a return type, its result is never used."},
        {"class a { def __deinit__() { return 1; } }",
         "'a.__deinit__' returns a value, its result is never used."},
        {"class a { def f(x) { } } class b : a { def f(x, y) { } }",
         "'b.f' takes 2 parameter(s), the method it overrides in 'a' takes 1."},
        {"class a { def f(x) { } } class b : a { def f() { } }",
         "'b.f' takes 0 parameter(s), the method it overrides in 'a' takes 1."},
        {"class a { def f(x) { } } class b : a { def f(x, y = 1) { } }", ""},
        {"class a { int f() { return 1; } } class b : a { string f() { return \"a\"; } }",
         "'b.f' returns string, the method it overrides in 'a' returns int."},
        {"class a { def __init__(x) { } } class b : a { def __init__() { super.__init__(); } }",
         "Not enough arguments for __init__ (0 given, 1 required)."},
    });
}

TEST(strict_finding, interfaces) {
    const std::string shape = "interface shape { float area(int a) { } } ";
    const strict_row rows[] = {
        {"class b : shape { }", "Class 'b' has no method 'area' of interface 'shape'."},
        {"class b : shape { private float area(int a) { return 1; } }",
         "Method 'area' of class 'b' is private, interface 'shape' needs it public."},
        {"class b : shape { float area(int a, c) { return 1; } }",
         "Method 'area' of class 'b' cannot be called with the parameters of 'shape.area'."},
        {"class b : shape { float area(string a) { return 1; } }",
         "Method 'area' of class 'b' takes string as parameter 'a', interface 'shape' passes int."},
        {"class b : shape { string area(int a) { return \"a\"; } }",
         "Method 'area' of class 'b' returns string, interface 'shape' returns float."},
        {"class b : shape { def area(a, c = 1) { } }", ""},
        {"class a { def area(x) { } } class b : a, shape { }", ""},
        {"interface solid : shape { } class b : solid { }",
         "Class 'b' has no method 'area' of interface 'shape'."},
        {"interface solid : shape { float area() { } }",
         "'solid.area' cannot be called like 'shape.area' of the interface it extends."},
        {"class a { } def f(shape s) { return s.area(1); } f(a());",
         "Argument 1 ('s') of f has to be class shape, not class a."},
        {"class a { def area(x) { } } def f(shape s) { return s.area(1) + s.more; } f(a());", ""},
    };
    strict_findings strict;
    for (const strict_row& row : rows) {
        SCOPED_TRACE(row.source);
        EXPECT_EQ(strict.of(shape + row.source),
                  *row.finding == '\0' ? "" : tvr_join("1: ", row.finding, "\n"));
    }
}

TEST(strict_finding, launches_of_kernels) {
    const std::string kernel =
        "kernel void k(f32* p, f32 g, u32 n, i32 m) { if (gid < n) p[gid] = g + f32(m); } "
        "b = std.buffer(); ";
    const strict_row rows[] = {
        {"k.launch(4, b, 2.0, 1, -1); k.launch([2, 2], b, -0.5, 1, true);", ""},
        {"launch k(b, 2.5, 1, 1) : 4; j = launch async k(b, 2.5, 1, 1) : 4;", ""},
        {"k.launch(4, b, 2.0);",
         "kernel 'k' expects 4 arguments (f32* p, f32 g, u32 n, i32 m) but got 2."},
        {"k.launch();", "launch() of kernel 'k' needs a domain: 'k(count, ...)'."},
        {"k.launch_async();", "launch_async() of kernel 'k' needs a domain: 'k(count, ...)'."},
        {"k.launch(4, b, 2, 1, 1);",
         "argument 2 of kernel 'k' ('g') expects f32 but got the int 2 (write 2.0)."},
        {"launch k(b, -2, 1, 1) : 4;",
         "argument 2 of kernel 'k' ('g') expects f32 but got the int -2 (write -2.0)."},
        {"k.launch(4, b, 2.0, 1, 1.5);",
         "argument 4 of kernel 'k' ('m') expects i32 but got the float 1.5."},
        {"k.launch(4, b, 2.0, -1, 1);",
         "argument 3 of kernel 'k' ('n') is unsigned and cannot be -1."},
        {"k.launch(4, b, \"2\", 1, 1);", "argument 2 of kernel 'k' ('g') cannot be a string."},
        {"k.launch(4, 5, 2.0, 1, 1);",
         "argument 1 of kernel 'k' ('p') expects a std.buffer, not a number."},
        {"def f(x, y) { k.launch(x, y, x, x, y); k.launch(4, y, 1, x, y); }",
         "argument 2 of kernel 'k' ('g') expects f32 but got the int 1 (write 1.0)."},
        {"k(4);", "'k' is not a function (std.kernel)."},
        {"k.lunch(4);", "Type 'std.kernel' has no member 'lunch'."},
        {"k = 5; k.launch();", "Type 'int' has no member 'launch'."},
    };
    strict_findings strict;
    for (const strict_row& row : rows) {
        SCOPED_TRACE(row.source);
        EXPECT_EQ(strict.of(kernel + row.source),
                  *row.finding == '\0' ? "" : tvr_join("1: ", row.finding, "\n"));
    }
    EXPECT_EQ(strict.of("def above(b) { launch k(b) : 4; }\n" + kernel),
              "1: kernel 'k' expects 4 arguments (f32* p, f32 g, u32 n, i32 m) but got 1.\n");
}

}  // namespace
