#pragma once

// Who may see what of a class.

class tvr_program_block_class;

// Whether methods of `from` (null outside of all classes) may see the private members that
// `declaring` has: its own and those of classes derived from it.
bool tvr_may_see(const tvr_program_block_class* from, const tvr_program_block_class* declaring);
