#pragma once

// A program as text, for people and tests.
//
//     function add
//       parameters: a, &b, c = block 0
//       3 | def add(a, &b, c = 1) {
//           0  call_subroutine_default_arg 2  ; c
//       4 |     return a + b;
//           2  push_stack
//           3  return_local_var 0             ; a
//
// The root comes first, each block in front of those inside of it. In front of an instruction
// stands its offset in bytes; a line of source is shown where it changes. Pointers are shown as
// the names of what they point at, so the text is the same in every process. Thread: any, while
// nobody runs the program.

#include <string>

class tvr_program_block_root;

std::string tvr_disassemble(const tvr_program_block_root& program);
