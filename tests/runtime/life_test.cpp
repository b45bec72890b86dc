// How an interpreter begins, runs and ends.

#include <gtest/gtest.h>

#include <csignal>
#include <map>
#include <optional>
#include <thread>

#include "base/forever.h"
#include "interpreter.h"
#include "runtime/object/object.h"
#include "runtime/script/compiler.h"
#include "runtime/value/value.h"

using namespace tavro::test;

namespace {

TEST(interpreter_life, one_for_each_thread) {
    listening_log log;
    interpreter in(log, true);
    ASSERT_TRUE(in.bound);
    tvrscript second;
    tvrscript_config_default config;
    config.log = &log;
    EXPECT_FALSE(second.init(config));
    EXPECT_FALSE(second.init_minimal(config));
    EXPECT_FALSE(in.script.init(config));
    const std::string once = "E There can only be one script interpreter per thread!|";
    EXPECT_EQ(log.said(), once + once + once);
    std::thread([&] {
        listening_log other_log;
        interpreter other(other_log, true);
        EXPECT_TRUE(other.bound);
        other.start("std.print(1 + 1);");
        other.run_to_end();
        EXPECT_EQ(other_log.said(), "2|");
    }).join();
    in.start("std.print(2 + 2);");
    in.run_to_end();
    EXPECT_EQ(log.said(), "4|");
}

TEST(interpreter_life, a_thread_can_have_one_after_the_other) {
    listening_log log;
    for (int i = 0; i < 3; ++i) {
        interpreter in(log, i == 1);
        in.start("std.print(\"again\");");
        in.run_to_end();
    }
    EXPECT_EQ(log.said(), "again|again|again|");
    EXPECT_EQ(tvr_local().script, nullptr);
}

TEST(interpreter_life, update_before_init_does_nothing) {
    tvrscript script;
    listening_log log;
    tvr_local().log = &log;
    script.update();
    tvr_local().log = nullptr;
    EXPECT_FALSE(script.has_work());
}

TEST(interpreter_life, the_configuration_is_told) {
    listening_log log;
    tvrscript_config_default config;
    config.name = "night";
    config.max_call_depth = 0;
    config.strict_errors = true;
    config.restricted_mode = true;
    config.allowed_namespaces = {"std", "club.light"};
    interpreter in(log, true, config);
    EXPECT_TRUE(
        log.heard("\n=== Script Configuration ===\n\n"
                  "Ver:               3.2\n"
                  "Name:              night\n"
                  "File System:       Loaded\n"
                  "Log System:        Loaded\n"
                  "Max Call Depth:    unlimited\n"
                  "Strict Mode:       Disabled\n"
                  "Strict Errors:     Enabled\n"
                  "\n--- Access Control ---\n"
                  "Restricted Mode:   Enabled\n"
                  "Allowed Namespaces:\n"
                  "  std\n"
                  "  club.light\n"
                  "==========================\n"));
    EXPECT_TRUE(log.heard(
        tvr_join("Thread pool initialized with ", in.script.workers.thread_count(), " threads.")));
    const struct {
        const char* name;
        bool allowed;
    } rows[] = {{"std", true}, {"std.math", true}, {"stdx", false},
                {"st", false}, {"club", false},    {"club.light", true},
                {"", false},   {"club.li", false}, {"club.light.red", true}};
    for (const auto& row : rows) {
        EXPECT_EQ(in.script.is_namespace_allowed(row.name), row.allowed) << row.name;
    }
}

TEST(interpreter_life, what_does_not_compile_makes_no_task) {
    listening_log log;
    interpreter in(log);
    EXPECT_FALSE(in.start("x = ;"));
    const std::string said = log.said();
    EXPECT_NE(said.find("Syntax Error"), std::string::npos);
    EXPECT_TRUE(said.ends_with("E Cannot create program.|E Cannot create task.|")) << said;
    EXPECT_FALSE(in.script.create_task_from_file("nowhere"));
    EXPECT_EQ(log.said(),
              "E Cannot find script file nowhere|E Cannot create program.|E Cannot create task.|");
    EXPECT_FALSE(in.script.has_work());
}

TEST(interpreter_life, globals_outlive_the_last_line) {
    listening_log log;
    interpreter in(log);
    const auto task = in.start("n = 1;\ndef next() { n += 1; return n; }\nlater = next;");
    in.run_to_end();
    ASSERT_EQ(task->state, tvr_task_state::finished);
    tvrvar& later = *task->root_frame->cells[task->program->find_var_local("later")];
    EXPECT_EQ(later.call(nullptr)->int_value(), 2);
    EXPECT_EQ(later.call(nullptr)->int_value(), 3);
}

// Every way in which an interpreter can end, each with nothing left and each destructor run once.
TEST(interpreter_life, ends_in_every_state) {
    const std::string speaking =
        "class thing {\n"
        "    name = 0;\n"
        "    def __init__(n) { this.name = n; }\n"
        "    def __deinit__() { std.print(\"end of\", this.name); }\n"
        "}\n";
    const struct {
        const char* what;
        const char* text;
        int frames;
        const char* printed;
    } rows[] = {
        {"before its first turn", "t = thing(1);", 0, ""},
        {"finished, globals in order", "a = thing(1); b = thing(2); c = [thing(3)];", 1,
         "end of 1|end of 2|end of 3|"},
        {"suspended for a time", "def f() { t = thing(1); std.wait(1000000); } f();", 1,
         "end of 1|"},
        {"destructors find functions and later globals",
         "w = 0; last = \"!\";\n"
         "def say(x) { std.print(x, last); }\n"
         "class last_words { def __deinit__() { say(\"bye\"); } }\n"
         "w = last_words();",
         1, "bye !|"},
        {"a ring",
         "a = thing(1); b = thing(2); a.name = [b]; b.name = [a, 7];\n"
         "std.print(1); a = 0; b = 0;",
         1, nullptr},
        {"failed", "t = thing(1); std.raise(\"no\");", 1, nullptr},
        {"a destructor that fails",
         "class bad { def __deinit__() { std.raise(\"bad end\"); } } b = bad(); t = thing(1);", 1,
         nullptr},
    };
    for (const bool workers : {false, true}) {
        for (const auto& row : rows) {
            SCOPED_TRACE(row.what);
            listening_log log;
            {
                interpreter in(log, workers);
                in.start(speaking + row.text);
                for (int i = 0; i < row.frames; ++i) in.script.update();
            }
            EXPECT_FALSE(log.heard("still referenced"));
            EXPECT_FALSE(log.heard("pool chunks"));
            const std::string said = log.said();
            EXPECT_EQ(said, row.printed != nullptr ? row.printed : said);
        }
    }
}

TEST(interpreter_life, a_ring_is_opened_at_the_end) {
    listening_log log;
    {
        interpreter in(log);
        in.start("a = []; a.push(a); b = [me = 1]; b.me = b; a = 0; b = 0;");
        in.run_to_end();
    }
    EXPECT_TRUE(log.heard("L Script shutdown: 2 JSON values"));
    EXPECT_TRUE(log.heard("variables that are still allocated."));
    EXPECT_EQ(log.said(), "");
}

TEST(interpreter_life, what_the_host_still_holds_is_told_and_stays) {
    listening_log log;
    // For good: the memory that the pools leave to them is never freed.
    static tvr_forever<tvrvar_shared> holder;
    static tvr_forever<tvrptr_strong<tvr_task>> task_holder;
    tvrvar_shared& held = holder.get();
    {
        interpreter in(log);
        task_holder.get() = in.start("x = [1, 2];");
        in.run_to_end();
        held = tvrvar_shared("mine");
    }
    EXPECT_EQ(log.said(),
              "E Script shutdown: 1 are still referenced from outside the script, their memory is "
              "not freed.|"
              "E There are still pool chunks allocated!|"    // variables
              "E There are still pool chunks allocated!|");  // control blocks
    EXPECT_TRUE(held->is_none());
}

// Stopping.

// The script says when it is where it shall be stopped.
void expect_stop_to_end(const std::string& text, bool on_worker) {
    listening_log log;
    {
        interpreter in(log, on_worker);
        const auto task = in.start(text);
        task->threaded = on_worker;
        std::thread stopper([&] {
            while (!log.heard("ready")) std::this_thread::yield();
            in.script.request_stop(7);
            in.script.request_stop(8);
        });
        in.run_to_end();
        stopper.join();
        in.script.release_tasks();
        EXPECT_TRUE(task->ended());
        EXPECT_EQ(in.script.stop_status(), 7);
        EXPECT_FALSE(in.script.has_work());
    }
    // A worker may not have come back yet when its task wants the next turn.
    std::string said = log.said();
    const std::string_view overload = "W Thread pool overload, waiting for free worker threads...|";
    const size_t at = said.find(overload);
    if (at != std::string::npos) said.erase(at, overload.size());
    EXPECT_EQ(said, "ready|");
}

TEST(stop, ends_whatever_runs) {
    const char* endless[] = {
        "for (true) {}",
        "try { for (true) {} } catch (e) { std.print(\"caught\"); }",
        "def f() noexcept { for (true) {} } f(); std.print(\"went on\");",
        "def f() { f(); } for (true) { try { f(); } catch (e) {} }",
        "[3, 2, 1].size(); std.sort([3, 2, 1], (a, b) { for (true) {} });",
        "class t { def __deinit__() { std.print(\"ready\"); for (true) {} } } x = t(); x = 0;",
        "x = \"a\"; for (x) { y = x; }",
        "x = 1; for (x != 2) { if (x == 1) { continue; } }",
        "class t { def __eq__(o) { return 1; } } x = t(); for (x == 1) {}",
        "std.wait(1000000);",
        "for (true) { std.wait(0); }",
    };
    for (const char* text : endless) {
        SCOPED_TRACE(text);
        const std::string_view says = "std.print(\"ready\");";
        const bool says_it = std::string_view(text).find(says) != std::string_view::npos;
        const std::string whole = says_it ? text : tvr_join(says, text);
        expect_stop_to_end(whole, false);
        expect_stop_to_end(whole, true);
    }
}

tvrscript* stopped_by_signal = nullptr;

TEST(stop, comes_from_a_signal_handler) {
    listening_log log;
    interpreter in(log);
    stopped_by_signal = &in.script;
    struct sigaction stop {};
    struct sigaction before {};
    stop.sa_handler = [](int) { stopped_by_signal->request_stop(3); };
    ASSERT_EQ(::sigaction(SIGUSR1, &stop, &before), 0);
    const pthread_t self = ::pthread_self();
    in.start("for (true) { std.wait(1000000); }");
    in.script.update();
    std::thread sender([self] { ::pthread_kill(self, SIGUSR1); });
    in.run_to_end();
    sender.join();
    ::sigaction(SIGUSR1, &before, nullptr);
    EXPECT_EQ(in.script.stop_status(), 3);
}

// Compiling files.

// A file system in memory that counts what is read and can tell of times or not.
class memory_files : public tvr_filesys {
public:
    bool read(const std::string& path, std::string& out) override {
        ++reads;
        const auto found = files.find(path);
        out = found != files.end() ? found->second : "";
        return found != files.end();
    }
    bool exists(const std::string& path) override { return files.contains(path); }
    bool is_file(const std::string& path) override { return exists(path); }
    int64_t modified_ns(const std::string&) override { return time; }

