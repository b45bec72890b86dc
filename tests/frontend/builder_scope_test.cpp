// Whose variable a name is, where a class's members stand, and that all that compiles is sound.

#include <algorithm>

#include <gtest/gtest.h>

#include "program_check.h"
#include "program_maker.h"

namespace {

using class_block = tvr_program_block_class;

bool said(const std::vector<std::string>& lines, std::string_view text) {
    return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
        return line.find(text) != std::string::npos;
    });
}

// The rows read `mark`; what is read must be named in the disassembly like this.
TEST(builder_scope, finds_the_nearest) {
    struct row {
        const char* what;
        const char* source;
        const char* instruction;
    };
    const row rows[] = {
        {"root from the root", "mark = 1; mark;", "return_local_var 0"},
        {"root from a block", "mark = 1; for (1) { mark; }", "return_parent_var 1, 0"},
        {"root from a function", "mark = 1; def f() { mark; }", "return_global_var 0"},
        {"parameter before root", "mark = 1; def f(mark) { mark; }", "return_local_var 0"},
        {"block two levels up", "def f() { mark = 1; for (1) { if (1) { a = mark; } } }",
         "return_parent_var 2, 0"},
        {"member", "class A { mark = 1; def f() { mark; } }", "json_literal"},
        {"root before member", "mark = 1; class A { mark = 1; def f() { mark; } }",
         "return_global_var 0"},
        {"local before member", "class A { mark = 1; def f(mark) { mark; } }",
         "return_local_var 0"},
        {"member before function", "def mark() { } class A { mark = 1; def f() { mark; } }",
         "json_literal"},
        {"function two blocks up", "def mark() { } def f() { for (1) { mark; } }",
         "return_function 2, 0"},
        {"function before namespace", "using lamp; def on() { } on; mark = 1;",
         "return_function 0, 0"},
        {"variable before namespace", "lamp = [mark = 1]; lamp.mark;", "return_local_var 0"},
        {"catch variable", "try { } catch (mark) { mark; }", "return_local_var 0"},
        {"assigning to a parent makes nothing new", "mark = 1; { b = 1; mark = 2; }",
         "return_parent_var 1, 0"},
    };
    program_maker maker;
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        const std::string text = maker.code(r.source);
        EXPECT_NE(text.find(r.instruction), std::string::npos) << text;
    }
}

TEST(builder_scope, says_when_a_global_hides_a_member) {
    program_maker maker;
    EXPECT_EQ(maker.error("x = 1; class A { x = 1; y = 1; def f() { x; x; y; } }"), "");
    EXPECT_EQ(maker.scope.log.warnings.size(), 1u);
    EXPECT_TRUE(said(maker.scope.log.warnings, "write 'this.x' for the member"));
    EXPECT_TRUE(said(maker.scope.log.details, "Added missing 'this' to class member -> 'this.y"));
}

const class_block& class_named(const tvr_program_block_root& root, std::string_view name) {
    for (const auto& each : root.class_defs) {
        if (each->name == name) return *each;
    }
    throw std::out_of_range("no such class");
}

std::string members_of(const class_block& of) {
    std::string text;
    for (uint32_t i = 0; i < of.variables.size(); ++i) {
        const std::string& name = of.variables.name_at(i);
        const class_block::member_info& info = of.vid_table.at(name);
        EXPECT_EQ(info.slot, i);
        text += tvr_join(i > 0 ? " " : "", info.declared_in->name, ".", name,
                         info.is_private ? "!" : "");
    }
    return text;
}

TEST(builder_scope, members_of_bases_come_first) {
    program_maker maker;
    const auto program = maker.make(
        "class top { t = 1; private p = 2; def m() { } def __init__(a) { } def __eq__(o) { } }"
        "class left : top { l = 1; p = 3; }"
        "class right : top { private t = 2; r; def m() { } def __add__(o) { } }"
        "class both : left, right { b = 1; def __eq__(o) { } }");
    ASSERT_TRUE(program);
    EXPECT_EQ(members_of(class_named(*program, "left")), "top.t top.p! left.l");
    EXPECT_EQ(members_of(class_named(*program, "right")), "top.t! top.p! right.r");
    const class_block& both = class_named(*program, "both");
    EXPECT_EQ(members_of(both), "top.t top.p! left.l right.r both.b");
    ASSERT_EQ(both.bases.size(), 2u);
    EXPECT_EQ(both.bases[0].slots, (std::vector<uint32_t>{0, 1, 2}));
    EXPECT_EQ(both.bases[1].slots, (std::vector<uint32_t>{0, 1, 3}));

    std::string levels;
    for (const auto& level : both.levels) levels += level.definition.get()->name + " ";
    EXPECT_EQ(levels, "both left top right ");
    const auto owner = [&](tvr_program_block_routine* routine) {
        return routine != nullptr ? routine->parent.get()->name : "";
    };
    EXPECT_EQ(owner(both.constructor.get()), "top");
    EXPECT_EQ(owner(both.operators[tvr_operator_eq].get()), "both");
    EXPECT_EQ(owner(both.operators[tvr_operator_add].get()), "right");
    EXPECT_TRUE(both.is_derived_from(class_named(*program, "top")));
    EXPECT_FALSE(class_named(*program, "top").is_derived_from(both));
}

