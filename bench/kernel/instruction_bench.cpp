// What one instruction costs: in the scalar interpreter as a chain of many, in the batch
// interpreter over 64 lanes. Items are instructions.

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "kernel/kernel.h"
#include "kernel/ops.h"

namespace {

struct alignas(64) cells {
    tvrk_reg lane[tvrk_lanes];
};

constexpr uint16_t registers = 16, first_free = 8;
constexpr size_t length = 256;

// A line of one instruction over changing registers.
tvrk_program line_of(uint16_t op) {
    tvrk_program program;
    program.num_regs = registers;
    program.gid = 0;
    for (size_t i = 0; i < length; ++i) {
        const auto at = uint16_t(i % (registers - first_free));
        const auto target = uint16_t(first_free + at);
        program.code.push_back({op, target, uint16_t(1 + at % 4), uint16_t(2 + at % 5), 3});
    }
    program.code.push_back({TVRK_END, 0, 0, 0, 0});
    return program;
}

void time_scalar(benchmark::State& run, uint16_t op) {
    const tvrk_program program = line_of(op);
    std::vector<tvrk_reg> regs(registers);
    for (tvrk_reg& r : regs) r.d = 1.5;
    tvrk_trap trap;
    constexpr uint64_t gids = 100;
    for (auto _ : run) tvrk_execute(program, regs.data(), nullptr, 0, gids, nullptr, &trap, 0);
    run.SetItemsProcessed(run.iterations() * int64_t(gids * length));
}

void time_batch(benchmark::State& run, uint16_t op, tvrk_width width) {
    const tvrk_program program = line_of(op);
    std::vector<cells> regs(registers);
    for (cells& c : regs) {
        for (tvrk_reg& r : c.lane) {
            r.u = 0;
            r.f = 1.5f;
        }
    }
    tvrk_trap trap;
    const tvrk_batch_function execute = tvrk_batch_for(width);
    for (auto _ : run) execute(program, regs[0].lane, nullptr, 0, tvrk_lanes, nullptr, &trap);
    run.SetItemsProcessed(run.iterations() * int64_t(length));
}

// What the processor needs for the same traffic without an interpreter: a call and a loop for each
// instruction of the line, over the same registers.
using bare_function = void (*)(float* to, const float* x, const float* y);

[[gnu::noinline, gnu::target("avx512f,prefer-vector-width=512")]] void bare_add_avx512(
    float* to, const float* x, const float* y) {
#pragma GCC ivdep
    for (size_t i = 0; i < 2 * tvrk_lanes; ++i) to[i] = x[i] + y[i];
}

[[gnu::noinline, gnu::target("avx2")]] void bare_add_avx2(float* to, const float* x,
                                                          const float* y) {
#pragma GCC ivdep
    for (size_t i = 0; i < 2 * tvrk_lanes; ++i) to[i] = x[i] + y[i];
}

void time_bare(benchmark::State& run, bare_function add) {
    const tvrk_program program = line_of(TVRK_ADD_F32);
    std::vector<cells> regs(registers);
    const auto floats = [&](uint16_t r) { return &regs[r].lane[0].f; };
    for (auto _ : run) {
        for (size_t i = 0; i < length; ++i) {
            const tvrk_inst& in = program.code[i];
            add(floats(in.a), floats(in.b), floats(in.c));
        }
    }
    run.SetItemsProcessed(run.iterations() * int64_t(length));
}

const int registered = [] {
    const char* const widths[] = {"plain", "avx2", "avx512"};
    const auto bare = [](const char* name, bare_function add) {
        benchmark::RegisterBenchmark(name, [add](benchmark::State& s) { time_bare(s, add); });
    };
    if (tvrk_best_width() >= tvrk_width::avx2) bare("bare_avx2/ADD_F32", bare_add_avx2);
    if (tvrk_best_width() >= tvrk_width::avx512) bare("bare_avx512/ADD_F32", bare_add_avx512);
    for (const uint16_t op :
         {TVRK_ADD_I32, TVRK_ADD_X64, TVRK_ADD_F32, TVRK_ADD_F64, TVRK_MUL_I32, TVRK_MUL_F32,
          TVRK_DIV_F32, TVRK_SQRT_F32, TVRK_CMPLT_F32, TVRK_MIN_F64, TVRK_AND_X, TVRK_SHR_I32,
          TVRK_TRUNC_U8, TVRK_CVT_S_F32, TVRK_ADDI_I32, TVRK_MOV}) {
        const std::string name = tvrk_op_name(op);
        benchmark::RegisterBenchmark(("scalar/" + name).c_str(),
                                     [op](benchmark::State& s) { time_scalar(s, op); });
        for (int w = 0; w <= int(tvrk_best_width()); ++w) {
            benchmark::RegisterBenchmark(
                (std::string("batch_") + widths[w] + "/" + name).c_str(),
                [op, w](benchmark::State& s) { time_batch(s, op, tvrk_width(w)); });
        }
    }
    return 0;
}();

}  // namespace
