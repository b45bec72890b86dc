// Scripts from the command line: usage, options, output and how a run ends.

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "../support/scratch.h"
#include "../support/tavro_process.h"

namespace {

using namespace host::test;
using test_support::scratch;

TEST(run, wrong_usage_is_told_in_one_line) {
    const words rows[] = {
        {"run"},
        {"eval"},
        {"check"},
        {"disasm"},
        {"run", "--bogus", "x.tvio"},
        {"run", "--fps", "-1", "x.tvio"},
        {"run", "--for", "0", "x.tvio"},
        {"run", "--max-call-depth", "-5", "x.tvio"},
        {"run", "-q", "-v", "x.tvio"},
    };
    for (const words& r : rows) {
        SCOPED_TRACE(testing::PrintToString(r));
        const outcome o = run(r);
        EXPECT_EQ(o.status, 2);
        EXPECT_EQ(o.out, "");
        EXPECT_TRUE(o.err.starts_with("tavro: ")) << o.err;
        EXPECT_EQ(o.err.find('\n'), o.err.size() - 1) << o.err;
    }
}

TEST(run, statuses_and_output) {
    struct row {
        const char* what;
        words arguments;
        const char* out;
        const char* err;  // occurs in standard error; null: nothing may be there
        int status;
    };
    const row rows[] = {
        {"prints", {"eval", "std.print(1, \"a\", [1]);"}, "1 a [1]\n", nullptr, 0},
        {"arguments are the script's",
         {"eval", "std.print(std.args());", "-q", "--for", "a b"},
         "[\"-q\",\"--for\",\"a b\"]\n",
         nullptr,
         0},
        {"does not compile", {"eval", "x = ;"}, "", "*** Syntax Error ***", 1},
        {"uncaught error", {"eval", "std.print(1); std.raise(\"no\");"}, "1\n", "Runtime Error", 1},
        {"caught error",
         {"eval", "try { std.raise(\"no\"); } catch (e) { std.print(e); }"},
         "no\n",
         nullptr,
         0},
        {"exit", {"eval", "std.exit(7); std.print(1);"}, "", nullptr, 7},
        {"exit past catch",
         {"eval", "try { std.exit(7); } catch (e) { } std.print(1);"},
         "",
         nullptr,
         7},
        {"missing file",
         {"run", "/nonexistent.tvio"},
         "",
         "Cannot find script file /nonexistent",
         1},
        {"error output",
         {"eval", "std.error(\"e\"); std.warn(\"w\"); std.log(\"l\");"},
         "",
         "[<eval>] ! e\n[<eval>] ! w\n[<eval>] * l\n",
         0},
        {"no warnings", {"eval", "-q", "std.warn(\"w\"); std.log(\"l\");"}, "", "] * l\n", 0},
        {"depth",
         {"eval", "--max-call-depth", "20", "def f() { f(); } f();"},
         "",
         "maximum call depth of 20 exceeded",
         1},
        {"restricted",
         {"eval", "--allow", "std.math,json", "std.print(1);"},
         "",
         "Cannot import namespace 'std",
         1},
        {"allowed",
         {"eval", "--allow", "std,json", "std.print(json.bool(1));"},
         "true\n",
         nullptr,
         0},
        {"end of time", {"eval", "--for", "0.05", "for (true) { }"}, "", nullptr, 0},
        {"end of time while it waits",
         {"eval", "--for", "0.05", "std.wait(100000);"},
         "",
         nullptr,
         0},
        {"end of time in a match without end",
         {"eval", "--for", "0.05", "\"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\".regex_match(\"(a*)*b\");"},
         "",
         nullptr,
         0},
        {"waits", {"eval", "std.wait(1); std.print(std.wait(0) == None);"}, "1\n", nullptr, 0},
        {"no frames",
         {"eval", "--fps", "0", "for (i = 0; i < 100; i++) { std.wait(0); }"},
         "",
         nullptr,
         0},
        {"verbose", {"eval", "-v", "1;"}, "", "=== Script Configuration ===", 0},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        const outcome o = run(r.arguments);
        EXPECT_EQ(o.out, r.out);
        EXPECT_EQ(o.status, r.status);
        if (r.err == nullptr) {
            EXPECT_EQ(o.err, "");
        } else {
            EXPECT_NE(o.err.find(r.err), std::string::npos) << o.err;
        }
    }
}

TEST(run, finds_what_belongs_to_a_script) {
    const scratch folder;
    const std::string main = folder.add("main.tvio", "#include \"part\"\nstd.print(part());\n");
    folder.add("part.tvio", "def part() { return \"beside\"; }\n");
    const std::string apart = folder.add("a/apart.tvio", "#include \"lib\"\nstd.print(lib());\n");
    folder.add("b/lib.tvio", "def lib() { return \"b\"; }\n");
    folder.add("c/lib.tvio", "def lib() { return \"c\"; }\n");
    EXPECT_EQ(run({"run", main}).out, "beside\n");
    EXPECT_EQ(run({"run", apart}).status, 1);
    EXPECT_EQ(run({"run", "-I", folder.path("b"), "-I", folder.path("c"), apart}).out, "b\n");
}

TEST(run, reads_standard_input_and_passes_by_the_shells_line) {
    const outcome o = run({"run", "-", "x"}, "#!/usr/bin/env tavro\nstd.print(std.args());\n(\n");
    EXPECT_EQ(o.out, "");
    EXPECT_NE(o.err.find(":3:1\n"), std::string::npos) << o.err;
    EXPECT_EQ(run({"run", "-", "x"}, "#!/usr/bin/env tavro\nstd.print(std.args());").out,
              "[\"x\"]\n");
}

TEST(run, lines_stand_in_order_and_are_written_before_a_wait) {
    in_pipe tavro({"eval", "std.print(1); std.wait(1000000);"}, "1\n");
    EXPECT_EQ(tavro.output.text(), "1\n");
    tavro.child.signal(SIGTERM);
    EXPECT_EQ(tavro.ends(), 0);
}

TEST(run, is_ended_by_a_signal_in_an_orderly_way) {
    constexpr const char* keeper =
        "class keeper { def __deinit__() { std.print(\"ended\"); } } k = keeper();\n"
        "std.print(\"up\");";
    struct row {
        const char* what;
        const char* code;
    };
    const row rows[] = {
        {"while it waits", "std.wait(1000000);"},
        {"while it runs", "std.wait(1); for (true) { }"},
        {"inside of try", "std.wait(1); for (true) { try { for (true) { } } catch (e) { } }"},
    };
    for (const row& r : rows) {
        for (const int signal : {SIGINT, SIGTERM}) {
            SCOPED_TRACE(r.what);
            in_pipe tavro({"eval", std::string(keeper) + r.code}, "up\n");
            tavro.child.signal(signal);
            EXPECT_EQ(tavro.output.rest(), "ended\n");
            EXPECT_EQ(tavro.ends(), 0);
        }
    }
}

TEST(run, a_second_signal_kills) {
    in_pipe tavro({"eval",
                   "class stubborn { def __deinit__() { std.print(\"no\"); std.file.write("
                   "\"/dev/stdout\", \"never\\n\"); for (true) { } } } s = stubborn();\n"
                   "std.print(\"up\"); std.wait(1000000);"},
                  "up\n");
    tavro.child.signal(SIGINT);
    EXPECT_TRUE(tavro.output.reads("n"));  // the destructor runs, and nothing else can end it
    tavro.child.signal(SIGINT);
    EXPECT_EQ(tavro.ends(), 128 + SIGINT);
}

TEST(run, a_reader_that_leaves_ends_it) {
    in_pipe tavro({"eval", "for (true) { std.print(\"line\"); }"}, "line\n");
    tavro.output.close();
    EXPECT_EQ(tavro.ends(), 1);
}

TEST(run, lines_are_written_at_once_on_a_terminal) {
    on_terminal tavro({"eval", "std.print(\"first\"); for (true) { }"});
    EXPECT_TRUE(tavro.reads("first"));
    tavro.types("\x03");
    EXPECT_EQ(tavro.ends(), 0);
}

TEST(check, compiles_and_runs_nothing) {
    const scratch folder;
    const std::string good = folder.add("good.tvio", "std.print(1);"),
                      bad = folder.add("bad.tvio", "x = y;");
    outcome o = run({"check", good});
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.out + o.err, "");
    o = run({"check", bad, good});
    EXPECT_EQ(o.status, 1);
    EXPECT_NE(o.err.find("'y' does not exist"), std::string::npos) << o.err;
}

