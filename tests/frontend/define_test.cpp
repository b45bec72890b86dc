#include "front_end.h"

#include <gtest/gtest.h>

namespace {

std::string same_tree_as(const std::string& text) {
    return front_end().tree(text);
}

TEST(define, a_replacement_is_one_operand) {
    const std::pair<const char*, const char*> rows[] = {
        {"#define S 1 + 2\nx = S * 3;", "x = (1 + 2) * 3;"},
        {"x = S;\n#define S 1\n#define S 2\n", "x = 2;"},
        {"def f() {\n#define S 5\n}\nx = S;", "def f() { } x = 5;"},
        {"#define A B + 1\n#define B 2\nx = A;", "x = 2 + 1;"},
        {"#define A 1 \\\n + 2\nx = A;", "x = 1 + 2;"},
        {"#define A 1 \\\n\nx = A;", "x = 1;"},
        {"#define P std.print\nP(1);", "std.print(1);"},
        {"#define T o.level\nT = 1; T += 2;", "o.level = 1; o.level += 2;"},
        {"#define F (a) { return a; }\nx = F;", "x = (a) { return a; };"},
        {"#define L [1, 2]\nx = L[0];", "x = [1, 2][0];"},
        {"#define N v\nvar N = 1;", "var v = 1;"},
        {"if (a)\n#define S 1\nx = S;", "if (a) x = 1;"},
        {"#define S 1", ""},
    };
    for (const auto& [source, plain] : rows)
        EXPECT_EQ(front_end().tree(source), same_tree_as(plain)) << source;
}

TEST(define, names_in_other_roles_stay) {
    const char* uses[] = {
        "x = o.S;",     "x = o::S;",   "x = [S = 1];", "x = [S: 1];",  "f(S = 1);",
        "def f(S) { }", "def S() { }", "class S { }",  "x = (S) { };", "try { } catch (S) { }",
        "using S;"};
    for (const char* use : uses)
        EXPECT_EQ(front_end().tree(std::string("#define S 1 + 2\n") + use), same_tree_as(use))
            << use;
}

TEST(define, an_empty_one_is_an_empty_statement) {
    EXPECT_EQ(front_end().tree("#define DEBUG\nDEBUG;\n"), "noop\n");
    EXPECT_EQ(front_end().tree("#define DEBUG\nx = DEBUG;\n"), "error: Invalid expression");
}

TEST(define, recursion_and_growth_end) {
    std::string chain = "#define A0 1\n", growth = "#define B0 x\n";
    for (int i = 1; i <= 70; ++i) chain += tvr_join("#define A", i, " A", i - 1, "\n");
    for (int i = 1; i <= 40; ++i)
        growth += tvr_join("#define B", i, " B", i - 1, " + B", i - 1, "\n");
    const std::pair<std::string, const char*> rows[] = {
        {"#define A A\nx = A;", "Recursive #define 'A'."},
        {"#define A B\n#define B (1 + A)\nx = A;", "Recursive #define 'A'."},
        {chain + "x = A70;", "Too many nested #define expansions (limit 64) while expanding 'A6'."},
        {growth + "y = B40;",
         "Too many tokens from #define expansions (limit 1000000) while expanding 'B"},
    };
    for (const auto& [source, message] : rows) {
        const std::string result = front_end().tree(source);
        EXPECT_EQ(result.rfind(std::string("error: ") + message, 0), 0u) << result;
    }
    EXPECT_EQ(front_end().tree(chain + "x = A63;"), same_tree_as("x = 1;"));
}

TEST(define, is_noted) {
    front_end scope;
    scope.tree("#define A 1\n");
    EXPECT_EQ(scope.log.details, std::vector<std::string>{"DEF A"});
}

}  // namespace
