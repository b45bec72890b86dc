// Launches from scripts: what one costs, and an effect over a picture beside the same loop in C.
//
// A script runs many launches in one task. The picture is 1920 by 1080 pixels, some twenty
// operations each; kernel and C run on all threads and must give the same bytes.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "base/join.h"
#include "kernel/jit.h"
#include "reference_loops.h"
#include "runtime/log/log.h"
#include "runtime/payload/std_buffer.h"
#include "runtime/script/script.h"

namespace {

constexpr size_t width = 1920, height = 1080;
constexpr float level = 0.7f, tint = 12.5f;

constexpr const char* effect =
    "kernel struct Rgba { u8 r; u8 g; u8 b; u8 a; }\n"
    "kernel inline u8 channel(f32 v) { return u8(clamp(v, 0.0f, 255.0f)); }\n"
    "kernel void effect(const Rgba* src, Rgba* out, f32 level, f32 tint) {\n"
    "  f32 x = f32(gid_x) * 0.001f - 0.96f, y = f32(gid_y) * 0.001f - 0.54f;\n"
    "  f32 v = 1.0f - (x * x + y * y) * level, red = f32(src[gid].r);\n"
    "  out[gid].r = channel(red * v + tint);\n"
    "  out[gid].g = channel(f32(src[gid].g) * v + red * 0.1f);\n"
    "  out[gid].b = channel(f32(src[gid].b) * v - tint);\n"
    "  out[gid].a = src[gid].a; }\n";

// An interpreter with workers, whose scripts share its global `kit`.
class bench_script {
public:
    bench_script() {
        tvrscript_config_default config;
        config.log = &log;
        script.init(config);
        kit = script.root_namespace.child("bench").add_variable("kit");
        kit->as_json(true);
    }

    void run(const std::string& text) {
        const auto task = script.create_task_from_code(text, "bench");
        while (task && !task->ended()) script.update();
        if (!task || task->state == tvr_task_state::failed) std::abort();
    }

    std::vector<uint8_t>& bytes(const char* name) {
        return kit->get_member(name)->object<tvr_std_buffer>()->bytes;
    }

private:
    tvr_log_base log;
    tvrscript script;
    tvrvar_shared kit;
};

void time_script_launch(benchmark::State& run, const std::string& args, size_t gids) {
    constexpr size_t many = 10000;
    bench_script script;
    const std::string setup =
        "std.kernel_jit(\"sync\");\n"
        "kernel void nothing(u8* a, u8* b, f32 c, i32 d) { }\n"
        "a = std.buffer(\"aaaa\"); b = std.buffer(\"bbbb\");\n";
    const std::string text = tvr_join(setup, "for (i = 0; i < ", many, "; i++) ", args, "\n");
    script.run(tvr_join(setup, "nothing.launch(", gids, ", a, b, 1.5, 2);"));
    for (auto _ : run) script.run(text);
    run.SetItemsProcessed(run.iterations() * int64_t(many));
}

BENCHMARK_CAPTURE(time_script_launch, script_1, "nothing.launch(1, a, b, 1.5, 2);", 1)
    ->UseRealTime();
BENCHMARK_CAPTURE(time_script_launch, script_64, "nothing.launch(64, a, b, 1.5, 2);", 64)
    ->UseRealTime();
BENCHMARK_CAPTURE(time_script_launch, script_async,
                  "nothing.launch_async(64, a, b, 1.5, 2).wait();", 64)
    ->UseRealTime();

void run_in_c(const std::vector<uint8_t>& in, std::vector<uint8_t>& out, size_t threads) {
    const size_t total = width * height, step = (total + threads - 1) / threads;
    const auto part = [&](size_t p) {
        ref_effect(in.data(), out.data(), width, level, tint, p * step,
                   std::min((p + 1) * step, total));
    };
    std::vector<std::thread> others;
    for (size_t p = 1; p < threads; ++p) others.emplace_back(part, p);
    part(0);
    for (std::thread& other : others) other.join();
}

std::vector<uint8_t> picture() {
    std::vector<uint8_t> made(width * height * 4);
    uint32_t state = 12345;
    for (uint8_t& b : made) b = uint8_t((state = state * 1664525 + 1013904223) >> 24);
    return made;
}

void prepare(bench_script& script) {
    script.run(tvr_join("bench.kit.src = std.buffer(); bench.kit.src.resize(", width * height * 4,
                        "); bench.kit.out = std.buffer(); bench.kit.out.resize(",
                        width * height * 4, ");\n"));
    script.bytes("src") = picture();
}

size_t all_threads() {
    return std::max(2u, std::thread::hardware_concurrency());
}

std::string effect_script(size_t times) {
    return tvr_join("std.kernel_jit(\"sync\");\n", effect, "for (i = 0; i < ", times,
                    "; i++) launch effect(bench.kit.src, bench.kit.out, ", level, ", ", tint,
                    ") : [", width, ", ", height, "];\n");
}

void time_effect(benchmark::State& run) {
    constexpr size_t times = 20;
    bench_script script;
    prepare(script);
    script.run(effect_script(1));
    std::vector<uint8_t> expected(width * height * 4);
    run_in_c(script.bytes("src"), expected, 1);
    if (expected != script.bytes("out")) {
        std::fprintf(stderr, "the effect differs from C\n");
        std::abort();
    }
    const std::string text = effect_script(times);
    for (auto _ : run) script.run(text);
    run.SetItemsProcessed(run.iterations() * int64_t(times * width * height));
}
BENCHMARK(time_effect)->Name("script_effect_1920x1080")->MeasureProcessCPUTime()->UseRealTime();

void time_effect_in_c(benchmark::State& run) {
    constexpr size_t times = 20;
    const std::vector<uint8_t> in = picture();
    std::vector<uint8_t> out(in.size());
    for (auto _ : run) {
        for (size_t i = 0; i < times; ++i) run_in_c(in, out, all_threads());
    }
    run.SetItemsProcessed(run.iterations() * int64_t(times * width * height));
}
BENCHMARK(time_effect_in_c)->Name("C_effect_1920x1080")->MeasureProcessCPUTime()->UseRealTime();

}  // namespace
