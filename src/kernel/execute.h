#pragma once

// The two interpreters. Both give the same memory and the same reductions, bit for bit, and so
// does native code; only sign and payload of a NaN that arithmetic made may differ.
//
// Threads: both are reentrant; they touch their registers, their bindings and the memory behind
// them. `abort` is read relaxed at every backward jump and may be null.

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "kernel/program.h"

enum class tvrk_mode : uint8_t { automatic = 0, scalar = 1, batch = 2 };

// Process-wide; new lane runners obey it.
void tvrk_set_mode(tvrk_mode mode);
tvrk_mode tvrk_get_mode();

inline constexpr size_t tvrk_lanes = 64;              // invocations that a batch runs in lock-step
inline constexpr uint32_t tvrk_max_batch_regs = 512;  // 256 KiB of lanes

// Runs the invocations gid_begin to gid_end - 1 one by one over `regs` (num_regs of them). The
// first begins at start_pc with the registers as they are. Returns 0, or a trap's code.
uint32_t tvrk_execute(const tvrk_program& program, tvrk_reg* regs, const tvrk_ptr* ptrs,
                      uint64_t gid_begin, uint64_t gid_end, const std::atomic<bool>* abort,
                      tvrk_trap* trap, uint64_t start_pc);

// Runs 1 to 64 invocations in lock-step: lane l runs gid_base + l, and its register r lies at
// regs[r * 64 + l], gid and gid_x, gid_y filled in by the caller. All 64 lanes must hold some
// value, for those beyond `count` are worked along where that has no effect. `regs` is aligned to
// 64 bytes. Returns 0, a trap's code, or TVRK_DIVERGED: trap->pc is a branch on which the lanes
// disagree, and nothing of it has been done.
uint32_t tvrk_execute_batch(const tvrk_program& program, tvrk_reg* regs, const tvrk_ptr* ptrs,
                            uint64_t gid_base, uint32_t count, const std::atomic<bool>* abort,
                            tvrk_trap* trap);

// Vector instructions of the batch interpreter. What the processor has is chosen at first use.
enum class tvrk_width : uint8_t { plain = 0, avx2 = 1, avx512 = 2 };
tvrk_width tvrk_best_width();
using tvrk_batch_function = decltype(&tvrk_execute_batch);
tvrk_batch_function tvrk_batch_for(tvrk_width width);
void tvrk_set_width(tvrk_width width);  // for tests and measurements
