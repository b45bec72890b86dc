#include "kernel/ops.h"

namespace {

struct op_row {
    const char* name;
    const char* format;
    tvrk_op_family family;
};

constexpr op_row rows[] = {
#define TVRK_ROW(name, format, family, ...) {#name, format, tvrk_op_family::family},
    TVRK_OPS(TVRK_ROW)
#undef TVRK_ROW
};

}  // namespace

const char* tvrk_op_name(uint32_t op) {
    return op < TVRK_OP_COUNT ? rows[op].name : "?";
}

const char* tvrk_op_format(uint32_t op) {
    return op < TVRK_OP_COUNT ? rows[op].format : "";
}

tvrk_op_family tvrk_family_of(uint32_t op) {
    return rows[op].family;
}

bool tvrk_is_pure(uint32_t op) {
    switch (tvrk_family_of(op)) {
    case tvrk_op_family::MOVE:
    case tvrk_op_family::SET:
    case tvrk_op_family::SET_K:
    case tvrk_op_family::SET_F:
    case tvrk_op_family::COMPARE_F:
    case tvrk_op_family::MATH1_F:
    case tvrk_op_family::MATH1_D:
    case tvrk_op_family::MATH2_F:
    case tvrk_op_family::MATH2_D:
    case tvrk_op_family::ADDRESS_U: return true;
    default: return false;
    }
}

bool tvrk_is_jump(uint32_t op) {
    switch (tvrk_family_of(op)) {
    case tvrk_op_family::JUMP:
    case tvrk_op_family::LOOP:
    case tvrk_op_family::BRANCH:
    case tvrk_op_family::BRANCH_F: return true;
    default: return false;
    }
}
