// Native code: built, cached, refused, and made elsewhere.
//
// The compiler and the directory are looked up once in a process, so whatever needs other ones
// runs in a process of its own (EXPECT_EXIT in threadsafe style starts the program anew).

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <thread>

#include "engines.h"

using namespace tavro::test;

namespace {

std::shared_ptr<const tvrk_unit> compile(const std::string& source) {
    tvrk_compile_error error;
    auto unit = tvrk_compile(source, "file", error);
    EXPECT_NE(unit, nullptr) << error.message;
    return unit;
}

const char* const adder = "kernel i64 k(i64 a) reduce(+) { return i64(gid) + a; }";

int64_t sum_of(const tvrk_program& program) {
    kernel_arguments given;
    given.width = 1000;
    given.scalars = {whole(1)};
    return run_kernel(program, given, native_engine(0)).results[0].i;
}

// In the child: the status after a synchronous request, with the interpreter still right.
[[noreturn]] void leave_with_status(const std::string& expected_start) {
    tvrk_jit_set_policy(tvrk_jit_policy::sync);
    const auto unit = compile(adder);
    const tvrk_program& program = *unit->kernels[0].program;
    tvrk_jit_request(unit, program, nullptr);
    const std::string status = tvrk_jit_status(program);
    if (!status.starts_with(expected_start)) {
        fprintf(stderr, "status: %.500s\n", status.c_str());
        exit(1);
    }
    exit(sum_of(program) == 500500 ? 0 : 2);
}

size_t files_in(const std::string& folder) {
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        (void)entry;
        ++count;
    }
    return count;
}

TEST(native, compilers_that_fail) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    const std::string folder = private_cache();
    struct row {
        const char* what;
        const char* compiler;
        const char* status;
    };
    const row rows[] = {
        {"exits with an error", "sh -c 'echo broken; exit 3' #",
         "failed: C compiler failed (3):\nbroken"},
        {"is not there", "/nonexistent/cc", "failed: C compiler failed (127):"},
        {"prints a megabyte", "sh -c 'head -c 1000000 /dev/zero | tr \"\\0\" x; exit 1' #",
         "failed: C compiler failed (1):\nxxxx"},
        {"hangs up its pipe", "sh -c 'exec >&- 2>&-; exit 4' #", "failed: C compiler failed (4):"},
        {"makes no library", "sh -c 'exit 0' #", "failed: cannot write "},
    };
    for (const row& r : rows) {
        EXPECT_EXIT(
            {
                setenv("TVR_KERNEL_CC", r.compiler, 1);
                setenv("TVR_KERNEL_CACHE", (folder + "/failing").c_str(), 1);
                leave_with_status(r.status);
            },
            testing::ExitedWithCode(0), "")
            << r.what;
    }
}

TEST(native, no_compiler_and_no_directory) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(
        {
            setenv("PATH", "/nonexistent", 1);
            unsetenv("TVR_KERNEL_CC");
            leave_with_status("failed: no C compiler found (set TVR_KERNEL_CC)");
        },
        testing::ExitedWithCode(0), "");
    EXPECT_EXIT(
        {
            setenv("TVR_KERNEL_CC", "cc", 1);
            setenv("TVR_KERNEL_CACHE", "/proc/nowhere", 1);
            unsetenv("XDG_CACHE_HOME");
            unsetenv("HOME");
            leave_with_status("failed: no directory for compiled kernels (set TVR_KERNEL_CACHE)");
        },
        testing::ExitedWithCode(0), "");
    EXPECT_EXIT(
        {
            setenv("TVR_KERNEL_CC", "cc", 1);
            setenv("TVR_KERNEL_CACHE", "/dev/shm/../../proc", 1);  // there, but nothing can be made
            leave_with_status("failed: cannot write ");
        },
        testing::ExitedWithCode(0), "");
}

// What a power cut leaves in the cache: a file of the right name with nothing in it.
TEST(native, a_broken_file_in_the_cache_is_made_anew) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    const std::string folder = private_cache();
    if (tvrk_jit_compiler().empty()) GTEST_SKIP() << "no C compiler";
    EXPECT_EXIT(
        {
            const pid_t first = fork();
            if (first == 0) {
                tvrk_jit_set_policy(tvrk_jit_policy::sync);
                const auto unit = compile(adder);
                tvrk_jit_request(unit, *unit->kernels[0].program, nullptr);
                _exit(tvrk_jit_status(*unit->kernels[0].program) == "ready" ? 0 : 1);
            }
            int status = -1;
            if (waitpid(first, &status, 0) != first || status != 0) exit(3);
            for (const auto& entry : std::filesystem::directory_iterator(folder)) {
                std::filesystem::resize_file(entry.path(), 0);
            }
            if (files_in(folder) != 1) exit(4);
            leave_with_status("ready");
        },
        testing::ExitedWithCode(0), "");
}

