#pragma once

// The batch interpreter as it is compiled for each instruction set; see batch.inc.

#include "kernel/execute.h"

uint32_t tvrk_batch_plain(const tvrk_program& program, tvrk_reg* regs, const tvrk_ptr* ptrs,
                          uint64_t gid_base, uint32_t count, const std::atomic<bool>* abort,
                          tvrk_trap* trap);
uint32_t tvrk_batch_avx2(const tvrk_program& program, tvrk_reg* regs, const tvrk_ptr* ptrs,
                         uint64_t gid_base, uint32_t count, const std::atomic<bool>* abort,
                         tvrk_trap* trap);
uint32_t tvrk_batch_avx512(const tvrk_program& program, tvrk_reg* regs, const tvrk_ptr* ptrs,
                           uint64_t gid_base, uint32_t count, const std::atomic<bool>* abort,
                           tvrk_trap* trap);
