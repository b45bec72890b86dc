#pragma once

// One compiled kernel: a flat array of instructions over 64-bit registers and a table of memory.
//
// Interpreters, C generator and ahead-of-time hash all read this record. A program does not change
// once compiled; any thread may read it.
//
// Registers hold canonical values, on which all engines agree: bool 0 or 1; signed integers
// sign-extended and unsigned ones zero-extended to 64 bits; f64 all bits; f32 in the low 32 bits,
// the upper half undefined and never read. A raw address only ever comes from ADDR and ADDRU.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kernel/prim.h"
#include "kernel/types.h"

struct tvrk_jit_slot;

union tvrk_reg {
    int64_t i;
    uint64_t u;
    double d;
    float f;
    uint8_t* p;
};
static_assert(sizeof(tvrk_reg) == 8);

// A binding of memory. The C prelude declares the same four fields.
struct tvrk_ptr {
    uint8_t* base = nullptr;
    uint64_t count = 0;   // elements
    uint64_t stride = 0;  // bytes an element
    uint64_t bytes = 0;   // all of it
};
static_assert(sizeof(tvrk_ptr) == 32);

struct tvrk_inst {
    uint16_t op = 0;
    uint16_t a = 0, b = 0, c = 0;
    int64_t imm = 0;  // a jump's target is an index into the code
};
static_assert(sizeof(tvrk_inst) == 16);

// Why a run stopped. Codes are those of tvrk_trap_code.
struct tvrk_trap {
    uint32_t code = 0;
    uint32_t pc = 0;     // index of the instruction
    uint64_t gid = 0;    // of the invocation
    int64_t value = 0;   // an index, a dividend
    double fvalue = 0;   // a float that fits into no integer
    uint64_t limit = 0;  // elements, bytes of alignment
};
static_assert(sizeof(tvrk_trap) == 40);

enum tvrk_trap_code : uint32_t {
    TVRK_TRAP_NONE = 0,
    TVRK_TRAP_BOUNDS = 1,
    TVRK_TRAP_ZERO_DIVISOR = 2,
    TVRK_TRAP_OVERFLOW = 3,
    TVRK_TRAP_FLOAT_TO_INT = 4,
    TVRK_TRAP_ARRAY_INDEX = 5,
    TVRK_TRAP_ALIGNMENT = 6,
    TVRK_TRAP_ABORT = 7,
    TVRK_DIVERGED = 8,  // of the batch interpreter: its caller goes on lane by lane
};

struct tvrk_param {
    std::string name;
    bool is_pointer = false;
    std::string type_name;  // "const f32*"
    uint16_t reg = 0;       // of a scalar
    uint16_t ptr = 0;       // of a pointer: its place in the table
    tvrk_type type;
};

struct tvrk_acc {
    uint16_t reg = 0;
    tvrk_prim prim = tvrk_prim::void_type;
    tvrk_reduce reduce = tvrk_reduce::none;
    std::string name;  // the field of a struct result, empty for a scalar
};

struct tvrk_const {
    uint16_t reg = 0;
    tvrk_prim prim = tvrk_prim::void_type;
    tvrk_reg value{};
};
static_assert(sizeof(tvrk_const) == 16);

struct tvrk_program {
    std::string name;  // a prologue: its kernel's and " (prologue)"
    std::string file;  // of the declaration
    uint32_t line = 0;
    std::vector<tvrk_param> params;
    bool has_result = false;
    tvrk_type result;
    std::string result_text = "void";  // "i64 reduce(+)", "Stats reduce(sum: +, n: +)"
    std::vector<tvrk_acc> accs;
    uint32_t num_regs = 0, num_ptrs = 0;
    uint16_t frame_ptr = 0;    // the slot behind the last parameter, if there is a frame
    uint32_t frame_bytes = 0;  // local arrays and structs of one invocation
    uint16_t gid = 0, gsize = 0;
    uint16_t linear_gid = 0;  // what hoisting takes for the invocation's number
    uint16_t gid_x = 0, gid_y = 0, gsize_x = 0, gsize_y = 0;
    bool uses_2d = false;  // somebody reads gid_x or gid_y
    std::vector<tvrk_const> consts;
    std::shared_ptr<tvrk_program> prologue;  // null: nothing is hoisted
    std::vector<tvrk_inst> code;             // ends with END
    std::vector<uint32_t> lines;             // one for each instruction
    std::vector<uint16_t> line_files;        // likewise, indices into files
    std::vector<std::string> files;
    std::shared_ptr<tvrk_jit_slot> jit;

    std::string disassemble() const;
    std::string disassemble_code() const;
};

// What the trap says to a person: "index 7 is out of bounds of 'p' (4 elements)".
std::string tvrk_trap_message(const tvrk_program& program, const tvrk_trap& trap);

// "" if every operand lies within its table, every jump within the code, every backward jump is a
// LOOP, nobody writes gid and the last instruction ends or jumps; otherwise what is wrong. The
// engines trust what passed here and have no tests of their own.
std::string tvrk_verify(const tvrk_program& program);
