#include "kernel/batch.h"

#include "kernel/process.h"

tvrk_width tvrk_best_width() {
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
        __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512bw")) {
        return tvrk_width::avx512;
    }
    return __builtin_cpu_supports("avx2") ? tvrk_width::avx2 : tvrk_width::plain;
}

tvrk_batch_function tvrk_batch_for(tvrk_width width) {
    switch (width) {
    case tvrk_width::avx512: return tvrk_batch_avx512;
    case tvrk_width::avx2: return tvrk_batch_avx2;
    default: return tvrk_batch_plain;
    }
}

void tvrk_set_width(tvrk_width width) {
    tvrk_the_process().batch = tvrk_batch_for(width);
}

uint32_t tvrk_execute_batch(const tvrk_program& program, tvrk_reg* regs, const tvrk_ptr* ptrs,
                            uint64_t gid_base, uint32_t count, const std::atomic<bool>* abort,
                            tvrk_trap* trap) {
    std::atomic<tvrk_batch_function>& chosen = tvrk_the_process().batch;
    tvrk_batch_function run = chosen.load(std::memory_order_relaxed);
    if (run == nullptr) {
        run = tvrk_batch_for(tvrk_best_width());
        chosen.store(run, std::memory_order_relaxed);  // whoever else comes stores the same
    }
    return run(program, regs, ptrs, gid_base, count, abort, trap);
}
