#include "front_end.h"

#include <gtest/gtest.h>

namespace {

// A tree on one line: blanks for levels are dropped and children stand in parentheses.
std::string flat(const std::string& tree) {
    std::string out;
    size_t depth = 0, at = 0;
    while (at < tree.size()) {
        const size_t end = tree.find('\n', at);
        const size_t text = tree.find_first_not_of(' ', at);
        const size_t level = (text - at) / 2;
        if (level > depth) out += " (";
        for (size_t i = level; i < depth; ++i) out += ")";
        if (level <= depth && !out.empty()) out += ", ";
        out += tree.substr(text, end - text);
        depth = level;
        at = end + 1;
    }
    return out + std::string(depth, ')');
}

struct row {
    const char* source;
    const char* tree;
};

void check(const std::vector<row>& rows) {
    for (const row& r : rows) EXPECT_EQ(flat(front_end().tree(r.source)), r.tree) << r.source;
}

// Sources that mean the same.
void check_same(const std::vector<std::pair<const char*, const char*>>& rows) {
    for (const auto& [one, other] : rows) {
        const std::string tree = front_end().tree(one);
        EXPECT_EQ(tree, front_end().tree(other)) << one;
        EXPECT_NE(tree.rfind("error", 0), 0u) << one << ": " << tree;
    }
}

TEST(tree, operators_bind_by_the_table) {
    check_same({
        {"a - b - c;", "(a - b) - c;"},
        {"a * b ^ c;", "a * (b ^ c);"},
        {"a & b == c;", "(a & b) == c;"},
        {"a | b + c % d;", "(a | b) + (c % d);"},
        {"a || b && c == d < e + f * g ^ h;", "a || (b && (c == (d < (e + (f * (g ^ h))))));"},
        {"a ^ b * c + d <= e != f && g || h;", "(((((((a ^ b) * c) + d) <= e) != f) && g) || h);"},
        {"a ?? b || c;", "a ?? (b || c);"},
        {"a ?? b ?? c;", "(a ?? b) ?? c;"},
        {"a ?? b ? c : d;", "(a ?? b) ? c : d;"},
        {"a ? b : c ? d : e;", "a ? b : (c ? d : e);"},
        {"a ? b ? c : d : e;", "a ? (b ? c : d) : e;"},
        {"x = a ? b : c;", "x = (a ? b : c);"},
        {"x = y = z;", "x = (y = z);"},
        {"x += y -= z;", "x += (y -= z);"},
        {"-a.b * !c[0];", "(-(a.b)) * (!(c[0]));"},
        {"- -a;", "-(-a);"},
        {"~a + b;", "(~a) + b;"},
        {"&a.b;", "&(a.b);"},
        {"*a + b;", "(*a) + b;"},
        {"-a++;", "-(a++);"},
        {"a - -1;", "a - (-1);"},
        {"a ? b = 1 : c;", "a ? (b = 1) : c;"},
        {"a\n+\nb\n;", "a + b;"},
    });
    check({
        {"a - b - c;", "binary - (binary - (variable a, variable b), variable c)"},
        {"++a + a--;", "binary + (unary ++ (variable a), unary -- postfix (variable a))"},
    });
}

TEST(tree, numbers) {
    check({
        {"0; 08; 0x1F; 0B101; 0o17;", "int 0, int 8, int 31, int 5, int 15"},
        {"9223372036854775807;", "int 9223372036854775807"},
        {"9223372036854775808;", "int -9223372036854775808"},
        {"0xFFFFFFFFFFFFFFFF;", "int -1"},
        {"-1;", "unary - (int 1)"},
        {"1.; .5; 1.e3; 2f; 1.5F; 1.f; 1e-3;",
         "float 1.0, float 0.5, float 1000.0, float 2.0, float 1.5, float 1.0, float 0.001"},
        {"1e-999;", "float 0.0"},
        {"1.x;", "json_literal .x (int 1)"},
    });
}

TEST(tree, strings) {
    check({
        {"'a\\n\\u00fc\\d';", "string \"a\\nü\\\\d\""},
        {"R\"(a\\n)\";", "string \"a\\\\n\""},
        {"'''a'b\nc''';", "string \"a'b\\nc\""},
        {"'';", "string \"\""},
    });
}

TEST(tree, operands_with_what_stands_behind_them) {
    check({
        {"a.b::c[1](2).if;",
         "json_literal .if (function_call (json (json_literal ::c (json_literal .b (variable a)), "
         "index: int 1), function_call_param (int 2)))"},
        {"f(a, b = 1, c == 2, (d = 3));",
         "function_call (variable f, function_call_param (variable a), function_call_param b = "
         "(int 1), function_call_param (binary == (variable c, int 2)), function_call_param "
         "(assign = (variable d, int 3)))"},
        {"f(&a, *b);",
         "function_call (variable f, function_call_param (unary & (variable a)), "
         "function_call_param (unary * (variable b)))"},
        {"'a'[0].size();",
         "function_call (json_literal .size (json (string \"a\", index: int 0)))"},
        {"this.x; super.f(); True; None;",
         "json_literal .x (variable this), function_call (json_literal .f (variable super)), "
         "variable True, variable None"},
        {"a[i = 1];", "json (variable a, index: assign = (variable i, int 1))"},
        {"int(x);", "function_call (variable int, function_call_param (variable x))"},
    });
}

TEST(tree, lists) {
    check({
        {"[];", "initializer_list"},
        {"[1, a,];",
         "initializer_list (initializer_list_add (int 1), initializer_list_add (variable a))"},
        {"['a\\n': 1, b = 2, if: 3, 'c' = 4];",
         "initializer_list (initializer_list_add \"a\\n\" = (int 1), initializer_list_add \"b\" = "
         "(int 2), initializer_list_add \"if\" = (int 3), initializer_list_add \"c\" = (int 4))"},
        {"[a ? b : c, a == b, (a = b)];",
         "initializer_list (initializer_list_add (ternary (condition: variable a, true: variable "
         "b, "
         "false: variable c)), initializer_list_add (binary == (variable a, variable b)), "
         "initializer_list_add (assign = (variable a, variable b)))"},
        {"[a = [b = 1]];",
         "initializer_list (initializer_list_add \"a\" = (initializer_list (initializer_list_add "
         "\"b\" = (int 1))))"},
    });
}

TEST(tree, assignments_and_keywords) {
    check({
        {"var x = 1;", "assign = [var] (variable x, int 1)"},
        {"private managed x = 1;", "assign = [private managed] (variable x, int 1)"},
        {"foo bar = 1;", "assign = [foo] (variable bar, int 1)"},
        {"int x = 1; list<float> y = [];",
         "assign = [int] (variable x, int 1), assign = [list<float>] (variable y, "
         "initializer_list)"},
        {"var x; let y, z;", "variable x [var], multi_command (variable y [let], variable z)"},
        {"a.b[0] += 1;", "assign += (json (json_literal .b (variable a), index: int 0), int 1)"},
        {"*r = v;", "assign = (unary * (variable r), variable v)"},
        {"1 = 2;", "assign = (int 1, int 2)"},
        {"list < a > b;", "variable b [list<a>]"},
    });
}

TEST(tree, statements) {
    check({
        {";;; a;", "variable a"},
        {"a", "variable a"},
        {"{ a; { } }", "sub_block (variable a, sub_block)"},
        {"if (a) x = 1; else y = 2;",
         "condition_stack (condition (variable a, body: sub_block (assign = (variable x, int 1))), "
         "else: sub_block (assign = (variable y, int 2)))"},
        {"if (a) { } else if (b) c; else { d; }",
         "condition_stack (condition (variable a, body: sub_block), condition (variable b, body: "
         "sub_block (variable c)), else: sub_block (variable d))"},
        {"if (a); else ;",
         "condition_stack (condition (variable a, body: sub_block), else: sub_block)"},
        {"if (a) if (b) c; else d;",
         "condition_stack (condition (variable a, body: sub_block (condition_stack (condition "
         "(variable b, body: sub_block (variable c)), else: sub_block (variable d)))))"},
        {"for (a);", "loop (condition: variable a, body: sub_block)"},
        {"for (i = 0, j = 1; i < 3; i++, j--) { continue; }",
         "loop (initializer: multi_command (assign = (variable i, int 0), assign = (variable j, "
         "int "
         "1)), condition: binary < (variable i, int 3), increment: multi_command (unary ++ postfix "
         "(variable i), unary -- postfix (variable j)), body: sub_block (continue))"},
        {"for (;a;) break;", "loop (condition: variable a, body: sub_block (break))"},
        {"for (var i = 0; i < 3;) { }",
         "loop (initializer: assign = [var] (variable i, int 0), condition: binary < (variable i, "
         "int 3), body: sub_block)"},
        {"try f(); catch (e) { g(); }",
         "try_catch e (try: sub_block (function_call (variable f)), catch: sub_block "
         "(function_call "
         "(variable g)))"},
        {"return; return a = 1;", "return, return (assign = (variable a, int 1))"},
        {"using std; import a.b::c;", "using_namespace std, using_namespace import a.b.c"},
        {"if (a) #define X 1\nb;",
         "condition_stack (condition (variable a, body: sub_block (variable b)))"},
    });
}

TEST(tree, functions) {
    check({
        {"def f() { }", "function_def f (body: sub_block)"},
        {"def f(a, int b = 1, &c, list<A> &d, map<int> e, A g, var h) noexcept { } class A { }",
         "function_def f noexcept (function_def_param a, function_def_param b int (default: int "
         "1), "
         "function_def_param &c, function_def_param &d list<A>, function_def_param e map<int>, "
         "function_def_param g A, function_def_param h [var], body: sub_block), class_def A"},
        {"private abstract float area() { }",
         "function_def area returns float [private abstract] (body: sub_block)"},
        {"public def f() { }", "function_def f [public] (body: sub_block)"},
        {"map<string> f() { }", "function_def f returns map<string> (body: sub_block)"},
        {"import shapes; Circle f(Square s) { }",
         "using_namespace import shapes, function_def f returns Circle (function_def_param s "
         "Square, "
         "body: sub_block)"},
        {"def launch(kernel) { }",
         "function_def launch (function_def_param kernel, body: sub_block)"},
        {"f = (a) { return a; }; g;",
         "assign = (variable f, function_def lambda (function_def_param a, body: sub_block (return "
         "(variable a)))), variable g"},
        {"f = () noexcept { }",
         "assign = (variable f, function_def lambda noexcept (body: sub_block))"},
        {"f = (a) { }(1);",
         "assign = (variable f, function_def lambda (function_def_param a, body: "
         "sub_block)), int 1"},
        {"((a) { })(1);",
         "function_call (function_def lambda (function_def_param a, body: sub_block), "
         "function_call_param (int 1))"},
        {"f(\n(a)\n{ }, def (b) { });",
         "function_call (variable f, function_call_param (function_def lambda (function_def_param "
         "a, "
         "body: sub_block)), function_call_param (function_def lambda (function_def_param b, body: "
         "sub_block)))"},
        {"def (a) { }", "function_def lambda (function_def_param a, body: sub_block)"},
    });
}

TEST(tree, classes) {
    check({
        {"class A { }", "class_def A"},
        {"class B : A, I { x = 0; private y = 1; def __init__() { super.__init__(); } }",
         "class_def B : A, I (assign = (variable x, int 0), assign = [private] (variable y, int "
         "1), "
         "function_def __init__ (body: sub_block (function_call (json_literal .__init__ (variable "
         "super)))))"},
        {"struct S { a; }", "class_def S (variable a)"},
        {"abstract class A { }", "class_def A [abstract]"},
        {"interface I : J { float area() {} }",
         "class_def interface I : J (function_def area returns float (body: sub_block))"},
    });
}

TEST(tree, keeps_what_its_nodes_point_at) {
    front_end scope;
    std::unique_ptr<tvr_ast> ast;
    {
        tvr_lexer lexer;
        ast = lexer.load_source("#define A (name)\nx = A;\n", "show.tvio");
    }
    const auto& assign = ast->roots[0]->as<tvr_ast_node_assign>();
    const auto& name = assign.value->as<tvr_ast_node_variable>();
    EXPECT_EQ(name.name(), "name");
    EXPECT_EQ(name.start->line, 1u);
    EXPECT_EQ(name.start->macro_origin()->line, 2u);
    EXPECT_EQ(name.start->view()->path, "show.tvio");
}

TEST(tree, nodes_start_at_their_first_token) {
    front_end scope;
    tvr_lexer lexer;
    const auto ast = lexer.load_source("var x = a.b + c; private int f() { } (a)(1);");
    ASSERT_NE(ast, nullptr);
    EXPECT_EQ(ast->roots[0]->start->text(), "var");
    EXPECT_EQ(ast->roots[0]->as<tvr_ast_node_assign>().value->start->text(), "a");
    EXPECT_EQ(ast->roots[1]->start->text(), "private");
    EXPECT_EQ(ast->roots[2]->start->text(), "a");
    EXPECT_EQ(get_start_token_safe(nullptr), nullptr);
}

TEST(commands, tell_their_text) {
    front_end scope;
    tvr_lexer lexer;
    const auto commands = lexer.stage_2(lexer.stage_1("var x\n= f(a\n, 'b');", "<memory>"));
    ASSERT_NE(commands, nullptr);
    const tvr_src_command& statement = *commands->begin();
    EXPECT_EQ(statement.get_str(), "var x=f(a,\"b\")");
    EXPECT_EQ(statement.get_token(2)->text(), "=");
    EXPECT_EQ(statement.get_token(99), nullptr);
    EXPECT_EQ((&statement + 1)->get_str(), "(a,\"b\")");
}

}  // namespace
