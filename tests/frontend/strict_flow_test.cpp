// What the strict checker knows of a variable where it is used: behind branches, in loops, where
// others write to it. Nothing may be said that is not sure.

#include "small_stack.h"
#include "strict_findings.h"

namespace {

std::string times(size_t count, std::string_view text) {
    std::string out;
    for (size_t i = 0; i < count; ++i) out += text;
    return out;
}

// Programs in which `use` is written for the last statement: how often does it find x None?
struct row {
    const char* source;
    bool none;
};

void expect_none(std::string_view use, const std::vector<row>& rows) {
    strict_findings strict;
    for (const row& r : rows) {
        std::string source = r.source;
        const size_t place = source.find("USE");
        source.replace(place, 3, use);
        SCOPED_TRACE(source);
        const std::string said = strict.of(source);
        EXPECT_EQ(said.find("may be None") != std::string::npos, r.none) << said;
        EXPECT_EQ(said.empty(), !r.none) << said;
    }
}

TEST(strict_flow, tests_for_none) {
    const std::vector<row> rows = {
        {"x = None; if (x != None) { USE }", false},
        {"x = None; if (x != None) { } USE", true},
        {"x = None; if (None != x) { USE }", false},
        {"x = None; if (x == None) { } else { USE }", false},
        {"x = None; if (x == None) { USE }", true},
        {"x = None; if (!(x == None)) { USE }", false},
        {"x = None; if (x) { USE }", false},
        {"x = None; if (!x) { } else { USE }", false},
        {"def f(x = None) { if (x == None) return 1; USE }", false},
        {"def f(x = None) { if (x == None) std.raise(\"no\"); USE }", false},
        {"def f(x = None) { if (x == None) std.print(\"no\"); USE }", true},
        {"def f(x = None) { if (x == None) x = []; USE }", false},
        {"def f(x = None, y) { if (x == None) y(); USE }", false},  // y may not return
        {"def no() { std.raise(\"no\"); } def f(x = None) { if (x == None) no(); USE }", false},
        {"def f(x = None) { if (x == None) no(); USE } def no() { std.raise(\"no\"); }", false},
        {"def f(x = None, y) { if (x != None && y) { USE } }", false},
        {"def f(x = None, y) { if (x != None || y) { USE } }", true},
        {"def f(x = None, y) { if (x == None || y) return 1; USE }", false},
        {"def f(x = None, y) { if (x == None && y) return 1; USE }", true},
        {"def f(x = None) { y = x != None && x.size() != 2; USE }", true},
        {"def f(x = None) { if (x == None) { return 1; } else if (x == 2) { USE } }", false},
        {"def f(x = None) { if (x == 5) { USE } }", false},
        {"def f(x = None, y) { if (x != y) { USE } }", false},
        {"def f(x = None, y) { if (y(x)) { USE } }", false},  // y may have looked
        {"def f(x = None) { if (std.type(x) != \"none\") { USE } }", false},
        {"def f(x = None) { if (std.is_class(x)) { USE } }", false},
        {"def f(x = None) { std.print(x); USE }", true},
        {"def f(x = None) { x = x ?? []; USE }", false},
        {"def f(x = None, y) { x = x ?? y; USE }", false},
        {"def f(x = None, y) { if (y) x = None; else x = y; USE }", true},
        {"def f(x, y) { if (x == None) { y.z = 1; } USE }", false},  // that is not known
    };
    expect_none("x.y;", rows);
    expect_none("x - 1;", rows);
}

TEST(strict_flow, loops_and_errors) {
    expect_none(
        "x.y;",
        {
            {"def f(y) { x = None; for (y.more()) { x = y.next(); } USE }", true},
            {"def f(y) { x = None; for (y.more()) { x = y.next(); USE } }", false},
            {"def f(y) { x = y; for (y.more()) { USE } }", false},
            {"def f(y) { x = y; for (y.more()) { x = None; } USE }", true},
            {"def f(y) { x = None; for (x == None) { x = y.next(); } USE }", false},
            {"def f(y) { x = None; for (x == None) { if (y.end()) break; x = y.next(); } USE }",
             true},
            {"def f(y) { x = None; for (true) { x = y.next(); if (x != None) break; } USE }",
             false},
            {"def f(y) { for (x = y; x != None; x = x.next) { USE } }", false},
            {"def f(y) { x = None; for ((x = y.next()) != None) { USE } }", false},
            {"def f(y) { x = None; try { x = y(); } catch (e) { } USE }", true},
            {"def f(y) { x = None; try { x = y(); } catch (e) { return 1; } USE }", false},
            {"def f(y) { x = y; try { x = None; y(); x = y; } catch (e) { USE } }", true},
            {"def f(y) { for (y()) { x = None; if (y()) continue; x = y; USE } }", false},
            {"def f(y) { x = None; g = () { return x; }; x = y; USE }", false},
            {"def f(y) { x = y; g = () { x = None; }; USE }", false},  // a copy
            {"def f(y) { x = y; g = () { x = None; USE }; }", true},
        });
}

// The type of x where y is subtracted from it.
TEST(strict_flow, others_that_write) {
    const char* found = "'-' cannot be used with int and string";
    struct case_row {
        const char* source;
        bool known;
    };
    const case_row rows[] = {
        {"x = 1; x - \"a\";", true},
        {"x = 1; def f() { return x - \"a\"; }", true},
        {"x = 1; x = [2].pop(); def f() { return x - \"a\"; }", false},
        {"x = 1; def f() { x = 2.5; } f(); x - \"a\";", false},
        {"x = 1; f = () { x = 2.5; }; f(); x - \"a\";", false},
        {"x = 1; class a { def f() { x++; } } x - \"a\";", false},
        {"x = 1; def f(x) { x = 2; } x - \"a\";", true},
        {"x = 1; def f() { var x = 2; x = 3; } x - \"a\";", true},
        {"x = 1; r = [&x]; r[0] = 2.5; x - \"a\";", false},
        {"x = 1; y = &x; y - \"a\";", false},
        {"def f(&p) { p = \"s\"; } x = 1; f(x); x - \"a\";", false},
        {"def f(p, &q) { q = 2.5; } def g() { x = 1; f(x, 2); x - \"a\"; }", true},
        {"def f(&p) { p = 2.5; } def g() { x = 1; for (f(x)) { x - \"a\"; } }", false},
        {"def g(h) { x = 1; h((&p) { p = 2.5; }); h(x); x - \"a\"; }", false},
        {"def f(&x) { x = 1; x - \"a\"; }", false},
        {"def f() { x = 1; for (i = 0; i < 2; i++) { x - \"a\"; x = 2; } }", true},
        {"def f() { x = 1; for (i = 0; i < 2; i++) { x - \"a\"; x = 2.5 + i; } }", false},
        {"def f() { for (x = 0; x < 9; x++) { x - \"a\"; } }", true},
        {"def f(y) { x = 1; if (y) x = 2; x - \"a\"; }", true},
        {"def f(y) { x = 1; if (y) x = []; x - \"a\"; }", false},
        {"def f(y) { x = y ? 1 : 2; x - \"a\"; }", true},
        {"def f(y) { x = y || 2; x - \"a\"; }", false},
        {"def f(any y, z) { x = 1; x = y; x - \"a\"; }", false},
        {"class a { x = 1; def f() { x - \"a\"; this.x - \"a\"; } }", false},
        {"class a { int x = 1; def f() { return x - \"a\"; } }", true},
        {"class a { def f() { return 1; } } def g(a p) { return p.f() - \"a\"; }", true},
        {"class a { def f() { return 1; } } class b : a { def f() { return []; } } "
         "def g(a p) { return p.f() - \"a\"; }",
         false},
        {"x = [1].pop(); x - \"a\";", false},
    };
    strict_findings strict;
    for (const case_row& r : rows) {
        SCOPED_TRACE(r.source);
        const std::string said = strict.of(r.source);
        EXPECT_EQ(said.find(found) != std::string::npos, r.known) << said;
        EXPECT_EQ(said.empty(), !r.known) << said;
    }
}

TEST(strict_flow, refines_by_class) {
    expect_findings({
        {"class a { } def f(x) { if (std.instanceof(x, a)) { return x.y; } return x.y; }",
         "Type 'class a' has no member 'y'."},
        {"class a { y = 1; } def f(x) { if (std.instanceof(x, a)) { return x.y; } }", ""},
    });
}

// What the builder refuses later must not disturb the checker.
TEST(strict_flow, wrong_programs) {
    const char* rows[] = {
        "unknown.thing(1)[2].x = y + 1;",
        "this.x = super.y; super.z(1); super;",
        "class a : a { } class b : nowhere { } b().x; class c : a, b { def f() { super.f(); } }",
        "interface i : i { } interface j : a { } class a : j { }",
        "class a { class b { } 5; x.y = 1; } a().q ?? 1;",
        "def f(a, a) { } f(b = 1, 2); def f() { } class f { }",
        "1 = 2; f() = 3; -x = 4; x++++; ++1; None = 5; True.x = 6; 5.x;",
        "using nowhere; import nowhere; using std.math.pi; std; std(); std.nothing.more();",
        "() { }; x = x; this(1); *x = 1; &x; list<list> y; int float z = 1;",
        "launch k(x) : 5; y = launch async k(1) : [1, 2]; return launch k() : x;",
        "class a { x = this.x; private y = a(); abstract z; } interface i { } class b : i, i { }",
        "break; continue; return 5; def __init__() { } __init__();",
    };
    strict_findings strict;
    for (const char* source : rows) {
        SCOPED_TRACE(source);
        strict.of(source);  // no crash, and the text is a text
    }
}

TEST(strict_flow, needs_little_stack) {
    on_small_stack([] {
        const std::string deep = times(40, "(") + "x" + times(40, ")");
        const std::pair<const char*, std::string> rows[] = {
            {"operators", "x = 1; y = x" + times(100000, " + x") + ";"},
            {"logic", "x = 1; y = x" + times(20000, " && x == 1") + ";"},
            {"conditions", "x = None; if (x != None" + times(20000, " && x.y") + ") { }"},
            {"defaults", "x = None; y = x" + times(20000, " ?? x") + ";"},
            {"members", "x = []; y = x" + times(100000, ".b") + ";"},
            {"indices", "x = []; y = x" + times(100000, "[1]") + ";"},
            {"calls", "def f() { } f" + times(100000, "()") + ";"},
            {"increments", "x = 1; x" + times(100000, "++") + ";"},
            {"methods", "x = []; x" + times(20000, ".push(1)") + ";"},
            {"else if", "x = None; if (x == 1) { }" + times(5000, " else if (x == 2) { }")},
            {"bases", "class a0 { }" +
                          [] {
                              std::string all;
                              for (int i = 1; i < 500; ++i)
                                  all += tvr_join(" class a", i, " : a", i - 1, " { def f() { } }");
                              return all;
                          }()},
            {"lambdas", "x = " + times(90, "() { return ") + "1" + times(90, "; }") + ";"},
            {"bodies", times(190, "if (true) ") + "y = 1;"},
            {"loops", times(95, "for (x = 0; x < 1; x++) { ") + "y = x;" + times(95, "}")},
            {"ternaries", "x = " + times(190, "true ? 1 : ") + "1;"},
            {"lists", "x = " + times(190, "[") + "1" + times(190, "]") + ";"},
            {"arguments", "def f(x) { } " + times(190, "f(") + "1" + times(190, ")") + ";"},
            {"not", "x = true; y = " + times(190, "!") + "x;"},
            {"conditions inside",
             "x = 1; if (" + times(90, "x == 1 && (") + "true" + times(90, ")") + ") { }"},
        };
        strict_findings strict;
        for (const auto& [what, source] : rows) {
            SCOPED_TRACE(what);
            EXPECT_EQ(strict.of(source).find("no tree"), std::string::npos);
        }
    });
}

}  // namespace
