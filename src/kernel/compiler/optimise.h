#pragma once

// From a draft to a program: value numbering within blocks, hoisting of what never changes into the
// prologue, value numbering again, and the allocation of registers.
//
// Nothing that can trap is ever moved or dropped, unless no path leads there.

#include "kernel/compiler/code.h"

// Fills code, lines, constants, registers and the prologue of `program`, whose parameters and
// accumulators name draft registers so far. False if more than 32767 registers are needed.
bool tvrk_optimise(tvrk_draft& draft, tvrk_program& program);

// The steps, each on its own subject.
void tvrk_number_values(tvrk_draft& draft);  // number_values.cpp
void tvrk_tidy_code(tvrk_draft& draft);      // tidy_code.cpp
std::vector<tvrk_draft_inst> tvrk_hoist(tvrk_draft& draft,
                                        const std::vector<bool>& changes);  // hoist.cpp
bool tvrk_allocate(tvrk_draft& draft, std::vector<tvrk_draft_inst>& prologue,
                   tvrk_program& program);  // allocate.cpp

// How often each register is written and read.
struct tvrk_usage {
    std::vector<uint32_t> writes, reads;
};
tvrk_usage tvrk_count_usage(tvrk_draft& draft);

// Calls `visit` with each register that the instruction reads, by reference.
template <typename F>
void tvrk_each_source(tvrk_draft_inst& in, F visit) {
    const tvrk_operands operands = tvrk_operands_of(in);
    for (uint32_t* source : operands.sources) {
        if (source != nullptr) visit(*source);
    }
    if (!operands.value_in_imm) return;
    auto value = uint32_t(in.imm);
    visit(value);
    in.imm = value;
}
