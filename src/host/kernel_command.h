#pragma once

// `tavro kernel FILE`: compiles kernel source and prints what became of it, for people who write
// kernels. Runs nothing.

#include <string>

namespace host {

struct kernel_options {
    std::string file;     // "-": standard input
    bool disasm = false;  // the bytecode of every kernel
    bool c_text = false;  // the C file that ahead-of-time code is built from
};

// exit_failed if the source does not compile; what is wrong stands on standard error.
int show_kernels(const kernel_options& asked);

}  // namespace host
