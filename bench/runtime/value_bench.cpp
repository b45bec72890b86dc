// Values: nanoseconds for what a script does at every step. One item is one operation.

#include <benchmark/benchmark.h>

#include <string>
#include <string_view>

#include "bench_thread.h"
#include "runtime/local/pool_set.h"
#include "runtime/payload/std_json.h"
#include "runtime/value/arithmetic.h"
#include "runtime/value/records.h"

namespace {

constexpr std::string_view text = "the name of a track, of usual length";

tvrvar_shared make(int64_t type) {
    tvrvar_shared made = tvrvar_shared::make();
    switch (type) {
    case tvrvar_type_int: made->as_int(3); break;
    case tvrvar_type_float: made->as_float(0.5); break;
    case tvrvar_type_string: made->as_string(text); break;
    case tvrvar_type_json: made->from_string("[1,2,3,4]"); break;
    default: break;
    }
    return made;
}

void name_type(benchmark::State& run) {
    run.SetLabel(std::string(tvrvar_type_name(uint8_t(run.range(0)))));
    run.SetItemsProcessed(run.iterations());
}

void add(benchmark::State& run) {
    const bench_thread thread;
    const tvrvar_shared left = make(run.range(0)), right = make(run.range(0));
    const tvrvar_shared sum = tvrvar_shared::make();
    for (auto _ : run) {
        tvrvar_add(*left, *right, *sum);
        benchmark::DoNotOptimize(*sum);
    }
    if (sum->type != run.range(0)) run.SkipWithError("wrong sum");
    name_type(run);
}
BENCHMARK(add)->Arg(tvrvar_type_int)->Arg(tvrvar_type_float)->Arg(tvrvar_type_string);

void compare(benchmark::State& run) {
    const bench_thread thread;
    const tvrvar_shared left = make(run.range(0)), right = make(run.range(0));
    bool equal = true;
    for (auto _ : run) {
        equal &= left->compare_equal(*right);
        benchmark::ClobberMemory();
    }
    if (!equal) run.SkipWithError("not equal");
    name_type(run);
}
BENCHMARK(compare)
    ->Arg(tvrvar_type_int)
    ->Arg(tvrvar_type_float)
    ->Arg(tvrvar_type_string)
    ->Arg(tvrvar_type_json);

void assign(benchmark::State& run) {
    const bench_thread thread;
    tvrvar_shared source = make(run.range(0)), target = tvrvar_shared::make();
    for (auto _ : run) {
        target->set(source);
        benchmark::DoNotOptimize(*target);
    }
    if (!target->compare_equal(*source)) run.SkipWithError("not equal");
    name_type(run);
}
BENCHMARK(assign)->Arg(tvrvar_type_int)->Arg(tvrvar_type_string)->Arg(tvrvar_type_json);

// A new variable with a value, and its end.
void new_and_free(benchmark::State& run) {
    const bench_thread thread;
    tvrvar_shared source = make(run.range(0));
    for (auto _ : run) {
        const tvrvar_shared fresh = tvrvar_shared::make();
        fresh->set(*source);
        benchmark::DoNotOptimize(*fresh);
    }
    name_type(run);
}
BENCHMARK(new_and_free)
    ->Arg(tvrvar_type_none)
    ->Arg(tvrvar_type_int)
    ->Arg(tvrvar_type_string)
    ->Arg(tvrvar_type_json);

void find_key(benchmark::State& run) {
    const bench_thread thread;
    const tvrvar_shared held = tvrvar_shared::make();
    tvr_std_json& map = held->as_json(true);
    for (int64_t i = 0; i < run.range(0); ++i) map.set("key" + std::to_string(i), i);
    const std::string last = "key" + std::to_string(run.range(0) / 2);
    if (!map.has(last)) run.SkipWithError("key is missing");
    for (auto _ : run) benchmark::DoNotOptimize(map.find(last));
    run.SetItemsProcessed(run.iterations());
}
BENCHMARK(find_key)->Arg(4)->Arg(8)->Arg(9)->Arg(100);

std::string document() {
    std::string out = "[";
    for (int i = 0; i < 200; ++i) {
        if (i > 0) out += ',';
        out += "{\"deck\":" + std::to_string(i) + ",\"title\":\"" + std::string(text) +
               "\",\"bpm\":128.25,\"playing\":true}";
    }
    return out + "]";
}

void parse_json(benchmark::State& run) {
    const bench_thread thread;
    const std::string source = document();
    const tvrvar_shared value = tvrvar_shared::make();
    for (auto _ : run) value->from_string(source);
    if (value->size() != 200) run.SkipWithError("elements are missing");
    run.SetBytesProcessed(run.iterations() * int64_t(source.size()));
}
BENCHMARK(parse_json);

void print_json(benchmark::State& run) {
    const bench_thread thread;
    const tvrvar_shared value = tvrvar_shared::make();
    value->from_string(document());
    std::string out;
    for (auto _ : run) {
        value->string_value(out);
        benchmark::DoNotOptimize(out);
    }
    if (out != document()) run.SkipWithError("another text");
    run.SetBytesProcessed(run.iterations() * int64_t(out.size()));
}
BENCHMARK(print_json);

}  // namespace
