#pragma once

// Walks a program as the machine would lower it and says what is wrong with its code.

#include <string>

class tvr_program_block_root;

// Empty for a good program: every instruction is known, whole and names things that exist, jumps
// stay in their block and end on instructions, and the stack has one depth at each of them: the
// same on every way there, never below the block's own, and zero at the block's end.
std::string fault_of(const tvr_program_block_root& program);
