#include "front_end.h"

#include <gtest/gtest.h>

#include "frontend/source/source_excerpt.h"

namespace {

// Takes the declarations and puts one statement for each into the unit.
class remembering_hook : public tvr_declaration_hook {
public:
    void take(const std::vector<tvr_declaration>& declarations,
              std::vector<tvr_declared_statement>& statements, std::string& error,
              const tvr_src_token*& place) override {
        for (const tvr_declaration& declaration : declarations) {
            found += tvr_join(int(declaration.form), " ", declaration.name.text(), " ",
                              declaration.start.view()->path, ":", declaration.start.line, ":",
                              declaration.start.column, " <", declaration.text, ">\n");
            statements.push_back(
                {tvr_join(declaration.name.text(), " = taken;"), &declaration.start});
        }
        error = refuse;
        if (!refuse.empty()) place = &declarations.back().start;
    }

    std::string found, refuse;
};

TEST(declarations, are_cut_out_of_the_script) {
    const char* sources[] = {
        "a; kernel void fill(f32* p) { if (gid > 1u) { p[gid] = 1.0e3f; } } b;",
        "a; kernel i64 sum(const f32* p) reduce(+) { return i64(p[gid]); }\nb;",
        "a;\nkernel\nstruct Pos { f32 x; f32 y[4]; }\nb;",
        "a; kernel cstruct Pos { f32 x; } b;",
        "a; kernel const u32 N = 5 << 2; b;",
        "a; kernel inline f32 twice(f32 x) { return x * 2.0f; } b;",
        "a; kernel u8* bad(u8* p) { } b;",
        "#define X 1\nkernel void f() { }\na; b;",
        "def f() { }\nkernel void f() { } a; b;",
    };
    for (const char* source : sources) {
        const std::string tree = front_end().tree(source);
        EXPECT_NE(tree.find("variable a\nvariable b\n"), std::string::npos) << source << tree;
        EXPECT_EQ(tree.find("kernel"), std::string::npos) << tree;
    }
}

TEST(declarations, kernel_and_launch_are_names_elsewhere) {
    const std::pair<const char*, const char*> rows[] = {
        {"kernel = 1;", "assign =\n  variable kernel\n  int 1\n"},
        {"kernel(x);", "function_call\n  variable kernel\n  function_call_param\n    variable x\n"},
        {"o.kernel.x;", "json_literal .x\n  json_literal .kernel\n    variable o\n"},
        {"x = kernel * y;",
         "assign =\n  variable x\n  binary *\n    variable kernel\n    variable y\n"},
        {"launch = 1;", "assign =\n  variable launch\n  int 1\n"},
        {"launch(x);", "function_call\n  variable launch\n  function_call_param\n    variable x\n"},
        {"o.launch(n);",
         "function_call\n  json_literal .launch\n    variable o\n  function_call_param\n    "
         "variable n\n"},
        {"cstruct = 1;", "assign =\n  variable cstruct\n  int 1\n"},
    };
    for (const auto& [source, tree] : rows) EXPECT_EQ(front_end().tree(source), tree) << source;
}

TEST(declarations, hook_gets_them_in_the_order_of_the_unit) {
    front_end scope;
    scope.files.texts["main.tvio"] =
        "a;\n#include \"lib\"\n  kernel void last(u32 n) { }\nkernel const u32 N = 1;\nb;\n";
    scope.files.texts["lib.tvio"] = "c;\nkernel struct Pos { f32 x; }\nd;\n";
    remembering_hook hook;
    tvr_lexer lexer(&hook);
    const auto ast = lexer.load_file("main.tvio");
    ASSERT_NE(ast, nullptr);
    EXPECT_EQ(hook.found,
              "0 Pos lib.tvio:2:1 <kernel struct Pos { f32 x; }>\n"
              "3 last main.tvio:3:3 <kernel void last(u32 n) { }>\n"
              "1 N main.tvio:4:1 <kernel const u32 N = 1;>\n");
    // What they become stands in front of all else, and is reported where each is declared.
    std::string order;
    for (const tvr_ast_node* node : ast->roots) {
        const tvr_src_token& place = tvr_place_of_use(*node->start);
        order += tvr_join(node->start->text(), " ", place.view()->path, ":", place.line, "\n");
    }
    EXPECT_EQ(order,
              "Pos lib.tvio:2\nlast main.tvio:3\nN main.tvio:4\n"
              "a main.tvio:1\nc lib.tvio:1\nd lib.tvio:3\nb main.tvio:5\n");
}

TEST(declarations, hook_can_refuse) {
    front_end scope;
    remembering_hook hook;
    hook.refuse = "Kernel error: no such type";
    tvr_lexer lexer(&hook);
    EXPECT_EQ(lexer.load_source("kernel void f() { }\nkernel void g() { }"), nullptr);
    EXPECT_EQ(lexer.report.first_error().message, hook.refuse);
    EXPECT_EQ(lexer.report.first_error().line, 2u);
}

TEST(declarations, errors) {
    struct row {
        const char* source;
        const char* message;
        uint32_t line, column;
    };
    const char* nested =
        "kernel declarations are only allowed at the top level of a file (not inside functions, "
        "classes or blocks)";
    const row rows[] = {
        {"kernel struct Pos;", "expected '{' after the struct name", 1, 18},
        {"kernel const u32 N = 1", "missing ';' at the end of the kernel constant", 1, 8},
        {"kernel void f(u32 n);", "kernel declaration without a body ('{ ... }')", 1, 1},
        {"kernel f32 x y", "kernel declaration without a body ('{ ... }')", 1, 1},
        {"\nkernel void f() { if (a) { }", "missing '}' at the end of the kernel declaration", 2,
         1},
        {"kernel void f() {\n#include \"b\"\n}", "a kernel declaration cannot span several files",
         2, 1},
        {"kernel void f() {\n#strict\n}", "a kernel declaration cannot span several files", 2, 1},
        {"def f() { kernel void f() { } }", nested, 1, 11},
        {"def f() { x; kernel void f() { } }", nested, 1, 14},
        {"if (a) kernel void f() { }", nested, 1, 8},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.source);
        front_end scope;
        EXPECT_EQ(scope.tree(r.source), std::string("error: Kernel error: ") + r.message);
        EXPECT_EQ(scope.finding.line, r.line);
        EXPECT_EQ(scope.finding.column, r.column);
    }
}

