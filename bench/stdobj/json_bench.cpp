// std.json beside what it is measured against: text beside nlohmann JSON alone, keys beside
// std::unordered_map, sort_by beside std::stable_sort. A row and its reference stand together.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "../runtime/bench_thread.h"
#include "runtime/payload/json_copy.h"
#include "runtime/payload/json_text.h"
#include "runtime/payload/std_json.h"
#include "stdobj/json_sort.h"

namespace {

nlohmann::json deck_like(std::mt19937& random, int number) {
    nlohmann::json beats = nlohmann::json::array();
    for (int i = 0; i < 16; ++i) beats.push_back({{"beat", i % 4 + 1}, {"ms", random() % 400000}});
    return {{"type", "beat"},
            {"device", number % 6 + 1},
            {"bpm", double(random() % 6000) / 100 + 100},
            {"pitch", double(random() % 1000) / 7000},
            {"on_air", number % 2 == 0},
            {"track",
             {{"title", "Title No. " + std::to_string(number)},
              {"artist", "An artist with a longer name"},
              {"comment", "caf\u00e9 \"live\""},
              {"key", nullptr}}},
            {"levels", {0.25, 0.5, random() % 100, -1, 1e-3}},
            {"beats", beats}};
}

// Some 10 MB of JSON, compact.
const std::string& document() {
    static const std::string text = [] {
        constexpr int objects = 15500;
        std::mt19937 random(1);
        nlohmann::json all = nlohmann::json::array();
        for (int i = 0; i < objects; ++i) all.push_back(deck_like(random, i));
        return all.dump();
    }();
    return text;
}

void set_bytes(benchmark::State& run) {
    run.SetBytesProcessed(int64_t(run.iterations() * document().size()));
    run.SetLabel(std::to_string(document().size() / 1000) + " kB");
}

void parse(benchmark::State& run) {
    const bench_thread thread;
    const std::string& text = document();
    tvrvar value;
    for (auto _ : run) {
        if (!tvr_parse_json(text, value, true)) return run.SkipWithError("no JSON");
    }
    std::string again;
    tvrvar_to_json(value, again, true);
    if (nlohmann::json::parse(again) != nlohmann::json::parse(document())) {
        run.SkipWithError("another document");
    }
    value.as_none();
    set_bytes(run);
}
BENCHMARK(parse)->Unit(benchmark::kMillisecond);

void parse_reference(benchmark::State& run) {
    nlohmann::json value;
    for (auto _ : run) value = nlohmann::json::parse(document());
    set_bytes(run);
}
BENCHMARK(parse_reference)->Unit(benchmark::kMillisecond);

void print(benchmark::State& run) {
    const bench_thread thread;
    tvrvar value;
    tvr_parse_json(document(), value, true);
    const int64_t indented = run.range(0);
    for (auto _ : run) {
        std::string text;
        tvrvar_to_json(value, text, indented == 0);
        benchmark::DoNotOptimize(text.data());
    }
    value.as_none();
    set_bytes(run);
}
BENCHMARK(print)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void print_reference(benchmark::State& run) {
    const auto value = nlohmann::json::parse(document());
    const int indent = run.range(0) == 0 ? -1 : 4;
    for (auto _ : run) {
        const std::string text =
            value.dump(indent, ' ', false, nlohmann::json::error_handler_t::replace);
        benchmark::DoNotOptimize(text.data());
    }
    set_bytes(run);
}
BENCHMARK(print_reference)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void copy(benchmark::State& run) {
    const bench_thread thread;
    tvrvar value;
    tvr_parse_json(document(), value, true);
    for (auto _ : run) benchmark::DoNotOptimize(tvr_copy_json(value.as_json(false)));
    value.as_none();
    set_bytes(run);
}
BENCHMARK(copy)->Unit(benchmark::kMillisecond);

std::vector<std::string> keys(int64_t count) {
    std::vector<std::string> all;
    for (int64_t i = 0; i < count; ++i) all.push_back("track key " + std::to_string(i * 7919));
    return all;
}

void insert(benchmark::State& run) {
    const bench_thread thread;
    const auto all = keys(run.range(0));
    for (auto _ : run) {
        tvrvar held;
        tvr_std_json& json = held.as_json(true);
        for (const std::string& key : all) json.get_member(key)->as_int(1);
        if (json.size() != all.size()) return run.SkipWithError("another size");
        held.as_none();
    }
    run.SetItemsProcessed(int64_t(run.iterations() * all.size()));
}
BENCHMARK(insert)->Arg(10)->Arg(1000)->Arg(100000);

void insert_reference(benchmark::State& run) {
    const auto all = keys(run.range(0));
    for (auto _ : run) {
        std::unordered_map<std::string, int64_t> map;
        for (const std::string& key : all) map[key] = 1;
        if (map.size() != all.size()) return run.SkipWithError("another size");
    }
    run.SetItemsProcessed(int64_t(run.iterations() * all.size()));
}
BENCHMARK(insert_reference)->Arg(10)->Arg(1000)->Arg(100000);

// All keys in an order of their own, half of them asked for in vain.
std::vector<std::string> questions(int64_t count) {
    auto all = keys(count);
    for (size_t i = 0; i < all.size(); i += 2) all[i] += "?";
    std::shuffle(all.begin(), all.end(), std::mt19937(2));
    return all;
}

void look_up(benchmark::State& run) {
    const bench_thread thread;
    const auto asked = questions(run.range(0));
    tvrvar held;
    tvr_std_json& json = held.as_json(true);
    for (const std::string& key : keys(run.range(0))) json.set(key, 1);
    size_t found = 0;
    for (auto _ : run) {
        found = 0;
        for (const std::string& key : asked) found += json.has(key) ? 1 : 0;
    }
    if (found != asked.size() / 2) run.SkipWithError("another count");
    held.as_none();
    run.SetItemsProcessed(int64_t(run.iterations() * asked.size()));
}
BENCHMARK(look_up)->Arg(10)->Arg(1000)->Arg(100000);

void look_up_reference(benchmark::State& run) {
    const auto asked = questions(run.range(0));
    std::unordered_map<std::string, int64_t> map;
    for (const std::string& key : keys(run.range(0))) map[key] = 1;
    size_t found = 0;
    for (auto _ : run) {
        found = 0;
        for (const std::string& key : asked) found += map.find(key) != map.end() ? 1 : 0;
    }
    if (found != asked.size() / 2) run.SkipWithError("another count");
    run.SetItemsProcessed(int64_t(run.iterations() * asked.size()));
}
BENCHMARK(look_up_reference)->Arg(10)->Arg(1000)->Arg(100000);

constexpr size_t sorted_entries = 100000;

std::vector<std::string> sort_texts() {
    std::vector<std::string> all;
    std::mt19937 random(3);
    for (size_t i = 0; i < sorted_entries; ++i) all.push_back(std::to_string(random()));
    return all;
}

std::vector<double> sort_numbers() {
    std::vector<double> all;
    std::mt19937 random(3);
    for (size_t i = 0; i < sorted_entries; ++i) all.push_back(double(random()));
    return all;
}

template <typename T>
void sort_by(benchmark::State& run, const std::vector<T>& values) {
    const bench_thread thread;
    tvrvar held;
    tvr_std_json& json = held.as_json(true);
    for (size_t i = 0; i < values.size(); ++i) {
        json.create_member("k" + std::to_string(i))->as_json(true).set("child", values[i]);
    }
    const auto value_of = [&](size_t i) { return json.entries[i].value->get_member("child"); };
    std::mt19937 random(4);
    for (auto _ : run) {
        run.PauseTiming();
        std::shuffle(json.entries.begin(), json.entries.end(), random);
        json.entries_moved();
        run.ResumeTiming();
        tvr_sort_by_member(json, "child", false);
    }
    for (size_t i = 1; i < json.size(); ++i) {
        if (value_of(i)->compare_smaller(*value_of(i - 1), false)) run.SkipWithError("not sorted");
    }
    held.as_none();
}

template <typename T>
void stable_sort(benchmark::State& run, const std::vector<T>& values) {
    std::vector<std::pair<T, size_t>> entries;
    for (size_t i = 0; i < values.size(); ++i) entries.emplace_back(values[i], i);
    std::mt19937 random(4);
    for (auto _ : run) {
        run.PauseTiming();
        std::shuffle(entries.begin(), entries.end(), random);
        run.ResumeTiming();
        std::stable_sort(entries.begin(), entries.end(),
                         [](const auto& a, const auto& b) { return a.first < b.first; });
    }
}

void sort_by_number(benchmark::State& run) {
    sort_by(run, sort_numbers());
}
BENCHMARK(sort_by_number)->Unit(benchmark::kMillisecond);
void sort_by_number_reference(benchmark::State& run) {
    stable_sort(run, sort_numbers());
}
BENCHMARK(sort_by_number_reference)->Unit(benchmark::kMillisecond);
void sort_by_text(benchmark::State& run) {
    sort_by(run, sort_texts());
}
BENCHMARK(sort_by_text)->Unit(benchmark::kMillisecond);
void sort_by_text_reference(benchmark::State& run) {
    stable_sort(run, sort_texts());
}
BENCHMARK(sort_by_text_reference)->Unit(benchmark::kMillisecond);

}  // namespace
