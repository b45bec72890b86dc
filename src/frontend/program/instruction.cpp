#include "frontend/program/instruction.h"

#include <array>

namespace {

constexpr std::array<tvr_instruction_info, 256> make_table() {
    std::array<tvr_instruction_info, 256> table{};
#define TVR_INSTRUCTION_ROW(code, name, size, fields) table[code] = {#name, size, (fields)[0]};
    TVR_INSTRUCTIONS(TVR_INSTRUCTION_ROW)
#undef TVR_INSTRUCTION_ROW
    return table;
}

}  // namespace

const tvr_instruction_info& tvr_instruction(uint8_t opcode) {
    static constexpr std::array<tvr_instruction_info, 256> table = make_table();
    return table[opcode];
}
