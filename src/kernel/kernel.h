#pragma once

// Kernels: a small typed language for data-parallel loops, and three engines that run it alike.
//
//     source --compile.h--> tvrk_unit --launch.h--> lane runners on threads
//                              |                      |        |         |
//                         tvrk_program             scalar    batch    native
//                         (program.h, ops.h)         (execute.h)   (jit.h, aot.h)
//
// The library knows nothing of scripts. Errors go out by value; work for other threads goes out
// through tvrk_spawn (spawn.h). Nothing is locked but what each header names, and process-wide
// state is one record, process.h.
//
// prim.h, types.h    scalar types and the types built from them
// ops.h, program.h   the instruction table, and a compiled kernel
// unit.h, compile.h  what a source becomes
// execute.h          the scalar and the batch interpreter
// reduce.h, launch.h a run over a domain, and its result
// jit.h, aot.h       native code, made here or elsewhere
// worker_pool.h      plain threads for who has none

#include "kernel/aot.h"
#include "kernel/compile.h"
#include "kernel/execute.h"
#include "kernel/jit.h"
#include "kernel/launch.h"
#include "kernel/program.h"
#include "kernel/reduce.h"
#include "kernel/spawn.h"
#include "kernel/unit.h"
#include "kernel/worker_pool.h"