TEST(builder_scope, abstract_methods_are_those_that_nobody_implements) {
    program_maker maker;
    const auto program = maker.make(
        "class promise { abstract def f() { } abstract def g() { } }"
        "class half : promise { def f() { } }"
        "class other { def g() { } }"
        "class whole : half, other { }");
    ASSERT_TRUE(program);
    using names = std::vector<std::string>;
    EXPECT_EQ(class_named(*program, "promise").abstract_methods, (names{"f", "g"}));
    EXPECT_EQ(class_named(*program, "half").abstract_methods, names{"g"});
    EXPECT_EQ(class_named(*program, "whole").abstract_methods, names{});
    EXPECT_FALSE(class_named(*program, "whole").find_method("g", 0)->is_abstract);
}

const char* const shapes[] = {
    "a = 1;",
    "v += 1;",
    "v[1] += v.x;",
    "v.x.y = v[2] = 3;",
    "v++ + ++v;",
    "v.a[1]++;",
    "v ?? v.x ?? v[1] ?? 2;",
    "v && v || v && !v;",
    "v ? v : v && v ? 1 : 2;",
    "b = v ? (c = 1) : (d = 2);",
    "[1, k = [2, v], 's': v ?? 1];",
    "v(1, v(2), v.m(3, [4]));",
    "f(v, c = f(1, 2)); f(1)(2).x[3];",
    "lamp.on(v, lamp.color.red);",
    "!(v && 1) ? 1 : 2;",
    "A(1).area(2, v)[v] = A;",
    "e = (x, y = v) { return x + y + v; }; e(1)(2);",
    "return v;",
    "g = () { h = v; return () { return h + v; }; };",
};
const char* const frames[] = {
    "%",
    "if (v) { % }",
    "if (v && 1 || 2) { % } else if (!v) { % } else { % }",
    "for (i = 0; i < 3 && v; i++, v--) { % if (v) break; if (i) continue; % }",
    "for (v) { for (v || v) { % continue; } break; }",
    "try { % } catch (err) { % err; }",
    "{ % { % } }",
    "def inner(p, q = p + 1) noexcept { v = p; % } inner(1);",
    "w = (p) { v; % };",
    ("class inner : A { m = [1]; def run(v) { % return m; } def __init__(v) { super.area(v, 1); "
     "% } }"),
};
constexpr std::string_view head =
    "v = 1; def f(a, b = a, c = 3) { return a; } class A { z = 0; def __init__(n) { z = n; } "
    "def area(p, q) { return z; } }";

// Every shape of code, alone and inside of the others.
TEST(builder_scope, what_compiles_is_sound) {
    const auto filled = [](const std::string& frame, const std::string& with) {
        std::string out;
        for (const char c : frame) out += c == '%' ? with : std::string(1, c);
        return out;
    };
    program_maker maker;
    size_t sound = 0;
    for (const char* shape : shapes) {
        for (const char* inner : frames) {
            for (const char* outer : frames) {
                const std::string source = std::string(head) + filled(outer, filled(inner, shape));
                const auto program = maker.make(source);
                // Twice the same name in one block is no fault of the code.
                if (maker.finding.message.find("exists") != std::string::npos ||
                    maker.finding.message.find("definition") != std::string::npos ||
                    maker.finding.message == "Cannot assign to illegal expression.")
                    continue;
                ASSERT_TRUE(program) << source << "\n" << maker.finding.message;
                ASSERT_EQ(fault_of(*program), "") << source << "\n" << tvr_disassemble(*program);
                ++sound;
            }
        }
    }
    EXPECT_GT(sound, std::size(shapes) * std::size(frames) * std::size(frames) / 2);
}

}  // namespace
