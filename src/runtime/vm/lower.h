#pragma once

// From the blocks of a function to code for registers.
//
// The stack of the blocks becomes names: what return_local_var pushes is no copy but the variable's
// register, read by the operator that pops it; what an operator pushes is a temporary of its slot.
// So `x = a + b` is one operation. Member and element accesses wait the same way until somebody
// reads them or assigns to them. Blocks inside the function are laid into its code, their variables
// into its frame, and leaving one clears them.
//
// Thread: one that runs scripts.

class tvr_machine_code;

// Fills `code` for its routine. False after a runtime error: more variables, constants or sites
// than a register number can name.
bool tvr_lower(tvr_machine_code& code);
