// The binary form of values, beside a plain copy of the same bytes.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>

#include "../runtime/bench_thread.h"
#include "runtime/payload/std_buffer.h"
#include "runtime/payload/std_json.h"
#include "runtime/value/records.h"

namespace {

enum content : int64_t { numbers, records, bytes };
constexpr const char* content_names[] = {"100,000 ints", "10,000 records", "8 MB of bytes"};

void fill_numbers(tvr_std_json& list) {
    for (int64_t i = 0; i < 100000; ++i) list.push_back(i * 37 % 5000 - 1000);
}

void fill_records(tvr_std_json& list) {
    for (int64_t i = 0; i < 10000; ++i) {
        tvr_std_json& record = list.create_member()->as_json(true);
        record.set("title", std::string_view("the name of a track, of usual length"));
        record.set("artist", std::string_view("somebody"));
        record.set("id", i);
        record.set("bpm", 120.0 + double(i) / 100);
        record.set("on_air", i % 2);
    }
}

tvrvar_shared make(int64_t what) {
    tvrvar_shared value = tvrvar_shared::make();
    switch (what) {
    case numbers: fill_numbers(value->as_json(true)); break;
    case records: fill_records(value->as_json(true)); break;
    default: value->as_binary().bytes.assign(size_t(8) << 20, 0x5A);
    }
    return value;
}

void count(benchmark::State& run, const std::vector<uint8_t>& form) {
    run.SetLabel(content_names[run.range(0)]);
    run.SetBytesProcessed(run.iterations() * int64_t(form.size()));
}

void copy(benchmark::State& run) {
    const bench_thread thread;
    const std::vector<uint8_t> form = make(run.range(0))->to_binary();
    std::vector<uint8_t> target(form.size());
    for (auto _ : run) {
        std::memcpy(target.data(), form.data(), form.size());
        benchmark::ClobberMemory();
    }
    count(run, form);
}

void encode(benchmark::State& run) {
    const bench_thread thread;
    const tvrvar_shared value = make(run.range(0));
    std::vector<uint8_t> form;
    for (auto _ : run) {
        form.clear();
        if (!value->to_binary(form)) std::abort();
        benchmark::DoNotOptimize(form.data());
    }
    count(run, form);
}

void decode(benchmark::State& run) {
    const bench_thread thread;
    const tvrvar_shared value = make(run.range(0));
    const std::vector<uint8_t> form = value->to_binary();
    const tvrvar_shared read = tvrvar_shared::make();
    if (!read->from_binary(form.data(), form.size()) || read->to_binary() != form) std::abort();
    for (auto _ : run) {
        read->from_binary(form.data(), form.size());
        benchmark::DoNotOptimize(*read);
    }
    count(run, form);
}

BENCHMARK(copy)->DenseRange(numbers, bytes);
BENCHMARK(encode)->DenseRange(numbers, bytes);
BENCHMARK(decode)->DenseRange(numbers, bytes);

}  // namespace
