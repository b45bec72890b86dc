#include "front_end.h"

#include <gtest/gtest.h>

// Everything that a script can say wrong, with the exact message and place.

namespace {

struct row {
    const char* source;
    const char* message;
    uint32_t line, column;
};

void check(const std::vector<row>& rows) {
    for (const row& r : rows) {
        SCOPED_TRACE(r.source);
        front_end scope;
        EXPECT_EQ(scope.tree(r.source), std::string("error: ") + r.message);
        EXPECT_EQ(scope.finding.line, r.line);
        EXPECT_EQ(scope.finding.column, r.column);
        // One report; what else is said are the lines of the stages.
        size_t reports = 0;
        for (const std::string& error : scope.log.errors)
            reports += error.rfind("*** Syntax Error ***", 0) == 0;
        EXPECT_EQ(reports, 1u);
    }
}

TEST(syntax_errors, brackets) {
    check({
        {"}", "Invalid closing bracket: }", 1, 1},
        {"f(a]);", "Invalid closing bracket: ]", 1, 4},
        {"x = (1;", "Cannot find closing bracket.", 1, 5},
        {"x = [1, (2];", "Cannot find closing bracket.", 1, 9},
        {"def f() {\n g(1;\n}", "Cannot find closing bracket.", 2, 3},
        {"def f() {\n g(1));\n}", "Invalid closing bracket: )", 2, 6},
        {"def f() {", "Cannot find closing bracket.", 1, 9},
        {"{ ( [ )", "Cannot find closing bracket.", 1, 1},
        {"(\"(\";", "Cannot find closing bracket.", 1, 1},
        {"if (a { x; }", "Cannot find closing bracket for 'if'.", 1, 4},
        {"for (a;", "Cannot find closing bracket for 'for'.", 1, 5},
        {"try { } catch (e", "Cannot find closing bracket for 'catch'.", 1, 15},
        {"if (a)\n{ x;", "Cannot find closing bracket for code block.", 2, 1},
        {"if (a) { } else { x;", "Cannot find closing bracket for code block.", 1, 17},
        {"try {", "Cannot find closing bracket for code block.", 1, 5},
        {"if (f(a)) g(;", "Cannot find closing bracket.", 1, 12},
        // Where both are wrong, the bracket in front is named.
        {"{ if x }", "Expected '()' after 'if'.", 1, 3},
        {"{ if x", "Cannot find closing bracket.", 1, 1},
    });
}

TEST(syntax_errors, heads_and_bodies) {
    check({
        {"if a { }", "Expected '()' after 'if'.", 1, 1},
        {"for { }", "Expected '()' after 'for'.", 1, 1},
        {"try { } catch { }", "Expected '()' after 'catch'.", 1, 9},
        {"if (a) { } else if { }", "Expected '()' after 'if'.", 1, 17},
        {"if (a)", "Expected codeblock after statement.", 1, 7},
        {"{ for (a) }", "Expected codeblock after statement.", 1, 11},
        {"if (a) x; else", "Expected codeblock after statement.", 1, 15},
        {"try", "Expected codeblock after statement.", 1, 4},
        {"else { }", "Invalid statement.", 1, 1},
        {"if (a) { }; else { }", "Invalid statement.", 1, 13},
        {"if () { }", "if statement without condition", 1, 4},
        {"if (a, b) { }", "Invalid condition", 1, 6},
        {"if (a; b) { }", "Invalid condition", 1, 6},
        {"if (a b) { }", "Unexpected token 'b' after expression (missing operator or ';'?).", 1, 7},
        {"break;", "Invalid statement.", 1, 1},
        {"if (a) continue;", "Invalid statement.", 1, 8},
        {"for (a) { f = () { break; }; }", "Invalid statement.", 1, 20},
        {"for (a) { class A { x = 0; continue; } }", "Invalid statement.", 1, 28},
        {"for (a) break 2;", "Unexpected token '2' after expression (missing operator or ';'?).", 1,
         15},
        {"return 1, 2;", "Unexpected token ',' after expression (missing operator or ';'?).", 1, 9},
    });
}

TEST(syntax_errors, loops) {
    check({
        {"for () { }", "Loop needs a condition.", 1, 6},
        {"for (;;) { }", "Loop needs a condition.", 1, 7},
        {"for (a;) { }", "Loop needs a condition.", 1, 8},
        {"for (a; b) { }", "Invalid for condition", 1, 10},
        {"for (a; b, c; d) { }", "Invalid for condition", 1, 10},
        {"for (a, b) { }", "Invalid for condition", 1, 10},
        {"for (a; b; c; d) { }", "Invalid for condition", 1, 13},
        {"for (a; b;;) { }", "Invalid for condition", 1, 11},
        {"for (x : list) { }", "Unexpected token ':' after expression (missing operator or ';'?).",
         1, 8},
        {"for (;a b;) { }", "Unexpected token 'b' after expression (missing operator or ';'?).", 1,
         9},
        {"while (a) { }", "'while' is not supported, use 'for (condition) { ... }'.", 1, 1},
    });
}

TEST(syntax_errors, reserved_words) {
    check({
        {"x = new Foo();", "'new' is not supported, call the class directly: 'Name(...)'.", 1, 5},
        {"new Foo();", "'new' is not supported, call the class directly: 'Name(...)'.", 1, 1},
        {"switch (a) { }", "'switch' is not supported, use 'if / else if / else'.", 1, 1},
        {"x = nil;", "'nil' does not exist, use 'None'.", 1, 5},
        {"f(nullptr);", "'nullptr' does not exist, use 'None'.", 1, 3},
        {"x = if;", "Invalid expression", 1, 5},
        {"x = class;", "Invalid expression", 1, 5},
        {"x = y + var;", "Invalid expression", 1, 9},
        {"var = 5;", "Cannot parse left side of assignment.", 1, 1},
        {"x = foo\nreturn x;",
         "Unexpected token 'return' after expression (missing operator or ';'?).", 2, 1},
    });
}

TEST(syntax_errors, try_and_catch) {
    check({
        {"try { }", "Invalid try block.", 1, 1},
        {"try { } x;", "Invalid try block.", 1, 1},
        {"try { } catch () { }", "Invalid catch condition", 1, 15},
        {"try { } catch (a b) { }", "Cannot parse catch condition.", 1, 16},
        {"try { } catch (5) { }", "Cannot parse catch condition.", 1, 16},
        {"try { } catch (if) { }", "Cannot parse catch condition.", 1, 16},
        {"catch (e) { }", "catch without try.", 1, 1},
        {"try { } catch (e) { } catch (f) { }", "catch without try.", 1, 23},
    });
}

TEST(syntax_errors, operators) {
    check({
        {"x + = 1;", "Invalid operator '+'.", 1, 3},
        {"x = 1 +;", "Invalid operator '+'.", 1, 7},
        {"x = 1 + * 2;", "Invalid operator '*'.", 1, 9},
        {"x = 2 ** 3;", "Invalid operator '*'.", 1, 8},
        {"x = 2 ** \"a\";", "Invalid operator '*'.", 1, 8},
        {"f(&5);", "Invalid operator '&'.", 1, 3},
        {"x = / 2;", "Invalid operator '/'.", 1, 5},
        {"x = a == ;", "Invalid operator '=='.", 1, 7},
        {"x = !;", "Invalid operator '!'.", 1, 5},
        {"x = -;", "Invalid operator '-'.", 1, 5},
        {"f(a ??, b);", "Invalid operator '\?\?'.", 1, 5},
        {"x = a ? b;", "Invalid operator '?'.", 1, 7},
        {"x = a ? : b;", "Invalid operator '?'.", 1, 7},
        {"x = a ? b :;", "Invalid operator ':'.", 1, 11},
        {"x = a << 1;", "Unexpected token '<<' after expression (missing operator or ';'?).", 1, 7},
        {"x = a -> b;", "Unexpected token '->' after expression (missing operator or ';'?).", 1, 7},
        {"x = a ! b;", "Unexpected token '!' after expression (missing operator or ';'?).", 1, 7},
        {"x = @;", "Unknown symbol.", 1, 5},
        {"x = #;", "Invalid directive.", 1, 5},
        {"x = \\;", "Unknown symbol.", 1, 5},
        {", x;", "Invalid token.", 1, 1},
        {"x = { };", "Cannot parse sub-block.", 1, 5},
        {"x = a { };", "Unexpected token '{' after expression (missing operator or ';'?).", 1, 7},
        {"x = 'a' 'b';", "Unexpected token 'b' after expression (missing operator or ';'?).", 1, 9},
        {"f()\ny = 1;", "Unexpected token 'y' after expression (missing operator or ';'?).", 2, 1},
        {"a b;", "Unexpected token 'b' after expression (missing operator or ';'?).", 1, 3},
    });
}

TEST(syntax_errors, assignments) {
    check({
        {"= 5;", "No value to assign to.", 1, 1},
        {"+= 5;", "No value to assign to.", 1, 1},
        {"x = ;", "Cannot parse right side of assignment.", 1, 3},
        {"x = = 1;", "Cannot parse right side of assignment.", 1, 3},
        {"f(x += );", "Cannot parse right side of assignment.", 1, 5},
        {"x = y = ;", "Cannot parse right side of assignment.", 1, 7},
        {"var x += 1;", "Cannot use assignment keywords with compound assignment.", 1, 1},
        {"var a.b = 1;", "Assign keywords are not valid for this expression.", 1, 1},
        {"public var a[1] = 1;", "Assign keywords are not valid for this expression.", 1, 1},
        {"var a.b;", "Unexpected token 'a' after expression (missing operator or ';'?).", 1, 5},
    });
}

TEST(syntax_errors, numbers) {
    check({
        {"x = 12ab;", "Invalid number literal '12ab'.", 1, 5},
        {"x = 0x;", "Invalid number literal '0x'.", 1, 5},
        {"x = 0b12;", "Invalid number literal '0b12'.", 1, 5},
        {"x = 0o8;", "Invalid number literal '0o8'.", 1, 5},
        {"x = 0xg;", "Invalid number literal '0xg'.", 1, 5},
        {"x = 1_000;", "Invalid number literal '1_000'.", 1, 5},
        {"x = 1e5f;", "Invalid number literal '1e5f'.", 1, 5},
        {"x = 1.5x;", "Invalid number literal '1.5x'.", 1, 5},
        {"x = 1e999;", "Invalid number literal '1e999'.", 1, 5},
        {"x = 18446744073709551616;",
         "Integer literal '18446744073709551616' is out of range (64 bit).", 1, 5},
        {"x = 0x10000000000000000;",
         "Integer literal '0x10000000000000000' is out of range (64 bit).", 1, 5},
    });
}

TEST(syntax_errors, calls_members_and_lists) {
    check({
        {"f(a,);", "Cannot parse argument.", 1, 4},
        {"f(, a);", "Cannot parse argument.", 1, 3},
        {"f(a,, b);", "Cannot parse argument.", 1, 5},
        {"f(a = );", "Cannot parse argument.", 1, 7},
        {"f(a b);", "Unexpected token 'b' after expression (missing operator or ';'?).", 1, 5},
        {"f(a; b);", "Unexpected token ';' after expression (missing operator or ';'?).", 1, 4},
        {"5(1);", "Invalid function call", 1, 2},
        {"'a'(1);", "Invalid function call", 1, 4},
        {"5[1];", "Invalid '[]' expression.", 1, 2},
        {"a[];", "No expression inside json.", 1, 2},
        {"a[1, 2];", "Too many expressions inside bracket.", 1, 4},
        {"();", "Too few expressions inside bracket.", 1, 1},
        {"x = (1, 2);", "Too many expressions inside bracket.", 1, 7},
        {"a.;", "Missing name after '.'.", 1, 2},
        {"a::'b';", "Missing name after '::'.", 1, 2},
        {"x = [1,, 2];", "Cannot parse initializer list.", 1, 8},
        {"x = [,];", "Cannot parse initializer list.", 1, 6},
        {"x = [a = ];", "Cannot parse initializer list.", 1, 10},
        {"x = [1 2];", "Unexpected token '2' after expression (missing operator or ';'?).", 1, 8},
        {"x = [1: 2];", "Unexpected token ':' after expression (missing operator or ';'?).", 1, 7},
    });
}

TEST(syntax_errors, functions) {
    check({
        {"foo(a) { }", "Cannot parse function call or def.", 1, 1},
        {"x = foo(a) noexcept { };", "Cannot parse function call or def.", 1, 5},
        {"Foo name(a) { }", "Unknown type: Foo", 1, 1},
        {"def f(Foo a) { }", "Unknown type: Foo", 1, 7},
        {"def if(a) { }", "Cannot define a function named 'if'.", 1, 5},
        {"float this(a) { }", "Cannot define a function named 'this'.", 1, 7},
        {"def;", "Missing name after 'def'.", 1, 1},
        {"public def (a) { }", "Missing name after 'def'.", 1, 8},
        {"def 5(a) { }", "Unknown token in def.", 1, 5},
        {"def a.b() { }", "Unknown token in def.", 1, 5},
        {"def int f() { }", "Unknown token in def.", 1, 5},
        {"def f { }", "Invalid arguments", 1, 7},
        {"def f(a);", "Cannot parse function body.", 1, 8},
        {"int f(a);", "Cannot parse function body.", 1, 8},
        {"def f(1) { }", "Invalid arguments (1)", 1, 7},
        {"def f(a, ) { }", "Invalid arguments (a,)", 1, 8},
        {"def f(a +) { }", "Invalid arguments (a+)", 1, 9},
        {"def f(if) { }", "Invalid arguments (if)", 1, 7},
        {"def f(a, & ) { }", "Invalid arguments (a,&)", 1, 12},
        {"def f(a = ) { }", "Cannot parse default argument.", 1, 9},
        {"def f(a = , b) { }", "Cannot parse default argument.", 1, 9},
        {"def f(a) -> int { }", "Return type definition not supported yet", 1, 10},
        {"int f(a) -> int { }", "Return type definition not supported yet", 1, 10},
        {"x = def name(a) { };", "Cannot parse lambda.", 1, 5},
        {"x = def (a);", "Cannot parse lambda.", 1, 11},
        {"x = (5) { };", "Invalid arguments (5)", 1, 6},
    });
}

TEST(syntax_errors, classes_and_namespaces) {
    check({
        {"class { }", "Missing name after 'class'.", 1, 1},
        {"class if { }", "Missing name after 'class'.", 1, 1},
        {"interface 5 { }", "Missing name after 'interface'.", 1, 1},
        {"class A : { }", "Missing base class name after ':'.", 1, 9},
        {"class A : B, { }", "Missing base class name after ','.", 1, 12},
        {"class A;", "Cannot parse class body.", 1, 7},
        {"class A, B { }", "Cannot parse class body.", 1, 8},
        {"struct { }", "Unknown struct definition.", 1, 1},
        {"struct A : { }", "Unknown struct definition.", 1, 10},
        {"cstruct A { }", "implement cstructs!", 1, 1},
        {"using;", "Missing name after 'using'.", 1, 1},
        {"import a.;", "Missing name after '.'.", 1, 9},
        {"using 'a';", "Missing name after 'using'.", 1, 1},
        {"using a, b;", "Unexpected token ',' after expression (missing operator or ';'?).", 1, 8},
    });
}

TEST(syntax_errors, directives) {
    check({
        {"#define", "Invalid directive.", 1, 1},
        {"#define 5 1", "Invalid directive.", 1, 1},
        {"#undef A", "Invalid directive.", 1, 1},
        {"#define A (1", "Cannot find closing bracket.", 1, 11},
        {"#define A 1)", "Invalid closing bracket: )", 1, 12},
    });
}

TEST(syntax_errors, a_source_has_a_largest_size) {
    front_end scope;
    EXPECT_EQ(scope.tree(std::string((size_t(64) << 20) + 1, ' ')),
              "error: The source is too large (limit 64 MiB).");
}

}  // namespace
