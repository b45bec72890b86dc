#pragma once

// The instruction set: one list that builder, machine and disassembler read.
//
// An instruction is an opcode byte and its fields at fixed places: bytes at position 1 (then 2 and
// 3), 32-bit fields at 4 and 8, 64-bit fields at 8, in the machine's own byte order. They are read
// by memcpy, so no alignment is asked for. Blocks are written for a stack machine; before a
// function runs for the first time, runtime/vm lowers its blocks to code for a machine with
// registers (vm/lower.h), which keeps to what is written here.
//
// The stack. A slot holds a handle: on a variable, on a member, or on a value of its own. Operands
// are read when the operator runs, not when they are pushed. push_stack opens a slot with a none;
// an expression leaves its value in the slot on top ("top"). The patterns:
//
//   statement     push_stack  <expr>  pop_stack 1
//   a + b         <a>  push_stack  <b>  add                        the result is in a's slot
//   x = v         return_local_var x  push_stack  <v>  set_and_pop_stack
//   x += v        return_local_var x  push_stack_copy  push_stack  <v>  add  set_and_pop_stack
//   a.b = v       <a>  json_literal b (target)  push_stack  <v>  set_and_pop_stack
//   a.b += v      <a>  json_literal b (target)  push_stack_copy  push_stack  <v>  add
//                 set_and_pop_stack
//   a[i]          <a>  push_stack  <i>  json_expression
//   a[i] = v      <a>  push_stack  <i>  push_stack  <v>  json_expression_set
//   a[i] += v     <a>  push_stack  <i>  json_expression_peek  push_stack  <v>  add
//                 json_expression_set
//   a.b++         <a>  json_literal b  inc 1                       also a[i]++ with json_expression
//   if (c) s      push_stack  <c>  jmp_if_false E  pop_stack 1  <s>  jmp F
//                 E: pop_stack 1  F:                               both ways pop the test at once
//   a && b        <a>  jmp_if_false E  <b>  E:                     || with jmp_if_true
//   a ?? b        <a>  jmp_if_true E (mode 1)  <b>  E:
//   c ? a : b     push_stack  <c>  jmp_if_false E  pop_stack 1  <a>  jmp F
//                 E: pop_stack 1  <b>  F:                        a and b in the slot below the test
//   if (a && b)   push_stack  <a>  jmp_if_false E  pop_stack 1   push_stack  <b>  jmp_if_false E
//                 pop_stack 1 ... E: pop_stack 1                 so wherever a test stands; ! swaps
//   [1, k = 2]    return_new_json  push_stack  <1>  json_list_add
//                 push_stack_copy  json_literal k (target)  push_stack  <2>  set_and_pop_stack
//                 pop_stack 1
//   f(a, b)       <f>  call_init 2  push_stack  <a>  call_setparam 0  pop_stack 1
//                 push_stack  <b>  call_setparam 1  pop_stack 1  call
//   f(a, d = b)   the same with the place of d; call_init counts what is given
//   std.f(a, b)   push_ext_stack 2  push_stack  <a>  set_ext_stack 0  pop_stack 1
//                 push_stack  <b>  set_ext_stack 1  pop_stack 1  call_ext
//   o.m(a, b)     <o>  push_stack  <a>  push_stack  <b>  call_method m, 2
//   return v      push_stack  <v>  end_return
//   (a) { b }     return_function  push_stack  <b>  set_lambda 0   a capture each; set_lambda 1
//                                                                  after them in a method
//   a ?? b        where a is a chain of members and indices, all of it is read as optional
//   *r = v        <r>  deref  push_stack  <v>  set_and_pop_stack
//   managed x = v return_local_var x  bind_object_to_var  push_stack  <v>  set_and_pop_stack
//   { block }     call_subroutine                                  leaves the stack as it was
//   class body    call_class_top_constructor (with bases)  <statements>  call_class_create
//
// Every jump stays inside its block, and a slot below the top is never touched by what is compiled
// above it. At a jump and at its target the stack has the same depth.
//
// Blocks. call_subroutine runs a loop, scoped or try block of the same function. Its variables are
// new each time. end_return leaves the function, end_break the innermost loop; end_continue goes on
// at the loop's continue_offset. A loop's code is: initialiser, head, test, jmp_if_false to the
// end, body (a scoped block when it declares variables), increment at continue_offset, jmp to the
// head. A try block has a catch_block, which runs instead when an error passes; its first variable
// takes the message. A block that ends without end_return goes on behind its call_subroutine; a
// function's end returns none.

