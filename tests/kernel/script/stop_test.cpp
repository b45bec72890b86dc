// Endless kernels: the interpreter's lock is free meanwhile, and a request to stop ends them.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>

#include "../../runtime/interpreter.h"
#include "kernel/jit.h"
#include "kernel/launch.h"
#include "kernel/process.h"
#include "runtime/local/global_lock.h"

using namespace tavro::test;

namespace {

constexpr const char* endless =
    "kernel void endless(const u8* p) { while (p[0] == 48) { } }\n"
    "b = std.buffer(\"0000\");\n";

bool a_kernel_runs() {
    tvrk_process& process = tvrk_the_process();
    tvr_lock hold(process.launch_mutex);
    for (tvrk_launch* at = process.first_launch; at != nullptr; at = at->next_launch) {
        if (at->lanes > 0) return true;
    }
    return false;
}

class kernel_stop : public testing::Test {
protected:
    void SetUp() override { tvrk_jit_set_policy(tvrk_jit_policy::off); }
};

// Runs a script that comes to an endless kernel, and stops it from another thread.
std::string run_stopped(const std::string& text, bool workers) {
    listening_log log;
    {
        interpreter in(log, workers);
        std::thread stopper([&] {
            while (!a_kernel_runs()) std::this_thread::yield();
            const tvr_global_lock hold(&in.script.lock);  // given back by who waits
            in.script.request_stop(3);
        });
        const auto task = in.start(endless + text);
        in.run_until([&] { return !task || in.script.stop_requested(); });
        stopper.join();
        EXPECT_EQ(in.script.stop_status(), 3);
    }
    return log.said();
}

TEST_F(kernel_stop, ends_a_launch_that_is_waited_for) {
    for (const bool workers : {false, true}) {
        EXPECT_EQ(run_stopped("std.print(1); endless.launch(4, b); std.print(2);", workers), "1|");
        EXPECT_EQ(run_stopped("j = endless.launch_async(4, b); j.wait(); std.print(2);", workers),
                  "");
        EXPECT_EQ(run_stopped("endless.launch([2, 2], b); std.print(2);", workers), "");
    }
}

// The script has ended, and waits in its last frame for the job that goes with it.
TEST_F(kernel_stop, ends_what_nobody_waits_for_at_shutdown) {
    listening_log log;
    {
        interpreter in(log, true);
        in.start(std::string(endless) +
                 "j = endless.launch_async(4, b); k = endless.launch_async(1, b);");
        in.run_to_end();
    }
    EXPECT_EQ(log.said(), "");
    EXPECT_FALSE(a_kernel_runs());
}

TEST_F(kernel_stop, by_the_script_itself) {
    listening_log log;
    interpreter in(log, true);
    in.start(std::string(endless) +
             "j = endless.launch_async(4, b); std.exit(5); j.wait(); std.print(2);");
    in.run_to_end();
    EXPECT_EQ(in.script.stop_status(), 5);
    EXPECT_EQ(log.said(), "");
}

// An interpreter that ends leaves the launches of others alone.
TEST_F(kernel_stop, is_a_matter_of_one_interpreter) {
    std::atomic<bool> other_over{false};
    std::thread other([&] {
        while (!a_kernel_runs()) std::this_thread::yield();
        listening_log log;
        { interpreter gone(log, true); }
        listening_log second;
        interpreter stopped(second, true);
        stopped.script.request_stop(1);
        other_over = true;
    });
    listening_log log;
    interpreter in(log, true);
    in.start(std::string(endless) + "j = endless.launch_async(4, b);");
    in.run_until([&] { return other_over.load(); });
    other.join();
    EXPECT_TRUE(a_kernel_runs());
    in.start("std.print(\"still here\");");
    in.run_to_end();
    EXPECT_TRUE(log.heard("still here"));
}

TEST_F(kernel_stop, another_abort_is_an_error_of_the_script) {
    listening_log log;
    interpreter in(log, true);
    std::thread stopper([] {
        while (!a_kernel_runs()) std::this_thread::yield();
        tvrk_abort_all();
    });
    in.start(std::string(endless) +
             "try { endless.launch(4, b); } catch (e) { std.print(e); } b[0] = 1;");
    in.run_to_end();
    stopper.join();
    EXPECT_EQ(log.said(), "kernel 'endless' was aborted|");
}

// A script that has come to its end waits for no C compiler. Looked up once in a process, so this
// is one of its own.
TEST_F(kernel_stop, ends_the_compiler_at_shutdown) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(
        {
            const auto folder = std::filesystem::temp_directory_path() /
                                ("tavro_kernel_stop_" + std::to_string(getpid()));
            const std::string started = folder / "started";
            setenv("TVR_KERNEL_CACHE", folder.c_str(), 1);
            setenv("TVR_KERNEL_CC", ("touch " + started + "; sleep 100000 #").c_str(), 1);
            tvrk_jit_set_policy(tvrk_jit_policy::automatic);
            listening_log log;
            {
                interpreter in(log, true);
                in.start("kernel i64 k() reduce(+) { return 1; } std.print(k.launch(10));");
                in.run_to_end();
                while (!std::filesystem::exists(started)) std::this_thread::yield();
            }
            std::filesystem::remove_all(folder);
            exit(log.said() == "10|" ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
