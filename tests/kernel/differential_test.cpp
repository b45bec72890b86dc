// What must agree is compared: every engine and every number of threads, on kernels that nobody
// thought of. Seeds are fixed; fuzz/kernel_engines.cpp goes on from there.

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "random_bytecode.h"
#include "random_kernel.h"

using namespace tavro::test;

namespace {

std::shared_ptr<const tvrk_unit> compile(const std::string& source) {
    tvrk_compile_error error;
    auto unit = tvrk_compile(source, "random", error);
    if (unit == nullptr) {
        ADD_FAILURE() << error.line << ":" << error.column << ": " << error.message << "\n"
                      << source;
    }
    return unit;
}

struct trial {
    std::string source;
    std::shared_ptr<const tvrk_unit> unit;
    kernel_arguments given;
    kernel_outcome expected;  // of the scalar interpreter on one thread

    const tvrk_program& program() const { return *unit->kernels.at(0).program; }
};

trial make_trial(uint64_t seed, bool safe, uint64_t width, uint64_t height) {
    chance dice(seed);
    random_kernel generator(dice, safe);
    trial made;
    made.source = generator.source();
    made.unit = compile(made.source);
    if (made.unit == nullptr) return made;
    EXPECT_EQ(tvrk_verify(made.program()), "") << made.source;
    made.given = generator.arguments(width, height);
    made.expected = run_kernel(made.program(), made.given, interpreters().front());
    return made;
}

void expect_same(const trial& tried, const kernel_engine& engine) {
    const kernel_outcome got = run_kernel(tried.program(), tried.given, engine);
    ASSERT_EQ(difference(tried.program(), tried.expected, got), "")
        << engine.name << "\n"
        << tried.source << tried.program().disassemble();
}

std::vector<const tvrk_program*> programs_of(const std::vector<trial>& trials) {
    std::vector<const tvrk_program*> programs;
    for (const trial& tried : trials) programs.push_back(&tried.program());
    return programs;
}

// All kernels in one library, as ahead-of-time code: one run of the compiler.
void make_native(const std::vector<const tvrk_program*>& programs, const std::string& name) {
    const std::string stem = private_cache() + "/" + name;
    std::ofstream(stem + ".c") << tvrk_aot_source(programs);
    const std::string command = tvrk_jit_compiler() +
                                " -O2 -shared -fPIC -fno-strict-aliasing -ffp-contract=off "
                                "-fno-math-errno -DTVRK_AOT_SHARED -o " +
                                stem + ".so " + stem + ".c";
    ASSERT_EQ(std::system(command.c_str()), 0);
    std::string error;
    ASSERT_GT(tvrk_aot_load(stem + ".so", error), 0) << error;
    for (const tvrk_program* program : programs) {
        tvrk_jit_request(nullptr, *program, nullptr);
        ASSERT_EQ(tvrk_jit_status(*program), "aot");
    }
}

constexpr uint64_t seeds = 80;

TEST(differential, safe_kernels_in_every_engine) {
    std::vector<trial> trials;
    for (uint64_t seed = 0; seed < seeds; ++seed) {
        SCOPED_TRACE(seed);
        // Chunks of two invocations and of some dozens; rows that chunks cut.
        trials.push_back(seed % 3 == 0 ? make_trial(seed, true, 37, 60)
                                       : make_trial(seed, true, 300 + 40 * seed, 1));
        ASSERT_NE(trials.back().unit, nullptr);
        ASSERT_EQ(trials.back().expected.trap, "") << trials.back().source;
        for (const kernel_engine& engine : interpreters()) expect_same(trials.back(), engine);
        if (HasFatalFailure()) return;
    }
    if (tvrk_jit_compiler().empty()) GTEST_SKIP() << "no C compiler";
    make_native(programs_of(trials), "safe");
    for (const trial& tried : trials) {
        expect_same(tried, native_engine(0));
        expect_same(tried, native_engine(3));
        if (HasFatalFailure()) return;
    }
}

TEST(differential, kernels_that_trap_in_every_engine) {
    std::vector<trial> trials;
    size_t trapped = 0;
    for (uint64_t seed = 1000; seed < 1000 + seeds; ++seed) {
        SCOPED_TRACE(seed);
        trials.push_back(make_trial(seed, false, 1, 1));
        ASSERT_NE(trials.back().unit, nullptr);
        if (!trials.back().expected.trap.empty()) ++trapped;
        for (const kernel_engine& engine : interpreters()) expect_same(trials.back(), engine);
        if (HasFatalFailure()) return;
    }
    EXPECT_GT(trapped, seeds / 10);
    if (tvrk_jit_compiler().empty()) GTEST_SKIP() << "no C compiler";
    make_native(programs_of(trials), "trapping");
    for (const trial& tried : trials) expect_same(tried, native_engine(0));
}

// Without the compiler in between: all pure instructions, branches and a loop.
TEST(differential, random_bytecode_in_every_engine) {
    std::vector<std::shared_ptr<tvrk_program>> programs;
    std::vector<const tvrk_program*> native;
    std::vector<kernel_arguments> given;
    std::vector<kernel_outcome> expected;
    for (uint64_t seed = 0; seed < seeds; ++seed) {
        SCOPED_TRACE(seed);
        chance dice(seed);
        random_bytecode generator(dice);
        programs.push_back(generator.program());
        native.push_back(programs.back().get());
        given.push_back(generator.arguments(200 + seed));
        ASSERT_EQ(tvrk_verify(*programs.back()), "");
        for (const kernel_engine& engine : interpreters()) {
            const kernel_outcome got = run_kernel(*programs.back(), given.back(), engine);
            if (engine.name == interpreters().front().name) expected.push_back(got);
            ASSERT_EQ(difference(*programs.back(), expected.back(), got), "")
                << engine.name << "\n"
                << programs.back()->disassemble();
        }
    }
    if (tvrk_jit_compiler().empty()) GTEST_SKIP() << "no C compiler";
    make_native(native, "bytecode");
    for (size_t i = 0; i < programs.size(); ++i) {
        const kernel_outcome got = run_kernel(*programs[i], given[i], native_engine(3));
        ASSERT_EQ(difference(*programs[i], expected[i], got), "") << programs[i]->disassemble();
    }
}

}  // namespace