TEST(disasm, prints_the_program) {
    const outcome o = run({"disasm", "-"},
                          "def twice(a) { return a + a; }\ntwice(2);\n"
                          "kernel void mark(u8* p) { p[gid] = 1; }\n");
    EXPECT_EQ(o.status, 0);
    EXPECT_NE(o.out.find("twice"), std::string::npos);
    EXPECT_NE(o.out.find("end_return"), std::string::npos);
    EXPECT_NE(o.out.find("kernel mark(u8* p -> p0)"), std::string::npos);
}

TEST(docs, tells_what_is_registered) {
    struct row {
        words arguments;
        const char* out;
        int status;
    };
    const row rows[] = {
        {{"docs"}, "    std.   The standard library.\n", 0},
        {{"docs", "std"}, "    random.  ", 0},
        {{"docs", "std.json.push"}, "std.json.push(value)\n    Adds the supplied value", 0},
        {{"docs", "std.json"}, "std.json([json], [suppress_errors])\n", 0},
        {{"docs", "std.math.pi"}, "std.math.pi\n    float\n", 0},
        {{"docs", "std.nothing"}, "", 1},
        {{"docs", "std.print.x"}, "", 1},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(testing::PrintToString(r.arguments));
        const outcome o = run(r.arguments);
        EXPECT_EQ(o.status, r.status);
        EXPECT_NE(o.out.find(r.out), std::string::npos) << o.out;
        EXPECT_EQ(o.err.empty(), r.status == 0) << o.err;
    }
}

}  // namespace
