// From source text to syntax tree, in MB and tokens a second, beside a known front end on the same
// program in its own language: `luac5.4 -p` reads Lua source and generates code from it.

#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>

#include "frontend/syntax/lexer.h"
#include "runtime/log/log.h"
#include "twin_source.h"

namespace {

constexpr size_t source_bytes = 1 << 20;

const twin_source& twins() {
    static const twin_source made = write_twins(source_bytes);
    return made;
}

double cpu_seconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

// The tokens of the text, or 0 when it does not compile.
size_t compile(const std::string& text) {
    tvr_log().mask = 0;
    tvr_lexer lexer;
    const auto tree = lexer.load_source(text);
    return tree != nullptr ? tree->token_view().tokens.size() : 0;
}

void source_to_tree(benchmark::State& run) {
    const size_t tokens = compile(twins().tavro);
    if (tokens == 0) return run.SkipWithError("the source does not compile");
    for (auto _ : run) benchmark::DoNotOptimize(compile(twins().tavro));
    run.SetBytesProcessed(run.iterations() * int64_t(twins().tavro.size()));
    run.SetItemsProcessed(run.iterations() * int64_t(tokens));
}
BENCHMARK(source_to_tree)->Unit(benchmark::kMillisecond);

void stage_1(benchmark::State& run) {
    tvr_log().mask = 0;
    for (auto _ : run) benchmark::DoNotOptimize(tvr_lexer().stage_1(twins().tavro, "<memory>"));
    run.SetBytesProcessed(run.iterations() * int64_t(twins().tavro.size()));
}
BENCHMARK(stage_1)->Unit(benchmark::kMillisecond);

void stage_2(benchmark::State& run) {
    tvr_lexer lexer;
    const auto tokens = lexer.stage_1(twins().tavro, "<memory>");
    for (auto _ : run) benchmark::DoNotOptimize(lexer.stage_2(tokens));
    run.SetBytesProcessed(run.iterations() * int64_t(twins().tavro.size()));
}
BENCHMARK(stage_2)->Unit(benchmark::kMillisecond);

// Processor time in s of a run of luac, or a negative number when it cannot run.
double luac_seconds(const std::string& path) {
    std::string program = "luac5.4", option = "-p", file = path;
    char* arguments[] = {program.data(), option.data(), file.data(), nullptr};
    pid_t child = 0;
    if (posix_spawnp(&child, program.c_str(), nullptr, nullptr, arguments, environ) != 0) return -1;
    int status = 0;
    rusage used{};
    if (wait4(child, &status, 0, &used) != child || status != 0) return -1;
    const auto seconds = [](const timeval& t) {
        return double(t.tv_sec) + double(t.tv_usec) / 1e6;
    };
    return seconds(used.ru_utime) + seconds(used.ru_stime);
}

std::string write_file(const char* name, const std::string& text) {
    const std::string path = std::string(std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp") +
                             "/tavro_bench_" + std::to_string(getpid()) + name;
    std::ofstream(path) << text;
    return path;
}

// What luac takes for the twin, less what it takes to start; `of_luac` is our time over its.
void luac_of_equal_code(benchmark::State& run) {
    const std::string twin = write_file("_twin.lua", twins().lua);
    const std::string empty = write_file("_empty.lua", "");
    double start = luac_seconds(empty);
    for (int i = 0; i < 9; ++i) start = std::min(start, luac_seconds(empty));
    double theirs = 0, ours = 0;
    for (auto _ : run) {
        const double seconds = luac_seconds(twin);
        if (start < 0 || seconds < 0) {
            run.SkipWithError("left out: luac5.4 (package lua5.4) is not installed");
            break;
        }
        run.SetIterationTime(seconds - start);
        theirs += seconds - start;
        const double before = cpu_seconds();
        benchmark::DoNotOptimize(compile(twins().tavro));
        ours += cpu_seconds() - before;
    }
    run.SetBytesProcessed(run.iterations() * int64_t(twins().lua.size()));
    run.counters["of_luac"] = ours / theirs;
    std::remove(twin.c_str());
    std::remove(empty.c_str());
}
BENCHMARK(luac_of_equal_code)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
