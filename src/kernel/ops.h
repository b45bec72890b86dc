#pragma once

// The instructions of kernels: one list that everything reads.
//
//     OP(NAME, FORMAT, FAMILY, what the instruction computes...)
//
// A row's place is its code. Names, formats, disassembly, verifier and optimiser read the table
// that ops.cpp makes of it. Each engine (execute.cpp, batch.inc, native/c_source.cpp) defines one
// macro or function for each family and expands the list once, so a new row reaches all of them
// and a new family that an engine lacks does not compile.
//
// The last argument is an expression that is C and C++ at once: the interpreters compile it, the C
// generator prints it. Its words: `x` and `y` are the source registers in the order of the format,
// `imm` the 64-bit immediate, `c` the third operand as a number. Views of a register: `i` int64,
// `u` uint64, `f` float, `d` double. Helpers `k_...` stand in arithmetic.h and in the C prelude.
//
// Formats, one letter for each operand: D destination register, R source register, P pointer,
// O offset, K constant, J jump target, T type or math kind, S size or bound, I register number in
// the low 16 bits of imm. Of all but S, I, O, K and J the first three take a, b, c in order.
//
// Families:
//   SET view, expr      D.view = expr over whole registers; SET_K: over x, imm, c
//   SET_F expr          float from floats alone; COMPARE_F: 0 or 1 from floats
//   MOVE NOP END JUMP   as they are called; LOOP is the backward jump that polls the abort flag
//   BRANCH expr         jumps if expr holds; BRANCH_F: over floats
//   DIVIDE_S min, expr  traps on y == 0 and on min / -1; DIVIDE_U: on y == 0
//   MATH1_F ... MATH2_D the C library's functions; TO_INT: float to integer, checked
//   LOAD type, view     and so on: memory; LOAD with a test, LOAD_U without, ..._FIELD of a struct
//                       element, ..._AT a raw address

#include <cstdint>

// clang-format off
#define TVRK_OPS_CONTROL(OP) \
    OP(NOP, "", NOP, 0) \
    OP(END, "", END, 0) \
    OP(MOV, "DR", MOVE, 0) \
    OP(JMP, "J", JUMP, 0) \
    OP(LOOP, "J", LOOP, 0) \
    OP(JT, "RJ", BRANCH, x.i != 0) \
    OP(JF, "RJ", BRANCH, x.i == 0)

#define TVRK_OPS_ARITHMETIC(OP) \
    OP(ADD_I32, "DRR", SET, i, k_i32(x.u + y.u)) \
    OP(ADD_U32, "DRR", SET, u, k_u32(x.u + y.u)) \
    OP(ADD_X64, "DRR", SET, u, x.u + y.u) \
    OP(ADD_F32, "DRR", SET_F, x.f + y.f) \
    OP(ADD_F64, "DRR", SET, d, x.d + y.d) \
    OP(SUB_I32, "DRR", SET, i, k_i32(x.u - y.u)) \
    OP(SUB_U32, "DRR", SET, u, k_u32(x.u - y.u)) \
    OP(SUB_X64, "DRR", SET, u, x.u - y.u) \
    OP(SUB_F32, "DRR", SET_F, x.f - y.f) \
    OP(SUB_F64, "DRR", SET, d, x.d - y.d) \
    OP(MUL_I32, "DRR", SET, i, k_i32(k_u32(x.u) * k_u32(y.u))) \
    OP(MUL_U32, "DRR", SET, u, k_u32(k_u32(x.u) * k_u32(y.u))) \
    OP(MUL_X64, "DRR", SET, u, x.u * y.u) \
    OP(MUL_F32, "DRR", SET_F, x.f * y.f) \
    OP(MUL_F64, "DRR", SET, d, x.d * y.d) \
    OP(DIV_I32, "DRR", DIVIDE_S, INT32_MIN, k_i32((uint64_t)(x.i / y.i))) \
    OP(DIV_U32, "DRR", DIVIDE_U, k_u32(x.u / y.u)) \
    OP(DIV_I64, "DRR", DIVIDE_S, INT64_MIN, x.i / y.i) \
    OP(DIV_U64, "DRR", DIVIDE_U, x.u / y.u) \
    OP(DIV_F32, "DRR", SET_F, x.f / y.f) \
    OP(DIV_F64, "DRR", SET, d, x.d / y.d) \
    OP(MOD_I32, "DRR", DIVIDE_S, INT32_MIN, k_i32((uint64_t)(x.i % y.i))) \
    OP(MOD_U32, "DRR", DIVIDE_U, k_u32(x.u % y.u)) \
    OP(MOD_I64, "DRR", DIVIDE_S, INT64_MIN, x.i % y.i) \
    OP(MOD_U64, "DRR", DIVIDE_U, x.u % y.u) \
    OP(MOD_F32, "DRR", SET, f, fmodf(x.f, y.f)) \
    OP(MOD_F64, "DRR", SET, d, fmod(x.d, y.d)) \
    OP(ADDI_I32, "DRO", SET_K, i, k_i32(x.u + imm)) \
    OP(ADDI_U32, "DRO", SET_K, u, k_u32(x.u + imm)) \
    OP(ADDI_X64, "DRO", SET_K, u, x.u + imm) \
    OP(DIVC_U32, "DRK", SET_K, u, k_divc_u32(x.u, imm)) \
    OP(DIVC_I32, "DRK", SET_K, i, k_divc_i32(x.i, imm)) \
    OP(MODC_U32, "DRK", SET_K, u, k_modc_u32(x.u, imm, c)) \
    OP(MODC_I32, "DRK", SET_K, i, k_modc_i32(x.i, imm, c))

