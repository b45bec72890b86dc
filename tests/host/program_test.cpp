// The program as a person meets it: usage, pipes, and a terminal that is always put back.

#include <gtest/gtest.h>

#include <csignal>

#include "../support/scratch.h"
#include "../support/tavro_process.h"
#include "small_set.h"
#include "track/json.h"

namespace {

using namespace monitor::test;
using host::test::in_pipe;
using host::test::on_terminal;
using host::test::outcome;
using host::test::run;
using host::test::run_redirected;
using host::test::words;

// Runs the recording for ever into a pipe, and has read up to its first beat.
class recording_in_pipe : public in_pipe {
public:
    explicit recording_in_pipe(const std::string& recording)
        : in_pipe({"monitor", recording}, "beat ") {}
};

TEST(program, wrong_usage_is_told_in_one_line) {
    const small_set file;
    struct row {
        const char* what;
        words arguments;
        int status;
    };
    const row rows[] = {
        {"nothing", {}, 2},
        {"unknown command", {"moniter"}, 2},
        {"no source", {"monitor"}, 2},
        {"unknown option", {"monitor", file.path, "--fast"}, 2},
        {"speed of nothing", {"monitor", file.path, "--speed", "0"}, 2},
        {"no number", {"monitor", file.path, "--for", "ever"}, 2},
        {"a folder as source", {"kernel", "/"}, 1},
        {"missing recording", {"monitor", "no_such.jsonl"}, 1},
        {"unwritable picture", {"monitor", file.path, "--once", "--png", "/nonexistent/a.png"}, 1},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        const outcome o = run(r.arguments);
        EXPECT_EQ(o.status, r.status);
        EXPECT_TRUE(o.err.starts_with("tavro: ")) << o.err;
        EXPECT_EQ(o.err.find('\n'), o.err.size() - 1) << o.err;
    }
    EXPECT_EQ(run({"monitor", "--help"}).status, 0);
    EXPECT_EQ(run({"moniter"}).err,
              "tavro: moniter is no command; tavro --help tells which there are\n");
}

// A closed place is not taken by what the program opens: it would wait for its own signals there,
// or write into its own files.
TEST(program, every_command_tells_that_nobody_takes_its_output) {
    const small_set file;
    const test_support::scratch folder;
    const std::string script = folder.add("one.tvio", "std.print(1);");
    const std::string kernels = folder.add("one.kernel", "kernel void k(u8* p) { p[gid] = 1; }");
    const words commands[] = {
        {"--help"},
        {"--version"},
        {"run", script},
        {"eval", "std.print(1);"},
        {"check", "--ast", script},
        {"disasm", script},
        {"docs"},
        {"kernel", kernels},
        {"kernel", "--c", kernels},
        {"repl"},
        {"monitor", "--once", file.path},
        {"monitor", "--once", "--json", file.path},
        {"texture", EXAMPLE_RECORDING, "-o", folder.path("texture.png")},
    };
    for (const words& command : commands) {
        for (const char* redirection : {">&-", ">/dev/full"}) {
            SCOPED_TRACE(testing::PrintToString(command) + redirection);
            const outcome o = run_redirected(redirection, command, "1 + 1\n");
            EXPECT_EQ(o.status, 1);
            EXPECT_NE(o.err.find("Cannot write to standard output"), std::string::npos) << o.err;
        }
    }
}

TEST(program, input_that_cannot_be_read_is_no_empty_input) {
    for (const char* redirection : {"<&-", "</"}) {
        for (const char* command : {"run", "check", "disasm", "kernel"}) {
            SCOPED_TRACE(std::string(command) + redirection);
            const outcome o = run_redirected(redirection, {command, "-"});
            EXPECT_EQ(o.status, 1);
            EXPECT_NE(o.err.find("Cannot read "), std::string::npos) << o.err;
        }
    }
}

TEST(program, in_a_pipe_it_prints_events_and_a_summary) {
    const small_set file;
    const outcome o = run({"monitor", file.path, "--once"});
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.err, "");
    for (const char* line :
         {"connected     replay:", "device        2  PLAYER  on",
          "beat          deck 2  2/4  beat 2  126.00 bpm  cue in 1  master  on air",
          "Tracks: 1\n  2:3:7  Night [2JBus - Nobody: 0 beats, 0 cues, 0 phrases\nHistory: 0\n"}) {
        EXPECT_NE(o.out.find(line), std::string::npos) << line << "\nin\n" << o.out;
    }
    EXPECT_EQ(o.out.find('\x1b'), std::string::npos);
}

TEST(program, json_is_a_snapshot_a_line) {
    const small_set file;
    const outcome o = run({"monitor", file.path, "--once", "--json"});
    EXPECT_EQ(o.status, 0);
    const std::string last = o.out.substr(o.out.rfind('\n', o.out.size() - 2) + 1);
    const auto view = deckbus::json::parse(last, nullptr, false);
    ASSERT_TRUE(view.is_object()) << o.out;
    EXPECT_EQ(view["players"].size(), 2u);
    EXPECT_EQ(view["status"], "");
}

