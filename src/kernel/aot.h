#pragma once

// Native code that was compiled elsewhere, for machines without a C compiler.
//
// tvrk_aot_source() prints kernels as one C file. As a shared library it is loaded at run time;
// linked into the program it registers itself. A kernel finds its code by the hash of its C text,
// so code serves exactly the bytecode that it was made from. Thread: any.

#include <cstdint>
#include <string>
#include <vector>

#include "kernel/jit.h"

uint64_t tvrk_aot_hash(const tvrk_program& program);

// A complete C file; with no programs its table is empty.
std::string tvrk_aot_source(const std::vector<const tvrk_program*>& programs);

// How many kernels the library holds, -1 with `error` filled. It stays loaded.
int tvrk_aot_load(const std::string& path, std::string& error);

// The first registration of a hash wins. May be called before main().
extern "C" void tvrk_aot_register(uint64_t hash, void* fn);