#define TVRK_OPS_BITS(OP) \
    OP(AND_X, "DRR", SET, u, x.u & y.u) \
    OP(OR_X, "DRR", SET, u, x.u | y.u) \
    OP(XOR_X, "DRR", SET, u, x.u ^ y.u) \
    OP(SHL_I32, "DRR", SET, i, k_i32(x.u << (y.u & 31))) \
    OP(SHL_U32, "DRR", SET, u, k_u32(x.u << (y.u & 31))) \
    OP(SHL_X64, "DRR", SET, u, x.u << (y.u & 63)) \
    OP(SHR_I32, "DRR", SET, i, k_i32(x.u) >> (y.u & 31)) \
    OP(SHR_U32, "DRR", SET, u, k_u32(x.u) >> (y.u & 31)) \
    OP(SHR_I64, "DRR", SET, i, x.i >> (y.u & 63)) \
    OP(SHR_U64, "DRR", SET, u, x.u >> (y.u & 63)) \
    OP(NEG_I32, "DR", SET, i, k_i32(0 - x.u)) \
    OP(NEG_U32, "DR", SET, u, k_u32(0 - x.u)) \
    OP(NEG_X64, "DR", SET, u, 0 - x.u) \
    OP(NEG_F32, "DR", SET_F, -x.f) \
    OP(NEG_F64, "DR", SET, d, -x.d) \
    OP(NOT_X, "DR", SET, u, ~x.u) \
    OP(NOT_U32, "DR", SET, u, k_u32(~x.u)) \
    OP(LNOT, "DR", SET, i, x.i == 0)

#define TVRK_OPS_NUMBERS(OP) \
    OP(MIN_S, "DRR", SET, i, y.i < x.i ? y.i : x.i) \
    OP(MIN_U, "DRR", SET, u, y.u < x.u ? y.u : x.u) \
    OP(MIN_F32, "DRR", SET_F, k_fmin(x.f, y.f)) \
    OP(MIN_F64, "DRR", SET, d, k_dmin(x.d, y.d)) \
    OP(MAX_S, "DRR", SET, i, x.i < y.i ? y.i : x.i) \
    OP(MAX_U, "DRR", SET, u, x.u < y.u ? y.u : x.u) \
    OP(MAX_F32, "DRR", SET_F, k_fmax(x.f, y.f)) \
    OP(MAX_F64, "DRR", SET, d, k_dmax(x.d, y.d)) \
    OP(ABS_I32, "DR", SET, i, k_i32(x.i < 0 ? 0 - x.u : x.u)) \
    OP(ABS_I64, "DR", SET, u, x.i < 0 ? 0 - x.u : x.u) \
    OP(ABS_F32, "DR", SET_F, fabsf(x.f)) \
    OP(ABS_F64, "DR", SET, d, fabs(x.d)) \
    OP(SQRT_F32, "DR", SET_F, sqrtf(x.f)) \
    OP(SQRT_F64, "DR", SET, d, sqrt(x.d)) \
    OP(MATH1_F32, "DRT", MATH1_F, 0) \
    OP(MATH1_F64, "DRT", MATH1_D, 0) \
    OP(MATH2_F32, "DRRT", MATH2_F, 0) \
    OP(MATH2_F64, "DRRT", MATH2_D, 0)