    std::map<std::string, std::string> files;
    int64_t time = 0;
    int reads = 0;
};

class program_cache : public testing::Test {
protected:
    // Compiles main.tvio, by whichever name.
    tvrptr_strong<tvr_program_block_root> compile(const char* name = "main") {
        if (!in) {
            tvrscript_config_default config;
            config.filesys = &files;
            in.emplace(log, false, config);
        }
        return in->script.create_program_from_file(name);
    }

    memory_files files;
    listening_log log;
    std::optional<interpreter> in;
};

TEST_F(program_cache, goes_by_times_where_they_are_known) {
    files.time = 1;
    files.files = {{"main.tvio", "#include \"part.tvio\"\nstd.print(x);"}, {"part.tvio", "x = 1;"}};
    const auto first = compile();
    ASSERT_TRUE(first);
    const int reads = files.reads;
    EXPECT_TRUE(compile("main.tvio") == first);
    EXPECT_LE(files.reads, reads + 1);  // nothing but the file that was asked for
    files.time = 2;
    EXPECT_FALSE(compile() == first);
    EXPECT_TRUE(log.heard("L Included file changed, recompiling: "));
}

TEST_F(program_cache, goes_by_texts_where_times_are_not_known) {
    files.files = {{"main.tvio", "#include \"part.tvio\"\nstd.print(x);"}, {"part.tvio", "x = 1;"}};
    const auto first = compile();
    ASSERT_TRUE(first);
    EXPECT_TRUE(compile("main.tvio") == first);
    EXPECT_FALSE(log.heard("recompiling"));
    files.files["part.tvio"] = "x = 2;";
    in->script.create_task_from_file("main");
    in->run_to_end();
    EXPECT_TRUE(log.heard("L Included file changed, recompiling: part.tvio"));
    EXPECT_EQ(log.said(), "2|");
}

TEST_F(program_cache, does_not_keep_what_is_broken) {
    files.files["main.tvio"] = "x = ;";
    EXPECT_FALSE(compile());
    EXPECT_FALSE(compile());
    files.files["main.tvio"] = "x = 1;";
    EXPECT_TRUE(compile());
}

}  // namespace
