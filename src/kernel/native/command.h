#pragma once

// Runs commands of the shell: the C compiler.
//
// Thread: any; blocks for as long as the command takes, or until it is called off.

#include <string>

#include "kernel/jit.h"

// The exit status, -1 where there is none; what the command writes to its output goes to `output`.
// Once `called_off` says so, the command is asked to end with all that it has started, and is ended
// a second later.
int tvrk_run_command(const std::string& command, std::string& output,
                     const tvrk_called_off& called_off);