#define TVRK_OPS_EQUALITY(OP) \
    OP(CMPEQ_X, "DRR", SET, i, x.u == y.u) \
    OP(CMPNE_X, "DRR", SET, i, x.u != y.u) \
    OP(CMPEQ_F32, "DRR", COMPARE_F, x.f == y.f) \
    OP(CMPNE_F32, "DRR", COMPARE_F, x.f != y.f) \
    OP(CMPEQ_F64, "DRR", SET, i, x.d == y.d) \
    OP(CMPNE_F64, "DRR", SET, i, x.d != y.d) \
    OP(JTEQ_X, "RRJ", BRANCH, x.u == y.u) \
    OP(JTNE_X, "RRJ", BRANCH, x.u != y.u) \
    OP(JFEQ_X, "RRJ", BRANCH, !(x.u == y.u)) \
    OP(JFNE_X, "RRJ", BRANCH, !(x.u != y.u)) \
    OP(JTEQ_F32, "RRJ", BRANCH_F, x.f == y.f) \
    OP(JTNE_F32, "RRJ", BRANCH_F, x.f != y.f) \
    OP(JFEQ_F32, "RRJ", BRANCH_F, !(x.f == y.f)) \
    OP(JFNE_F32, "RRJ", BRANCH_F, !(x.f != y.f)) \
    OP(JTEQ_F64, "RRJ", BRANCH, x.d == y.d) \
    OP(JTNE_F64, "RRJ", BRANCH, x.d != y.d) \
    OP(JFEQ_F64, "RRJ", BRANCH, !(x.d == y.d)) \
    OP(JFNE_F64, "RRJ", BRANCH, !(x.d != y.d))

