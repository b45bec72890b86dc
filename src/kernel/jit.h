#pragma once

// Native code by way of the system's C compiler.
//
// A kernel's bytecode is printed as C, compiled into a shared library in a cache directory and
// loaded. Until that is done, and if it never succeeds, the interpreters run. Nothing here fails
// loudly: tvrk_jit_status() tells.
//
// Threads: any. A slot's state is atomic; whoever moves it from compiling to publishing writes
// `fn`, and a reader that sees ready sees `fn`.

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "kernel/program.h"
#include "kernel/spawn.h"

struct tvrk_unit;

// Returns 0 or a trap's code. `abort` is read as a byte.
using tvrk_native_function = int (*)(tvrk_reg* regs, const tvrk_ptr* ptrs, uint64_t gid_begin,
                                     uint64_t gid_end, const volatile unsigned char* abort,
                                     tvrk_trap* trap);

enum class tvrk_jit_policy : uint8_t { automatic = 0, sync = 1, off = 2 };

enum tvrk_jit_state : uint32_t {
    TVRK_JIT_NONE = 0,
    TVRK_JIT_COMPILING = 1,
    TVRK_JIT_READY = 2,
    TVRK_JIT_FAILED = 3,
    TVRK_JIT_PUBLISHING = 4,
};

struct tvrk_jit_slot {
    std::atomic<tvrk_native_function> fn{nullptr};
    std::atomic<uint32_t> state{TVRK_JIT_NONE};
    std::atomic<bool> claimed{false};  // somebody runs the build; a queued task may come too late
    std::string error;                 // why it failed; readable once the state says so
    std::atomic<bool> aot{false};      // fn came from the ahead-of-time table
    std::atomic<uint64_t> hash{0};     // tvrk_aot_hash; 0 until needed
    std::atomic<uint32_t> generation{0};  // of the table when it was last asked
};

// Process-wide. Starts as TVR_KERNEL_JIT says: "sync", "off", anything else automatic.
void tvrk_jit_set_policy(tvrk_jit_policy policy);
tvrk_jit_policy tvrk_jit_get_policy();

// The C text of one kernel, prelude included. Throws std::runtime_error for an instruction that
// has no translation.
std::string tvrk_jit_source(const tvrk_program& program);

// Whether nobody waits for a build any more. Asked again and again on the thread that builds.
using tvrk_called_off = std::function<bool()>;

// Asks for native code; cheap once decided. Automatic: a task for `spawn`, refused means that a
// later launch asks again. Sync: blocks until it is decided. The unit keeps the program alive while
// the task waits; it may be null if the program outlives it. A build that is called off ends its
// compiler, and a later launch asks again.
void tvrk_jit_request(std::shared_ptr<const tvrk_unit> unit, const tvrk_program& program,
                      const tvrk_spawn& spawn, const tvrk_called_off& called_off = {});

// Null unless ready and allowed.
tvrk_native_function tvrk_jit_function(const tvrk_program& program);

// "off", "none", "compiling", "ready", "aot", "failed: ...".
std::string tvrk_jit_status(const tvrk_program& program);

// The command, "" if there is none.
std::string tvrk_jit_compiler();