// The compiler never comes to its end by itself, nor does what it has started.
TEST(native, a_build_that_is_called_off_ends_its_compiler) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    const std::string started = private_cache() + "/started";
    for (const char* compiler :
         {"sleep 100000; true", "trap '' TERM; sleep 100000; sleep 100000"}) {
        EXPECT_EXIT(
            {
                const std::string command = "touch " + started + "; " + compiler + " #";
                setenv("TVR_KERNEL_CC", command.c_str(), 1);
                const auto unit = compile(adder);
                const tvrk_program& program = *unit->kernels[0].program;
                std::atomic<bool> over{false};
                std::thread builder;
                const tvrk_spawn spawn = [&builder](std::function<void()> task) {
                    builder = std::thread(std::move(task));
                    return true;
                };
                tvrk_jit_request(unit, program, spawn, [&over] { return over.load(); });
                while (!std::filesystem::exists(started)) std::this_thread::yield();
                over = true;
                builder.join();
                if (tvrk_jit_status(program) != "none") exit(1);
                tvrk_jit_request(unit, program, [](const auto&) { return true; });
                exit(tvrk_jit_status(program) == "compiling" ? 0 : 2);
            },
            testing::ExitedWithCode(0), "")
            << compiler;
    }
}

TEST(native, policy_off_compiles_nothing) {
    tvrk_jit_set_policy(tvrk_jit_policy::off);
    const auto unit = compile(adder);
    tvrk_jit_request(unit, *unit->kernels[0].program, nullptr);
    EXPECT_EQ(tvrk_jit_status(*unit->kernels[0].program), "off");
    tvrk_jit_set_policy(tvrk_jit_policy::automatic);
    EXPECT_EQ(tvrk_jit_status(*unit->kernels[0].program), "none");
}

TEST(native, sync_builds_once_and_the_cache_serves_the_rest) {
    const std::string folder = private_cache();
    if (tvrk_jit_compiler().empty()) GTEST_SKIP() << "no C compiler";
    tvrk_jit_set_policy(tvrk_jit_policy::sync);
    const char* const source = "kernel i64 k(i64 a) reduce(+) { return i64(gid) * 3 + a; }";
    const auto first = compile(source), second = compile(source);
    tvrk_jit_request(first, *first->kernels[0].program, nullptr);
    ASSERT_EQ(tvrk_jit_status(*first->kernels[0].program), "ready");
    const size_t files = files_in(folder);
    tvrk_jit_request(second, *second->kernels[0].program, nullptr);
    ASSERT_EQ(tvrk_jit_status(*second->kernels[0].program), "ready");
    EXPECT_EQ(files_in(folder), files);
    EXPECT_EQ(sum_of(*second->kernels[0].program), 1499500);
    tvrk_jit_set_policy(tvrk_jit_policy::automatic);
}

TEST(native, a_refused_build_is_asked_for_again) {
    private_cache();
    if (tvrk_jit_compiler().empty()) GTEST_SKIP() << "no C compiler";
    const auto unit = compile("kernel i64 k(i64 a) reduce(+) { return i64(gid) * 5 + a; }");
    const tvrk_program& program = *unit->kernels[0].program;
    tvrk_jit_request(unit, program, [](const std::function<void()>&) { return false; });
    EXPECT_EQ(tvrk_jit_status(program), "none");
    std::function<void()> waiting;
    const tvrk_spawn keep = [&waiting](std::function<void()> task) {
        waiting = std::move(task);
        return true;
    };
    tvrk_jit_request(unit, program, keep);
    EXPECT_EQ(tvrk_jit_status(program), "compiling");
    // A synchronous launch on the only worker builds it itself; the task then comes too late.
    tvrk_jit_set_policy(tvrk_jit_policy::sync);
    tvrk_jit_request(unit, program, keep);
    EXPECT_EQ(tvrk_jit_status(program), "ready");
    waiting();
    EXPECT_EQ(tvrk_jit_status(program), "ready");
    EXPECT_EQ(sum_of(program), 2498500);
    tvrk_jit_set_policy(tvrk_jit_policy::automatic);
}

TEST(native, many_threads_ask_at_once) {
    private_cache();
    if (tvrk_jit_compiler().empty()) GTEST_SKIP() << "no C compiler";
    tvrk_jit_set_policy(tvrk_jit_policy::sync);
    const auto unit = compile("kernel i64 k(i64 a) reduce(+) { return i64(gid) * 7 + a; }");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&unit] {
            tvrk_jit_request(unit, *unit->kernels[0].program, nullptr);
            EXPECT_EQ(tvrk_jit_status(*unit->kernels[0].program), "ready");
        });
    }
    for (std::thread& thread : threads) thread.join();
    tvrk_jit_set_policy(tvrk_jit_policy::automatic);
}

