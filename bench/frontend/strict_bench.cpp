// What strict checking adds to a compile: its pass over the tree of a script of 10,000 lines,
// beside the compile of the same script without it.

#include <benchmark/benchmark.h>

#include <algorithm>

#include "frontend/builder/builder.h"
#include "frontend/strict/strict_check.h"
#include "frontend/syntax/lexer.h"
#include "runtime/log/log.h"
#include "runtime/script/script.h"
#include "twin_source.h"

namespace {

constexpr ptrdiff_t source_lines = 10'000;

ptrdiff_t lines_of(const std::string& text) {
    return std::count(text.begin(), text.end(), '\n');
}

const std::string& source() {
    static const std::string made = [] {
        constexpr size_t step_bytes = 4096;
        std::string text;
        for (size_t bytes = step_bytes; lines_of(text) < source_lines; bytes += step_bytes)
            text = "var notify;\n" + write_twins(bytes).tavro;
        return text;
    }();
    return made;
}

size_t findings_of(tvrscript& script, const tvr_ast& tree) {
    tvr_package_imports imports(script);
    tvr_strict_checker checker(script, tree, imports, nullptr);
    checker.infer();
    return checker.report();
}

void compile_of_10000_lines(benchmark::State& run) {
    tvr_log().mask = 0;
    tvrscript script;
    tvr_lexer lexer;
    for (auto _ : run) {
        tvr_syntax_report report;
        std::shared_ptr<const tvr_ast> tree = lexer.load_source(source());
        tvr_package_imports imports(script);
        const auto program =
            tvr_asm_builder(script, std::move(tree), imports, report).create_program();
        if (!program) return run.SkipWithError("the source does not compile");
    }
    run.SetItemsProcessed(run.iterations() * lines_of(source()));
}
BENCHMARK(compile_of_10000_lines)->Unit(benchmark::kMillisecond);

void strict_check_of_10000_lines(benchmark::State& run) {
    tvr_log().mask = 0;
    tvrscript script;
    script.config.strict_mode = true;
    tvr_lexer lexer;
    const std::shared_ptr<const tvr_ast> tree = lexer.load_source(source());
    if (tree == nullptr) return run.SkipWithError("the source does not compile");
    run.counters["findings"] = double(findings_of(script, *tree));
    for (auto _ : run) benchmark::DoNotOptimize(findings_of(script, *tree));
    run.SetItemsProcessed(run.iterations() * lines_of(source()));
}
BENCHMARK(strict_check_of_10000_lines)->Unit(benchmark::kMillisecond);

}  // namespace
