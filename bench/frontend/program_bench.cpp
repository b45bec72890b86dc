// From source text to program in MB a second, and the builder's part of it alone.

#include <benchmark/benchmark.h>

#include <memory>

#include "frontend/builder/builder.h"
#include "frontend/syntax/lexer.h"
#include "runtime/log/log.h"
#include "runtime/script/script.h"
#include "twin_source.h"

namespace {

constexpr size_t source_bytes = 1 << 20;

const std::string& source() {
    // The one name from outside that the twins use.
    static const std::string made = "var notify;\n" + write_twins(source_bytes).tavro;
    return made;
}

// The functions of the root block, or 0 when the text does not compile.
size_t build(tvrscript& script, const std::shared_ptr<const tvr_ast>& tree) {
    tvr_syntax_report report;
    tvr_package_imports imports(script);
    const auto program = tvr_asm_builder(script, tree, imports, report).create_program();
    return program ? program->sub_blocks.size() : 0;
}

void source_to_program(benchmark::State& run) {
    tvr_log().mask = 0;
    tvrscript script;
    tvr_lexer lexer;
    if (build(script, lexer.load_source(source())) == 0)
        return run.SkipWithError("the source does not compile");
    for (auto _ : run) benchmark::DoNotOptimize(build(script, lexer.load_source(source())));
    run.SetBytesProcessed(run.iterations() * int64_t(source().size()));
}
BENCHMARK(source_to_program)->Unit(benchmark::kMillisecond);

void tree_to_program(benchmark::State& run) {
    tvr_log().mask = 0;
    tvrscript script;
    tvr_lexer lexer;
    const std::shared_ptr<const tvr_ast> tree = lexer.load_source(source());
    if (build(script, tree) == 0) return run.SkipWithError("the source does not compile");
    for (auto _ : run) benchmark::DoNotOptimize(build(script, tree));
    run.SetBytesProcessed(run.iterations() * int64_t(source().size()));
}
BENCHMARK(tree_to_program)->Unit(benchmark::kMillisecond);

}  // namespace
