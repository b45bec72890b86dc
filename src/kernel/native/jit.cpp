#include "kernel/jit.h"

#include <cstdlib>
#include <exception>
#include <string_view>

#include "kernel/native/aot_table.h"
#include "kernel/native/c_compiler.h"
#include "kernel/process.h"

namespace {

// From compiling to ready or failed, unless ahead-of-time code was faster.
void publish(tvrk_jit_slot& slot, tvrk_native_function fn, const std::string& error) {
    uint32_t expected = TVRK_JIT_COMPILING;
    if (slot.state.compare_exchange_strong(expected, TVRK_JIT_PUBLISHING)) {
        slot.fn = fn;
        slot.aot = false;
        slot.error = error;
        slot.state = fn != nullptr ? TVRK_JIT_READY : TVRK_JIT_FAILED;
    }
    slot.state.notify_all();
}

// As if nobody had asked: a later launch does.
void give_up(tvrk_jit_slot& slot) {
    uint32_t expected = TVRK_JIT_COMPILING;
    slot.state.compare_exchange_strong(expected, TVRK_JIT_NONE);
    slot.state.notify_all();
}

// A build has one claim; whoever comes too late does nothing.
void build(const tvrk_program& program, const tvrk_called_off& called_off) {
    tvrk_jit_slot& slot = *program.jit;
    if (slot.claimed.exchange(true)) return;
    if (called_off && called_off()) return give_up(slot);
    tvrk_native_function fn = nullptr;
    std::string error;
    try {
        fn = tvrk_compile_c(tvrk_jit_source(program), called_off, error);
    } catch (const std::exception& failure) {
        error = failure.what();
    }
    if (fn == nullptr && called_off && called_off()) return give_up(slot);
    publish(slot, fn, error);
}

// A table that was loaded later is noticed at the next request.
void take_ahead_of_time(const tvrk_program& program) {
    tvrk_jit_slot& slot = *program.jit;
    const uint32_t generation = tvrk_the_process().generation;
    if (slot.state == TVRK_JIT_READY || slot.generation == generation) return;
    if (slot.hash == 0) slot.hash = tvrk_aot_hash(program);
    const tvrk_native_function fn = tvrk_aot_find(slot.hash);
    slot.generation = generation;
    if (fn == nullptr) return;
    for (uint32_t from : {TVRK_JIT_NONE, TVRK_JIT_COMPILING, TVRK_JIT_FAILED}) {
        if (!slot.state.compare_exchange_strong(from, TVRK_JIT_PUBLISHING)) continue;
        slot.fn = fn;
        slot.aot = true;
        slot.state = TVRK_JIT_READY;
        slot.state.notify_all();
        return;
    }
}

// Somebody else asked first. Perhaps nobody builds yet, because the task waits for this thread.
void wait_for_build(const tvrk_program& program, const tvrk_called_off& called_off) {
    tvrk_jit_slot& slot = *program.jit;
    for (;;) {
        const uint32_t state = slot.state;
        if (state != TVRK_JIT_COMPILING && state != TVRK_JIT_PUBLISHING) return;
        if (state == TVRK_JIT_COMPILING) build(program, called_off);
        if (slot.state == state) slot.state.wait(state);
    }
}

}  // namespace

void tvrk_jit_set_policy(tvrk_jit_policy policy) {
    tvrk_the_process().policy = int(policy);
}

tvrk_jit_policy tvrk_jit_get_policy() {
    std::atomic<int>& policy = tvrk_the_process().policy;
    int now = policy;
    if (now == tvrk_process::policy_unread) {
        const char* asked = std::getenv("TVR_KERNEL_JIT");
        const std::string_view word = asked != nullptr ? asked : "";
        const tvrk_jit_policy read = word == "sync"  ? tvrk_jit_policy::sync
                                     : word == "off" ? tvrk_jit_policy::off
                                                     : tvrk_jit_policy::automatic;
        if (policy.compare_exchange_strong(now, int(read))) now = int(read);
    }
    return tvrk_jit_policy(now);
}

void tvrk_jit_request(std::shared_ptr<const tvrk_unit> unit, const tvrk_program& program,
                      const tvrk_spawn& spawn, const tvrk_called_off& called_off) {
    const tvrk_jit_policy policy = tvrk_jit_get_policy();
    if (policy == tvrk_jit_policy::off || program.jit == nullptr) return;
    tvrk_jit_slot& slot = *program.jit;
    take_ahead_of_time(program);
    uint32_t expected = TVRK_JIT_NONE;
    if (!slot.state.compare_exchange_strong(expected, TVRK_JIT_COMPILING)) {
        if (policy == tvrk_jit_policy::sync) wait_for_build(program, called_off);
        return;
    }
    slot.claimed = false;
    if (policy == tvrk_jit_policy::sync) return build(program, called_off);
    const auto task = [unit = std::move(unit), &program, called_off] {
        build(program, called_off);
    };
    if (spawn && spawn(task)) return;
    // Refused, unless a sync launch has begun to build meanwhile.
    if (!slot.claimed.exchange(true)) give_up(slot);
}

tvrk_native_function tvrk_jit_function(const tvrk_program& program) {
    if (program.jit == nullptr || tvrk_jit_get_policy() == tvrk_jit_policy::off) return nullptr;
    return program.jit->state == TVRK_JIT_READY ? program.jit->fn.load() : nullptr;
}

std::string tvrk_jit_status(const tvrk_program& program) {
    if (tvrk_jit_get_policy() == tvrk_jit_policy::off) return "off";
    if (program.jit == nullptr) return "none";
    switch (program.jit->state) {
    case TVRK_JIT_COMPILING:
    case TVRK_JIT_PUBLISHING: return "compiling";
    case TVRK_JIT_READY: return program.jit->aot ? "aot" : "ready";
    case TVRK_JIT_FAILED: return "failed: " + program.jit->error;
    default: return "none";
    }
}
