#pragma once

// The system's C compiler and the cache of what it made.
//
// Thread: any. The compiler and the directory are looked up once for the process.

#include <string>

#include "kernel/jit.h"

// The function of this C text: loaded from the cache, or compiled first. Null with `error` filled.
// Blocks for as long as the compiler takes, or until it is called off.
tvrk_native_function tvrk_compile_c(const std::string& source, const tvrk_called_off& called_off,
                                    std::string& error);
