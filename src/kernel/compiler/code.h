#pragma once

// Code while it is made: instructions over as many registers as it takes.
//
// The compiler's numbering is wider than 16 bits, because only what the allocation makes of it has
// to fit. Registers of one class share slots, so that generated C never mixes views of a local.

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "kernel/ops.h"
#include "kernel/program.h"

struct tvrk_draft_inst {
    uint16_t op = TVRK_NOP;
    uint16_t file = 0;
    uint32_t a = 0, b = 0, c = 0;
    int64_t imm = 0;  // a format with I: a draft register
    uint32_t line = 0;
};

enum class tvrk_reg_class : uint8_t { whole, f32, f64 };

// Where an instruction's registers stand.
struct tvrk_operands {
    uint32_t* result = nullptr;  // null: none
    uint32_t* sources[2] = {nullptr, nullptr};
    bool value_in_imm = false;  // a further source, in imm
};
tvrk_operands tvrk_operands_of(tvrk_draft_inst& in);

struct tvrk_draft {
    std::vector<tvrk_draft_inst> code;
    std::vector<tvrk_reg_class> classes;  // of each register
    std::vector<bool> fixed;              // keeps a place of its own: specials, parameters, ...
    std::map<std::pair<tvrk_prim, uint64_t>, uint32_t> constants;
    std::vector<std::pair<uint32_t, tvrk_const>> constant_list;  // in order of appearance

    uint32_t new_register(tvrk_reg_class kind, bool keeps_place = false) {
        classes.push_back(kind);
        fixed.push_back(keeps_place);
        return uint32_t(classes.size() - 1);
    }
};

constexpr tvrk_reg_class tvrk_class_of(tvrk_prim prim) {
    return prim == tvrk_prim::f32   ? tvrk_reg_class::f32
           : prim == tvrk_prim::f64 ? tvrk_reg_class::f64
                                    : tvrk_reg_class::whole;
}
