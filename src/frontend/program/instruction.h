#pragma once

// The instruction set: one list that builder, machine and disassembler read.
//
// An instruction is an opcode byte and its fields at fixed places: bytes at position 1, 32-bit
// fields at 4 and 8, 64-bit fields at 8, in the machine's own byte order. Instructions of 4 bytes
// and more begin at multiples of 4 only where their fields are read as such; they are read by
// memcpy, so no alignment is asked for.

#include <cstdint>
#include <cstring>
#include <string_view>

// A row's code; its size in bytes; how its fields are shown:
//   -  none            b  byte at 1         i  index at 4         l  level at 4, index at 8
//   n  int at 8        f  float at 8        s  string index at 4  p  pointer at 8
//   j  jump offset at 4, signed, from the instruction's start      m  member access   x  fast path
#define TVR_INSTRUCTIONS(OP)                      \
    OP(0x01, return_local_var, 8, "i")            \
    OP(0x02, return_local_var_flagged, 8, "i")    \
    OP(0x03, return_local_static_var, 8, "i")     \
    OP(0x04, return_parent_var, 12, "l")          \
    OP(0x05, return_parent_static_var, 12, "l")   \
    OP(0x06, return_global_var, 8, "i")           \
    OP(0x07, return_global_static_var, 8, "i")    \
    OP(0x08, return_int, 16, "n")                 \
    OP(0x09, return_float, 16, "f")               \
    OP(0x0A, return_string, 8, "s")               \
    OP(0x0B, return_function, 8, "i")             \
    OP(0x0C, return_external_function, 16, "p")   \
    OP(0x0D, return_namespace_variable, 16, "p")  \
    OP(0x0E, return_new_variable, 1, "-")         \
    OP(0x0F, set_lambda, 2, "b")                  \
    OP(0x10, set_lambda_ref, 1, "-")              \
    OP(0x11, push_stack, 1, "-")                  \
    OP(0x12, push_stack_copy, 1, "-")             \
    OP(0x13, pop_stack, 8, "i")                   \
    OP(0x14, set_and_pop_stack, 1, "-")           \
    OP(0x15, unary_minus, 1, "-")                 \
    OP(0x16, negate, 1, "-")                      \
    OP(0x17, makeref, 1, "-")                     \
    OP(0x18, deref, 1, "-")                       \
    OP(0x19, add, 1, "-")                         \
    OP(0x1A, sub, 1, "-")                         \
    OP(0x1B, mult, 1, "-")                        \
    OP(0x1C, div, 1, "-")                         \
    OP(0x1D, band, 1, "-")                        \
    OP(0x1E, bor, 1, "-")                         \
    OP(0x1F, bxor, 1, "-")                        \
    OP(0x20, inc, 2, "b")                         \
    OP(0x21, dec, 2, "b")                         \
    OP(0x22, cmp_equal, 2, "b")                   \
    OP(0x23, cmp_bigger, 2, "b")                  \
    OP(0x24, cmp_smaller, 2, "b")                 \
    OP(0x25, cmp_is_true, 1, "-")                 \
    OP(0x26, push_ext_stack, 8, "i")              \
    OP(0x27, set_ext_stack, 8, "i")               \
    OP(0x28, set_ext_stack_copy, 8, "i")          \
    OP(0x29, set_ext_stack_no_deref, 8, "i")      \
    OP(0x2A, call_ext, 16, "p")                   \
    OP(0x2B, clear_ext_stack, 1, "-")             \
    OP(0x2C, call_init, 2, "b")                   \
    OP(0x2D, call_setparam, 8, "i")               \
    OP(0x2E, call, 1, "-")                        \
    OP(0x2F, call_subroutine, 8, "i")             \
    OP(0x30, call_subroutine_default_arg, 2, "b") \
    OP(0x31, call_class_constructor_once, 8, "i") \
    OP(0x32, call_class_top_constructor, 1, "-")  \
    OP(0x33, call_class_set_this, 1, "-")         \
    OP(0x34, call_class_return_this, 1, "-")      \
    OP(0x35, call_class_return_this_var, 12, "l") \
    OP(0x36, call_class_create, 1, "-")           \
    OP(0x37, jmp, 8, "j")                         \
    OP(0x38, jmp_if_false, 8, "j")                \
    OP(0x39, jmp_if_true, 8, "j")                 \
    OP(0x3A, end_return, 1, "-")                  \
    OP(0x3B, end_break, 1, "-")                   \
    OP(0x3C, end_continue, 1, "-")                \
    OP(0x3D, json_literal, 32, "m")               \
    OP(0x3E, json_expression, 24, "m")            \
    OP(0x3F, json_literal_check, 8, "s")          \
    OP(0x40, json_expression_check, 1, "-")       \
    OP(0x41, json_list_add, 1, "-")               \
    OP(0x42, return_new_json, 1, "-")             \
    OP(0x43, bind_object_to_var, 1, "-")          \
    OP(0x44, json_expression_set, 16, "m")        \
    OP(0x45, json_expression_peek, 16, "m")       \
    OP(0x46, mod, 1, "-")                         \
    OP(0x47, bnot, 1, "-")                        \
    OP(0x48, num_expr, 200, "x")                  \
    OP(0x49, call_method, 32, "x")

#define TVR_INSTRUCTION_ENUM(code, name, size, fields) tvr_op_##name = code,
enum tvr_opcode : uint8_t { TVR_INSTRUCTIONS(TVR_INSTRUCTION_ENUM) };
#undef TVR_INSTRUCTION_ENUM

struct tvr_instruction_info {
    std::string_view name;  // empty for a code that is no instruction
    uint32_t size;          // bytes, opcode included
    char fields;            // as in the table
};

// What is known of an opcode.
const tvr_instruction_info& tvr_instruction(uint8_t opcode);

// A field of an instruction at `at`.
template <typename T>
T tvr_read_field(const uint8_t* at, size_t position) {
    T value;
    std::memcpy(&value, at + position, sizeof value);
    return value;
}