TEST(declarations, may_not_be_included_into_a_block) {
    front_end scope;
    scope.files.texts["lib.tvio"] = "x;\n kernel void f() { }\n";
    EXPECT_EQ(
        scope.tree("def g() {\n#include lib\n}"),
        "error: Kernel error: kernel declarations are only allowed at the top level of a file "
        "(not inside functions, classes or blocks)");
    EXPECT_EQ(scope.finding.path, "lib.tvio");
    EXPECT_EQ(scope.finding.line, 2u);
}

TEST(launches, stand_where_a_statement_or_value_may) {
    const std::pair<const char*, const char*> rows[] = {
        {"launch k(b, c) : n;", "k.launch(n, b, c);"},
        {"launch k() : n + 1;", "k.launch(n + 1);"},
        {"launch async(b) : n;", "async.launch(n, b);"},
        {"launch async k.m(b) : [w, h];", "k.m.launch_async([w, h], b);"},
        {"launch async async(b) : n;", "async.launch_async(n, b);"},
        {"x = launch k(b) : a ? c : d;", "x = k.launch(a ? c : d, b);"},
        {"x += launch k(b) : n;", "x += k.launch(n, b);"},
        {"def f() { return launch k(b) : n; }", "def f() { return k.launch(n, b); }"},
        {"if (a) launch k(b) : n;", "if (a) k.launch(n, b);"},
    };
    for (const auto& [source, same] : rows)
        EXPECT_EQ(front_end().tree(source), front_end().tree(same)) << source;
}

TEST(launches, errors) {
    const std::pair<const char*, const char*> rows[] = {
        {"launch k.m(b);", "Kernel error: launch needs a domain: 'launch k.m(...) : count;'"},
        {"launch k(b) :;", "Kernel error: launch needs a domain after ':'"},
        {"launch k(b) : 10 20;", "Kernel error: unexpected '20' after the domain"},
        {"f(launch k(b) : 1);",
         "Unexpected token 'k' after expression (missing operator or ';'?)."},
    };
    for (const auto& [source, message] : rows)
        EXPECT_EQ(front_end().tree(source), std::string("error: ") + message);
}

}  // namespace