#include <cstdint>
#include <cstring>
#include <string_view>

// A row's code; its size in bytes; how its fields are shown:
//   -  none            b  byte at 1         i  index at 4         l  level at 4, index at 8
//   n  int at 8        f  float at 8        s  string index at 4  p  pointer at 8
//   j  jump offset at 4, signed, from the instruction's start; byte at 1, see below
//   k  block: parents up at 1, sub-block index at 4
//   m  member access: flags at 1, string index at 4, cache index at 8, class pointer at 16
//   e  element access: flags at 1, cache index at 4, class pointer at 8
//   c  method call: argument count at 1, flags at 2, skip at 4, string index at 8, cache index at
//      12, class pointer at 16
//   x  numeric program
//
// What the effects below leave open:
//
//   return_local_var, return_parent_var, return_global_var: a handle on the variable itself. Levels
//      count blocks up to the function; variables of the root are reached as globals from within
//      functions, and as parents from within blocks of the root.
//   return_function: a value for a sub-block of this block or of a parent: a function, or the
//      definition when the sub-block is a class.
//   set_lambda 0 pops the value behind a function and gives the function a copy of it as its next
//      capture; set_lambda 1 pops nothing.
//   pop_stack pops as many slots as its field says.
//   set_and_pop_stack pops the value and assigns it to what top is a handle on, which stays.
//   set_ext_stack: the argument is the variable behind top; _copy: a copy of it; _no_deref: top as
//      it is. call_ext calls the function with the frame and puts the result into top.
//   call_subroutine_default_arg i stands at the head of a function for each parameter that has a
//      default, in order; the default's block is the function's sub-block of that number in
//      default_blocks. It leaves the stack as it was.
//   call_class_top_constructor stands at the head of a class's body, for the bodies of its bases.
//      call_class_create ends the body.
//   json_expression_set pops index and value; the container's slot becomes the value.
//   json_expression_peek pushes a[i] on container and index.
//   call_method pops the arguments; the receiver's slot becomes the result. Its skip is 0.
//   inc 0, dec 0 stand also for x++ where the old value is not wanted.
//
// The builder does not write num_expr, json_literal_check, json_expression_check, set_lambda_ref,
// call_class_constructor_once, call_class_set_this, call_class_return_this_var, clear_ext_stack,
// return_local_var_flagged and what reads statics. Their rows stay, so that each code keeps its
// meaning, size and text: lowering finds fast paths by itself, and takes num_expr for one that
// gives up.
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
    OP(0x0B, return_function, 8, "k")             \
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
    OP(0x3E, json_expression, 24, "e")            \
    OP(0x3F, json_literal_check, 8, "s")          \
    OP(0x40, json_expression_check, 1, "-")       \
    OP(0x41, json_list_add, 1, "-")               \
    OP(0x42, return_new_json, 1, "-")             \
    OP(0x43, bind_object_to_var, 1, "-")          \
    OP(0x44, json_expression_set, 16, "e")        \
    OP(0x45, json_expression_peek, 16, "e")       \
    OP(0x46, mod, 1, "-")                         \
    OP(0x47, bnot, 1, "-")                        \
    OP(0x48, num_expr, 200, "x")                  \
    OP(0x49, call_method, 32, "c")

#define TVR_INSTRUCTION_ENUM(code, name, size, fields) tvr_op_##name = (code),
enum tvr_opcode : uint8_t { TVR_INSTRUCTIONS(TVR_INSTRUCTION_ENUM) };
#undef TVR_INSTRUCTION_ENUM

// Bits of the flag bytes.
inline constexpr uint8_t tvr_member_optional = 0x01;  // a member that is missing reads as none
inline constexpr uint8_t tvr_member_target = 0x02;    // is assigned to by a set_and_pop_stack
inline constexpr uint8_t tvr_method_super = 0x01;     // starts at the class of the pointer
inline constexpr uint8_t tvr_jump_if_some = 1;  // mode of jmp_if_true: unless top is none-like
inline constexpr uint32_t tvr_max_call_args = 255;

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
    // NOLINTNEXTLINE(bugprone-sizeof-expression): of pointers too
    std::memcpy(&value, at + position, sizeof value);
    return value;
}
