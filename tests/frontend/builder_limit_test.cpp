// Long chains, deep nesting, many arguments.

#include <gtest/gtest.h>

#include "frontend/syntax/nesting.h"
#include "program_check.h"
#include "program_maker.h"
#include "small_stack.h"

namespace {

std::string times(size_t count, std::string_view text) {
    std::string out;
    for (size_t i = 0; i < count; ++i) out += text;
    return out;
}

TEST(builder_limit, chains_to_the_left_have_none) {
    const std::string sources[] = {
        "x = 1" + times(100000, " + 1") + ";",
        "x = 1" + times(100000, " && 1") + ";",
        "x = 1; if (x" + times(100000, " || x") + ") x;",
        "var a; x = a" + times(100000, " ?? a.b") + ";",
        "var a; x = a" + times(100000, ".b") + ";",
        "var a; a" + times(100000, ".b") + " = 1;",
        "var a; x = a" + times(100000, "[1]") + ";",
        "var a; x = a" + times(100000, "(1)") + ";",
        "var a; x = a" + times(100000, ".b(1)") + ";",
        "var a; x = a" + times(100000, ".b++") + ";",
        "var a; def f(b) { if (b) { } " + times(100000, " else if (b) { }") + " }",
        "var a; x = () { return a" + times(100000, ".b + a") + "; };",
        "var a; a" + times(100000, ", a = 1") + ";",
        "{ x = [" + times(100000, "'a', ") + "]; }",
    };
    on_small_stack([&] {
        program_maker maker;
        for (const std::string& source : sources) {
            SCOPED_TRACE(source.substr(0, 60));
            const auto program = maker.make(source);
            ASSERT_TRUE(program) << maker.finding.message;
            EXPECT_EQ(fault_of(*program), "");
        }
        EXPECT_EQ(maker.error("var a; x = a" + times(100000, "++") + ";"),
                  "Cannot assign to illegal expression.");
    });
}

struct form {
    const char *before, *opening, *middle, *closing, *after;
};
const form forms[] = {
    {"x = ", "(", "1", ")", ";"},
    {"x = ", "[", "1", "]", ";"},
    {"var a; x = ", "a[", "1", "]", ";"},
    {"def f(a) { } ", "f(", "1", ")", ";"},
    {"var a; ", "a.m(", "1", ")", ";"},
    {"", "lamp.on(", "1", ")", ";"},
    {"", "{ var a; ", "1;", "}", ""},
    {"def f() { ", "{ var a; ", "1;", "}", "}"},
    {"def f(a) { x = ", "() { return ", "a", "; }", "; }"},
    {"x = ", "(a = ", "1", ") { }", ";"},
    {"", "def f() { ", "f();", "}", ""},
    {"", "class A { def f() { ", "f();", "} }", ""},
    {"var a; ", "if (a) ", "a;", "", ""},
    {"var a; ", "for (i = a; i; i++) { var b = i; ", "1;", "}", ""},
    {"", "try { var a; ", "1;", "} catch (e) { }", ""},
    {"", "x = ", "1", "", ";"},
    {"var a; x = ", "a ? a : ", "1", "", ";"},
    {"var a; x = ", "!", "a", "", ";"},
    {"var a; if (", "!(a && ", "a", ")", ") { }"},
    {"var a; x = ", "a || a && a == a < a + a * a ^ (", "1", ")", ";"},
};

TEST(builder_limit, what_may_nest_compiles_on_a_small_stack) {
    on_small_stack([] {
        program_maker maker;
        for (const form& f : forms) {
            SCOPED_TRACE(f.opening);
            for (size_t count = tvr_max_nesting; count > 0; --count) {
                const auto program = maker.make(f.before + times(count, f.opening) + f.middle +
                                                times(count, f.closing) + f.after);
                if (maker.finding.message == TVR_NESTING_MESSAGE) continue;
                EXPECT_GE(count, tvr_max_nesting / 9);
                ASSERT_TRUE(program) << maker.finding.message;
                EXPECT_EQ(fault_of(*program), "");
                break;
            }
        }
    });
}

// class c0 { } class c1 : c0 { } and so on.
std::string classes_below_each_other(size_t count) {
    std::string text = "class c0 { }";
    for (size_t i = 1; i < count; ++i) text += tvr_join(" class c", i, " : c", i - 1, " { }");
    return text;
}

TEST(builder_limit, classes_derive_from_so_many_others) {
    program_maker maker;
    EXPECT_EQ(maker.error(classes_below_each_other(tvr_max_class_levels)), "");
    EXPECT_EQ(maker.error(classes_below_each_other(5000)),
              "Class 'c256' derives from too many classes (limit 255).");
}

TEST(builder_limit, fields_of_one_byte_do_not_overflow) {
    program_maker maker;
    std::string params = "p0", values = "1";
    for (int i = 1; i < 255; ++i) {
        params += tvr_join(", p", i);
        values += ", 1";
    }
    EXPECT_EQ(maker.error("def f(" + params + ") { } f(" + values + "); var g; g(" + values + ");"),
              "");
    EXPECT_EQ(maker.error("def f(" + params + ", q) { }"), "Too many arguments for function f");
    EXPECT_EQ(maker.error("var g; g(" + values + ", 1);"), "Too many arguments for function g");
    EXPECT_EQ(maker.error("var g; g.m(" + values + ", 1);"), "Too many arguments for function m");
    EXPECT_EQ(maker.error("lamp.on(" + values + ", 1);"), "Too many arguments for function on");
    // A level of braces in a loop is two blocks.
    const std::string loops = times(140, "for (1) { var a; ");
    EXPECT_EQ(maker.error("def f() { } " + loops + "f();" + times(140, "}")),
              "'f' is defined too many blocks outside (limit 255).");
}

}  // namespace