TEST(native, an_endless_kernel_can_be_aborted) {
    private_cache();
    if (tvrk_jit_compiler().empty()) GTEST_SKIP() << "no C compiler";
    tvrk_jit_set_policy(tvrk_jit_policy::sync);
    const auto unit =
        compile("kernel void k(const i32* p) { i32 n = 0; while (n >= 0) { n = p[0]; } }");
    const tvrk_program& program = *unit->kernels[0].program;
    tvrk_jit_request(unit, program, nullptr);
    ASSERT_EQ(tvrk_jit_status(program), "ready");
    int32_t memory[1] = {};
    const auto launch = std::make_shared<tvrk_launch>();
    launch->setup(unit, program, 1, 1);
    launch->ptrs[0] = {reinterpret_cast<uint8_t*>(memory), 1, 4, 4};
    std::thread runner([&launch] { launch->wait(); });
    while (launch->lanes == 0) std::this_thread::yield();
    launch->abort = true;
    runner.join();
    EXPECT_FALSE(launch->trapped);
    tvrk_jit_set_policy(tvrk_jit_policy::automatic);
}

// ahead of time ------------------------------------------------------------------------------

TEST(ahead_of_time, the_hash_covers_code_and_no_names) {
    const auto hash = [](const char* source) {
        return tvrk_aot_hash(*compile(source)->kernels[0].program);
    };
    const uint64_t base = hash("kernel void k(i32* p) { p[gid] = 3; }");
    EXPECT_EQ(base, hash("\n\nkernel void other(i32* data) { data[gid] = 3; /* same */ }"));
    EXPECT_NE(base, hash("kernel void k(i32* p) { p[gid] = 4; }"));
}

TEST(ahead_of_time, a_library_serves_kernels_that_are_already_compiled) {
    const std::string folder = private_cache();
    if (tvrk_jit_compiler().empty()) GTEST_SKIP() << "no C compiler";
    const auto unit = compile(
        "kernel i64 k(i64 a) reduce(+) { return i64(gid) * 11 + a; }\n"
        "kernel i64 twin(i64 a) reduce(+) { return i64(gid) * 11 + a; }");
    const tvrk_program& program = *unit->kernels[0].program;
    // Already ready from here: stays so.
    const auto built = compile("kernel i64 k(i64 a) reduce(+) { return i64(gid) * 13 + a; }");
    tvrk_jit_set_policy(tvrk_jit_policy::sync);
    tvrk_jit_request(built, *built->kernels[0].program, nullptr);
    tvrk_jit_set_policy(tvrk_jit_policy::automatic);

    const std::string text = tvrk_aot_source(
        {&program, unit->kernels[1].program.get(), built->kernels[0].program.get()});
    for (const char* language : {"c", "c++"}) {
        const std::string stem = folder + "/aot";
        std::ofstream(stem + ".c") << text;
        const std::string shared =
            std::string(language) == "c" ? " -DTVRK_AOT_SHARED -shared" : " -c";
        ASSERT_EQ(std::system((tvrk_jit_compiler() + " -x " + language + " -O2 -fPIC -w" + shared +
                               " -o " + stem + "." + language + ".so " + stem + ".c")
                                  .c_str()),
                  0);
    }
    std::string error;
    EXPECT_EQ(tvrk_aot_load(folder + "/aot.c.so", error), 2) << error;
    EXPECT_EQ(tvrk_aot_load(folder + "/aot.c.so", error), 2) << error;
    tvrk_jit_request(unit, program, nullptr);
    tvrk_jit_request(built, *built->kernels[0].program, nullptr);
    EXPECT_EQ(tvrk_jit_status(program), "aot");
    EXPECT_EQ(tvrk_jit_status(*built->kernels[0].program), "ready");
    EXPECT_EQ(sum_of(program), 5495500);
}

TEST(ahead_of_time, what_is_no_library) {
    const std::string folder = private_cache();
    std::string error;
    EXPECT_EQ(tvrk_aot_load("/nonexistent.so", error), -1);
    EXPECT_TRUE(error.starts_with("cannot load /nonexistent.so: ")) << error;
    EXPECT_NE(tvrk_aot_source({}).find("\t{ 0, 0 }\n"), std::string::npos);
    if (tvrk_jit_compiler().empty()) GTEST_SKIP() << "no C compiler";
    const std::string path = folder + "/none.so";
    std::ofstream(folder + "/none.c") << "int nothing;\n";
    ASSERT_EQ(
        std::system(
            (tvrk_jit_compiler() + " -shared -fPIC -o " + path + " " + folder + "/none.c").c_str()),
        0);
    EXPECT_EQ(tvrk_aot_load(path, error), -1);
    EXPECT_EQ(error, path +
                         " is not a kernel library (no tvrk_aot_table, build it with "
                         "-DTVRK_AOT_SHARED)");
}

}  // namespace
