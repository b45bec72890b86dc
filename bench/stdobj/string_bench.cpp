// Methods of std.string on a text of 1 MB, called as scripts call them. `compare_strings` sets them
// beside another language's.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>

#include "../runtime/bench_thread.h"
#include "runtime/payload/std_string.h"
#include "runtime/value/records.h"
#include "runtime/vm/context.h"

namespace {

// Lines such as "12,deck 3,beat,174.00": the same as compare_strings makes.
std::string lines() {
    constexpr size_t size = size_t(1) << 20;
    std::string text;
    for (int i = 0; text.size() < size; ++i) {
        text += std::to_string(i) + ",deck " + std::to_string(i % 6) + ",beat," +
                std::to_string(100 + i % 80) + ".00\n";
    }
    text.resize(size);
    return text;
}

// Calls a method over and over; `expected` is what its result has to say of its size.
void call(benchmark::State& run, const char* method, tvr_native_args args, int64_t expected) {
    const bench_thread thread;
    {
        const tvrvar_shared text(lines());
        tvr_function_def& def = *text->object_ptr()->metadata->find_function(method);
        tvr_vm_context frame;
        const auto called = [&] { return def.callback(text->object_ptr(), frame, args); };
        const tvrvar_shared first = called();
        const int64_t got = first->type == tvrvar_type_int ? first->integer : first->size();
        if (got != expected) {
            run.SkipWithError(("the result says " + std::to_string(got)).c_str());
        }
        for (auto _ : run) benchmark::DoNotOptimize(called());
        run.SetBytesProcessed(run.iterations() * text->size());
    }
    args.clear();
}

constexpr int64_t size = 1 << 20;

void find_absent(benchmark::State& run) {
    call(run, "find", {"deck 9"}, -1);
}
void find_far(benchmark::State& run) {
    call(run, "find", {"\n35000,"}, 863889);
}
void count(benchmark::State& run) {
    call(run, "count", {"beat"}, 42387);
}
void replace_longer(benchmark::State& run) {
    call(run, "replace", {"beat", "downbeat"}, 1218124);
}
void replace_char(benchmark::State& run) {
    call(run, "replace", {",", ";"}, size);
}
void split_lines(benchmark::State& run) {
    call(run, "split", {"\n"}, 42388);
}
void split_commas(benchmark::State& run) {
    call(run, "split", {","}, 127163);
}
void split_words(benchmark::State& run) {
    call(run, "split_words", {}, 84775);
}
void lowercase(benchmark::State& run) {
    call(run, "lowercase", {}, size);
}

BENCHMARK(find_absent);
BENCHMARK(find_far);
BENCHMARK(count);
BENCHMARK(replace_longer);
BENCHMARK(replace_char);
BENCHMARK(split_lines);
BENCHMARK(split_commas);
BENCHMARK(split_words);
BENCHMARK(lowercase);

}  // namespace
