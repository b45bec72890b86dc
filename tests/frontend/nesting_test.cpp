#include "frontend/syntax/nesting.h"
#include "front_end.h"

#include <gtest/gtest.h>

#include "small_stack.h"

namespace {

std::string times(size_t count, std::string_view text) {
    std::string out;
    for (size_t i = 0; i < count; ++i) out += text;
    return out;
}

const std::string too_deep = std::string("error: ") + TVR_NESTING_MESSAGE;

struct form {
    const char* what;
    const char *before, *opening, *middle, *closing, *after;
};

std::string nested(const form& f, size_t count) {
    return f.before + times(count, f.opening) + f.middle + times(count, f.closing) + f.after;
}

const form nesting_forms[] = {
    {"parentheses", "x = ", "(", "1", ")", ";"},
    {"lists", "x = ", "[", "1", "]", ";"},
    {"indices", "x = ", "a[", "1", "]", ";"},
    {"calls", "", "f(", "1", ")", ";"},
    {"blocks", "", "{", "x;", "}", ""},
    {"lambdas", "x = ", "() { return ", "1", "; }", ";"},
    {"lambdas as arguments", "", "f((a) { return ", "1", "; })", ";"},
    {"def lambdas", "x = ", "def () { return ", "1", "; }", ";"},
    {"default arguments", "x = ", "(a = ", "1", ") { }", ";"},
    {"functions", "", "def f() { ", "x;", "}", ""},
    {"classes", "", "class A { ", "x;", "}", ""},
    {"bodies", "", "if (a) ", "x;", "", ""},
    {"else bodies", "", "if (a) { } else { ", "x;", "}", ""},
    {"loops", "", "for (a) { ", "x;", "}", ""},
    {"tries", "", "try { ", "x;", "} catch (e) { }", ""},
    {"assignments", "", "x = ", "1", "", ";"},
    {"ternaries", "x = ", "a ? b : ", "1", "", ";"},
    {"ternaries inside", "x = ", "a ? ", "1", " : b", ";"},
    {"minus", "x = ", "- ", "1", "", ";"},
    {"not", "x = ", "!", "1", "", ";"},
    {"stronger operators", "x = ", "a || b && c == d < e + f * g ^ (", "1", ")", ";"},
    {"keyed lists", "x = ", "[a = ", "1", "]", ";"},
};

TEST(nesting, has_a_limit_with_a_message) {
    on_small_stack([] {
        for (const form& f : nesting_forms) {
            SCOPED_TRACE(f.what);
            EXPECT_EQ(front_end().tree(nested(f, 100000)), too_deep);
            EXPECT_EQ(front_end().tree(nested(f, tvr_max_nesting + 1)), too_deep);
        }
    });
}

// The deepest that is allowed, found by trying, works on a small stack, and so does its printing.
TEST(nesting, up_to_the_limit_works) {
    on_small_stack([] {
        for (const form& f : nesting_forms) {
            SCOPED_TRACE(f.what);
            size_t deepest = 0;
            for (size_t count = 1; count <= tvr_max_nesting; ++count)
                if (front_end().tree(nested(f, count)) != too_deep) deepest = count;
            EXPECT_GE(deepest, tvr_max_nesting / 9);  // the stronger operators take 8 levels
            EXPECT_EQ(front_end().tree(nested(f, deepest)).find("error"), std::string::npos);
        }
    });
}

TEST(nesting, chains_to_the_left_have_no_limit) {
    const std::pair<const char*, std::string> rows[] = {
        {"operators", "x = a" + times(100000, " + b") + ";"},
        {"members", "x = a" + times(100000, ".b") + ";"},
        {"indices", "x = a" + times(100000, "[1]") + ";"},
        {"calls", "x = a" + times(100000, "()") + ";"},
        {"increments", "x = a" + times(100000, "++") + ";"},
        {"else if", "if (a) { }" + times(100000, " else if (b) { }") + " else { }"},
        {"defaults", "x = a" + times(100000, " ?? b") + ";"},
        {"commas", "a" + times(100000, ", b") + ";"},
        {"statements", times(100000, "a;")},
        {"strings", "x = [" + times(100000, "'a', ") + "];"},
    };
    on_small_stack([&] {
        for (const auto& [what, source] : rows) {
            SCOPED_TRACE(what);
            const std::string tree = front_end().tree(source);
            EXPECT_NE(tree.rfind("error", 0), 0u) << tree.substr(0, 200);
            EXPECT_GE(std::count(tree.begin(), tree.end(), '\n'), 100000);
        }
    });
}

// Neither mismatched brackets nor chains of definitions take time that grows with the square.
TEST(nesting, hostile_texts_end_soon) {
    on_small_stack([] {
        const std::string sources[] = {
            times(100000, "(]"),
            times(100000, "("),
            times(100000, "]"),
            times(100000, "{ if "),
            times(100000, "if (a) "),
            times(50000, "#define A B\n") + "A;",
            "x = " + times(100000, "a < b > "),
            times(100000, "kernel void "),
            times(100000, "list<int> "),
            times(100000, "launch a."),
            times(100000, "else if (a) "),
        };
        for (const std::string& source : sources) {
            front_end scope;
            scope.tree(source);
            EXPECT_FALSE(scope.log.lines.empty());
        }
    });
}

}  // namespace
