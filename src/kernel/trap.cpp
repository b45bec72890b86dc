// Traps in words.

#include "base/join.h"
#include "kernel/ops.h"
#include "kernel/program.h"

namespace {

std::string pointer_name(const tvrk_program& program, const tvrk_inst* in) {
    if (in == nullptr) return "?";
    for (const tvrk_param& param : program.params) {
        if (param.is_pointer && param.ptr == in->b) return param.name;
    }
    return "?";
}

}  // namespace

std::string tvrk_trap_message(const tvrk_program& program, const tvrk_trap& trap) {
    const tvrk_inst* in = trap.pc < program.code.size() ? &program.code[trap.pc] : nullptr;
    switch (trap.code) {
    case TVRK_TRAP_NONE: return "";
    case TVRK_TRAP_BOUNDS:
        return tvr_join("index ", trap.value, " is out of bounds of '", pointer_name(program, in),
                        "' (", trap.limit, " elements)");
    case TVRK_TRAP_ZERO_DIVISOR:
        return in != nullptr && tvrk_op_name(in->op)[0] == 'M' ? "integer modulo by zero"
                                                               : "integer division by zero";
    case TVRK_TRAP_OVERFLOW: return tvr_join("integer division overflow (", trap.value, " / -1)");
    case TVRK_TRAP_FLOAT_TO_INT:
        return tvr_join("float value ", trap.fvalue, " does not fit into ",
                        tvrk_prim_name(in != nullptr ? tvrk_prim(in->c) : tvrk_prim::record));
    case TVRK_TRAP_ARRAY_INDEX:
        return tvr_join("array index ", trap.value, " is out of bounds (array size ", trap.limit,
                        ")");
    case TVRK_TRAP_ALIGNMENT:
        return tvr_join("atomic access to an address that is not aligned to ", trap.limit,
                        " bytes");
    case TVRK_TRAP_ABORT: return "aborted";
    default: return "unknown error";
    }
}