#define TVRK_OPS_ORDER(OP, XX, sign) \
    OP(CMP##XX##_S, "DRR", SET, i, x.i sign y.i) \
    OP(CMP##XX##_U, "DRR", SET, i, x.u sign y.u) \
    OP(CMP##XX##_F32, "DRR", COMPARE_F, x.f sign y.f) \
    OP(CMP##XX##_F64, "DRR", SET, i, x.d sign y.d) \
    OP(JT##XX##_S, "RRJ", BRANCH, x.i sign y.i) \
    OP(JT##XX##_U, "RRJ", BRANCH, x.u sign y.u) \
    OP(JT##XX##_F32, "RRJ", BRANCH_F, x.f sign y.f) \
    OP(JT##XX##_F64, "RRJ", BRANCH, x.d sign y.d) \
    OP(JF##XX##_S, "RRJ", BRANCH, !(x.i sign y.i)) \
    OP(JF##XX##_U, "RRJ", BRANCH, !(x.u sign y.u)) \
    OP(JF##XX##_F32, "RRJ", BRANCH_F, !(x.f sign y.f)) \
    OP(JF##XX##_F64, "RRJ", BRANCH, !(x.d sign y.d))

#define TVRK_OPS_CONVERT(OP) \
    OP(TRUNC_I8, "DR", SET, i, (int64_t)(int8_t)x.u) \
    OP(TRUNC_U8, "DR", SET, u, x.u & 0xff) \
    OP(TRUNC_I16, "DR", SET, i, (int64_t)(int16_t)x.u) \
    OP(TRUNC_U16, "DR", SET, u, x.u & 0xffff) \
    OP(TRUNC_I32, "DR", SET, i, k_i32(x.u)) \
    OP(TRUNC_U32, "DR", SET, u, k_u32(x.u)) \
    OP(CVT_S_F32, "DR", SET, f, (float)x.i) \
    OP(CVT_U_F32, "DR", SET, f, (float)x.u) \
    OP(CVT_S_F64, "DR", SET, d, (double)x.i) \
    OP(CVT_U_F64, "DR", SET, d, (double)x.u) \
    OP(CVT_F32_INT, "DRT", TO_INT, (double)x.f) \
    OP(CVT_F64_INT, "DRT", TO_INT, x.d) \
    OP(CVT_F32_F64, "DR", SET, d, (double)x.f) \
    OP(CVT_F64_F32, "DR", SET, f, (float)x.d) \
    OP(BOOL_F32, "DR", COMPARE_F, x.f != 0.0f) \
    OP(BOOL_F64, "DR", SET, i, x.d != 0.0)

#define TVRK_OPS_MEMORY(OP, T, type, view) \
    OP(LD_##T, "DPRO", LOAD, type, view) \
    OP(LDU_##T, "DPRO", LOAD_U, type, view) \
    OP(LDF_##T, "DPRO", LOAD_FIELD, type, view) \
    OP(LDFU_##T, "DPRO", LOAD_FIELD_U, type, view) \
    OP(LDR_##T, "DRO", LOAD_AT, type, view) \
    OP(ST_##T, "RPRO", STORE, type, view) \
    OP(STU_##T, "RPRO", STORE_U, type, view) \
    OP(STF_##T, "RPRO", STORE_FIELD, type, view) \
    OP(STFU_##T, "RPRO", STORE_FIELD_U, type, view) \
    OP(STR_##T, "RRO", STORE_AT, type, view)

#define TVRK_OPS_ADDRESS(OP) \
    OP(ADDR, "DPR", ADDRESS, 0) \
    OP(ADDRU, "DPR", ADDRESS_U, 0) \
    OP(COPY, "RRS", COPY, 0) \
    OP(ZERO, "RS", ZERO, 0) \
    OP(AADD_32, "DPRI", ATOMIC_ADD, uint32_t, u, k_aadd32) \
    OP(AADD_I32, "DPRI", ATOMIC_ADD, int32_t, i, k_aadd32) \
    OP(AADD_64, "DPRI", ATOMIC_ADD, uint64_t, u, k_aadd64) \
    OP(AADDR_32, "DRRO", ATOMIC_ADD_AT, uint32_t, u, k_aadd32) \
    OP(AADDR_I32, "DRRO", ATOMIC_ADD_AT, int32_t, i, k_aadd32) \
    OP(AADDR_64, "DRRO", ATOMIC_ADD_AT, uint64_t, u, k_aadd64) \
    OP(CHKIDX, "RS", CHECK_INDEX, 0)

#define TVRK_OPS(OP) \
    TVRK_OPS_CONTROL(OP) \
    TVRK_OPS_ARITHMETIC(OP) \
    TVRK_OPS_BITS(OP) \
    TVRK_OPS_NUMBERS(OP) \
    TVRK_OPS_EQUALITY(OP) \
    TVRK_OPS_ORDER(OP, LT, <) \
    TVRK_OPS_ORDER(OP, LE, <=) \
    TVRK_OPS_ORDER(OP, GT, >) \
    TVRK_OPS_ORDER(OP, GE, >=) \
    TVRK_OPS_CONVERT(OP) \
    TVRK_OPS_MEMORY(OP, I8, int8_t, i) \
    TVRK_OPS_MEMORY(OP, U8, uint8_t, u) \
    TVRK_OPS_MEMORY(OP, I16, int16_t, i) \
    TVRK_OPS_MEMORY(OP, U16, uint16_t, u) \
    TVRK_OPS_MEMORY(OP, I32, int32_t, i) \
    TVRK_OPS_MEMORY(OP, U32, uint32_t, u) \
    TVRK_OPS_MEMORY(OP, I64, int64_t, i) \
    TVRK_OPS_MEMORY(OP, U64, uint64_t, u) \
    TVRK_OPS_MEMORY(OP, F32, float, f) \
    TVRK_OPS_MEMORY(OP, F64, double, d) \
    TVRK_OPS_ADDRESS(OP)
// clang-format on

enum tvrk_op : uint16_t {
#define TVRK_ROW(name, ...) TVRK_##name,
    TVRK_OPS(TVRK_ROW)
#undef TVRK_ROW
        TVRK_OP_COUNT
};
static_assert(TVRK_OP_COUNT == 270 && TVRK_CMPLT_S == 95 && TVRK_LD_I8 == 159 && TVRK_ADDR == 259);

enum class tvrk_op_family : uint8_t {
    NOP,
    END,
    MOVE,
    JUMP,
    LOOP,
    BRANCH,
    BRANCH_F,
    SET,
    SET_K,
    SET_F,
    COMPARE_F,
    DIVIDE_S,
    DIVIDE_U,
    MATH1_F,
    MATH1_D,
    MATH2_F,
    MATH2_D,
    TO_INT,
    LOAD,
    LOAD_U,
    LOAD_FIELD,
    LOAD_FIELD_U,
    LOAD_AT,
    STORE,
    STORE_U,
    STORE_FIELD,
    STORE_FIELD_U,
    STORE_AT,
    ADDRESS,
    ADDRESS_U,
    COPY,
    ZERO,
    ATOMIC_ADD,
    ATOMIC_ADD_AT,
    CHECK_INDEX,
};

// The name; "?" for a code beyond the table.
const char* tvrk_op_name(uint32_t op);

// The operand letters; "" for a code beyond the table.
const char* tvrk_op_format(uint32_t op);

// `op` is in the table.
tvrk_op_family tvrk_family_of(uint32_t op);

// A result that depends on the operands alone, and no trap: may be reused, moved and dropped.
bool tvrk_is_pure(uint32_t op);

// Has a target in imm.
bool tvrk_is_jump(uint32_t op);