TEST(program, an_interrupt_in_a_pipe_still_gives_the_summary) {
    const small_set file;
    recording_in_pipe tavro(file.path);
    tavro.child.signal(SIGINT);
    const std::string rest = tavro.output.rest();
    EXPECT_EQ(tavro.ends(), 0);
    EXPECT_NE(rest.find("Tracks: 1\n"), std::string::npos);
}

TEST(program, a_reader_that_leaves_ends_it_quietly) {
    const small_set file;
    recording_in_pipe tavro(file.path);
    tavro.output.close();
    EXPECT_EQ(tavro.ends(), 0);
}

TEST(program, can_be_stopped_and_continued_in_a_pipe) {
    const small_set file;
    recording_in_pipe tavro(file.path);
    tavro.child.signal(SIGTSTP);
    ASSERT_TRUE(tavro.child.is_stopped());
    tavro.child.signal(SIGCONT);
    tavro.child.signal(SIGTERM);
    EXPECT_EQ(tavro.ends(), 0);
}

constexpr const char* restored = "\x1b[?25h\x1b[?1049l";  // cursor and screen of before

TEST(terminal, is_put_back_on_every_way_out) {
    const small_set file;
    struct row {
        const char* what;
        const char* keys;
        int signal;
        int status;
    };
    const row rows[] = {
        {"q", "q", 0, 0},
        {"Ctrl-C", "\x03", 0, 0},
        {"SIGTERM", "", SIGTERM, 0},
        {"SIGHUP", "", SIGHUP, 0},
        {"crash", "", SIGSEGV, 128 + SIGSEGV},
        {"abort", "", SIGABRT, 128 + SIGABRT},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        on_terminal tavro({"monitor", file.path});
        ASSERT_TRUE(tavro.reads("PLAYER"));
        EXPECT_FALSE(tavro.settings_restored()) << "keys are read one by one";
        if (r.signal != 0) tavro.child.signal(r.signal);
        if (*r.keys != '\0') tavro.types(r.keys);
        EXPECT_TRUE(tavro.reads(restored));
        const int status = tavro.ends();
        // A sanitizer reports the crash in its own way; it must not be taken for an orderly end.
        if (r.signal == SIGSEGV || r.signal == SIGABRT) {
            EXPECT_NE(status, 0);
        } else {
            EXPECT_EQ(status, r.status);
        }
        EXPECT_TRUE(tavro.settings_restored());
    }
}

TEST(terminal, is_put_back_while_the_program_is_stopped) {
    const small_set file;
    on_terminal tavro({"monitor", file.path});
    ASSERT_TRUE(tavro.reads("PLAYER"));
    tavro.types("\x1a");
    EXPECT_TRUE(tavro.reads(restored));
    ASSERT_TRUE(tavro.child.is_stopped());
    EXPECT_TRUE(tavro.settings_restored());
    tavro.child.signal(SIGCONT);
    EXPECT_TRUE(tavro.reads("\x1b[?1049h")) << "it takes the screen again";
    EXPECT_TRUE(tavro.reads("PLAYER")) << "and draws everything anew";
    tavro.types("q");
    EXPECT_EQ(tavro.ends(), 0);
}

TEST(terminal, follows_a_resize_and_says_when_there_is_no_room) {
    const small_set file;
    on_terminal tavro({"monitor", file.path});
    ASSERT_TRUE(tavro.reads("PLAYER"));
    tavro.resize(30, 8);
    EXPECT_TRUE(tavro.reads("30x8,"));
    tavro.resize(100, 30);
    EXPECT_TRUE(tavro.reads("PLAYER"));
}

TEST(terminal, obeys_no_color) {
    const small_set file;
    for (const bool colors : {true, false}) {
        on_terminal tavro({"monitor", file.path}, colors ? nullptr : "1");
        ASSERT_TRUE(tavro.reads("PLAYER"));
        tavro.types("\x0cq");  // one more whole picture
        EXPECT_TRUE(tavro.reads(restored));
        EXPECT_EQ(tavro.output.text().find("\x1b[38;5;") != std::string::npos, colors);
        EXPECT_EQ(tavro.ends(), 0);
    }
}

TEST(terminal, a_terminal_that_takes_nothing_does_not_hold_it) {
    const small_set file;
    on_terminal tavro({"monitor", file.path});
    ASSERT_TRUE(tavro.reads("PLAYER"));
    // Nobody reads any more: pictures wait, and the signal is obeyed all the same.
    for (int i = 0; i < 20; ++i) tavro.resize(static_cast<unsigned short>(200 + i), 60);
    tavro.child.signal(SIGTERM);
    EXPECT_EQ(tavro.ends(), 0);
}

}  // namespace
