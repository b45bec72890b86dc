// The prompt, fed by a pipe and typed at.

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>

#include "../support/scratch.h"
#include "../support/tavro_process.h"

namespace {

using namespace host::test;

TEST(repl, prints_what_expressions_leave) {
    struct row {
        const char* what;
        const char* input;
        const char* out;
    };
    const row rows[] = {
        {"without an end", "1 + 2\n", "3\n"},
        {"with an end", "1 + 2;\n", "3\n"},
        {"at the end of the input", "1 + 2", "3\n"},
        {"types", "\"a\\\"b\"\n[1, 2]\n[a = 1]\n2.5\nNone\n",
         "\"a\\\"b\"\n[1,2]\n{\"a\":1}\n2.500000\n"},
        {"statements leave nothing", "x = 1\nif (x) { x; }\n", ""},
        {"the last of several", "1; 2; 3;\n", "3\n"},
        {"several lines", "x = [1,\n2\n]\nx\n", "[1,2]\n"},
        {"an operator at the end", "1 +\n2\n", "3\n"},
        {"comments and blanks", "\n  // nothing\n\n1\n", "1\n"},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        const outcome o = run({"repl"}, r.input);
        EXPECT_EQ(o.out, r.out);
        EXPECT_EQ(o.err, "");
        EXPECT_EQ(o.status, 0);
    }
}

TEST(repl, names_live_on) {
    struct row {
        const char* what;
        const char* input;
        const char* out;
    };
    const row rows[] = {
        {"variables", "x = 1\nx = x + 1\nx\n", "2\n"},
        {"functions see changes", "k = 2\ndef f(a) {\n return a * k;\n}\nf(3)\nk = 5\nf(3)\n",
         "6\n15\n"},
        {"functions change variables", "n = 0\ndef up() { n++; }\nup()\nup()\nn\n", "2\n"},
        {"functions are replaced",
         "def f() { return 1; }\ndef g() { return f(); }\n"
         "def f() { return 2; }\nf()\n",
         "2\n"},
        {"lambdas", "k = 1\nf = (a) { return a + k; };\nk = 10\nf(1)\n", "11\n"},
        {"classes",
         "class lamp { level = 3; def up() { this.level++; } }\nl = lamp()\nl.up()\n"
         "l.level\n",
         "4\n"},
        {"variables defined anew", "x = 1\nlet x = 2\nx\n", "2\n"},
        {"only what was defined",
         "f = (a) { return a; };\nlambda = 5\ng = (a) { return a; };\nlambda\n", "5\n"},
        {"a function that waits", "def f() { std.wait(1); return 4; }\nf()\n", "4\n"},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        const outcome o = run({"repl"}, r.input);
        EXPECT_EQ(o.out, r.out);
        EXPECT_EQ(o.err, "");
        EXPECT_EQ(o.status, 0);
    }
}

TEST(repl, a_session_survives_errors) {
    const outcome o = run({"repl"},
                          "x = 1\n"
                          "x = 2; std.raise(\"first\"); x = 3;\n"
                          "y\n"
                          "x = = 1\n\n"
                          "x\n"
                          "std.exit(3)\n"
                          "std.print(\"never\")\n");
    EXPECT_EQ(o.out, "2\n");
    for (const char* words : {"first", "Variable 'y' does not exist", "Syntax Error"}) {
        EXPECT_NE(o.err.find(words), std::string::npos) << words << "\nin\n" << o.err;
    }
    EXPECT_EQ(o.status, 3);
}

TEST(repl, ends_when_nobody_takes_its_answers) {
    EXPECT_EQ(run_redirected(">/dev/full", {"repl"}, "for (true) { std.print(1); }\n").status, 1);
}

// A folder for the history, in the environment of all that this test starts.
struct state_folder : test_support::scratch {
    state_folder() { setenv("XDG_STATE_HOME", path("").c_str(), 1); }
    ~state_folder() { unsetenv("XDG_STATE_HOME"); }
};

TEST(repl, edits_lines_on_a_terminal) {
    const state_folder state;
    on_terminal tavro({"repl"});
    ASSERT_TRUE(tavro.prompts());
    tavro.types(
        "volume = 40\x7f"
        "2\n");
    ASSERT_TRUE(tavro.prompts());
    tavro.types("vol\t + 1\n");
    EXPECT_TRUE(tavro.reads("43"));
    EXPECT_TRUE(tavro.prompts());
    tavro.types("std.random.shu\t([7])\n");
    EXPECT_TRUE(tavro.reads("[7]\r\n"));
    EXPECT_TRUE(tavro.prompts());
    tavro.types("\x10\x10\n");  // the line before the last one
    EXPECT_TRUE(tavro.reads("\n43"));
    EXPECT_TRUE(tavro.prompts());
    tavro.types("\x04");
    EXPECT_EQ(tavro.ends(), 0);
    EXPECT_TRUE(tavro.settings_restored());

    on_terminal later({"repl"});
    ASSERT_TRUE(later.prompts());
    later.types("\x10");
    EXPECT_TRUE(later.reads("volume + 1"));
    later.types("\x15\x04");
    EXPECT_EQ(later.ends(), 0);
}

TEST(repl, an_interrupt_gives_up_what_runs_or_is_typed) {
    const state_folder state;
    on_terminal tavro({"repl"});
    ASSERT_TRUE(tavro.prompts());
    tavro.types("x = 1\n");
    ASSERT_TRUE(tavro.prompts());
    tavro.types("x = 2; std.print(\"runs\", x); for (true) { }\n");
    ASSERT_TRUE(tavro.reads("runs 2"));
    tavro.types("\x03");
    ASSERT_TRUE(tavro.prompts());
    tavro.types("x + [");
    ASSERT_TRUE(tavro.reads("x + ["));
    tavro.types("\x03");
    ASSERT_TRUE(tavro.prompts());
    tavro.types("x * 100\n");
    EXPECT_TRUE(tavro.reads("200"));
    tavro.child.signal(SIGTERM);
    EXPECT_EQ(tavro.ends(), 0);
    EXPECT_TRUE(tavro.settings_restored());
}

}  // namespace
