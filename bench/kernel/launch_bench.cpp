// What a launch costs when the kernel does nothing.

#include <benchmark/benchmark.h>

#include <memory>

#include "kernel/kernel.h"

namespace {

void time_launch(benchmark::State& run, bool native, uint64_t gids) {
    static tvrk_worker_pool pool(1);
    tvrk_compile_error error;
    const auto unit = tvrk_compile("kernel void nothing() { }", "bench", error);
    const tvrk_program& program = *unit->kernels[0].program;
    if (native) {
        tvrk_jit_set_policy(tvrk_jit_policy::sync);
        tvrk_jit_request(unit, program, nullptr);
    }
    tvrk_set_mode(native ? tvrk_mode::automatic : tvrk_mode::batch);
    const tvrk_spawn spawn = pool.spawn();
    for (auto _ : run) {
        const auto launch = std::make_shared<tvrk_launch>();
        launch->setup(unit, program, gids, 1);
        launch->start_helpers(1, spawn);
        launch->wait();
    }
    tvrk_set_mode(tvrk_mode::automatic);
}

BENCHMARK_CAPTURE(time_launch, native_1, true, 1)->UseRealTime();
BENCHMARK_CAPTURE(time_launch, native_65536, true, 65536)->UseRealTime();
BENCHMARK_CAPTURE(time_launch, batch_1, false, 1)->UseRealTime();
BENCHMARK_CAPTURE(time_launch, batch_65536, false, 65536)->UseRealTime();

}  // namespace
