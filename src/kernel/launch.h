#pragma once

// One run of a kernel over a domain, on several threads.
//
// The domain is cut into at most 256 chunks that depend on its size alone, and partial results are
// kept for each chunk. So a result does not depend on how many threads there were nor on which of
// them ran what. Lane runners take chunks from an atomic cursor; the caller of wait() is one of
// them, so a launch ends even if nobody helps.
//
// Ownership: shared, since helpers hold it. A launch keeps its unit, and with it the program.
// Threads: setup() and the bindings by one thread before anything runs; run_chunks() by any number;
// results and trap may be read once finished() is true.

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "kernel/program.h"
#include "kernel/reduce.h"
#include "kernel/spawn.h"

struct tvrk_unit;

struct tvrk_launch : std::enable_shared_from_this<tvrk_launch> {
    tvrk_launch();
    ~tvrk_launch();  // everybody has left run_chunks()
    tvrk_launch(const tvrk_launch&) = delete;
    tvrk_launch& operator=(const tvrk_launch&) = delete;

    // Prepares registers, chunks and an empty pointer table; the caller then fills `ptrs` and the
    // scalars in `regs`. One-dimensional: height 1. The unit may be null if the program outlives
    // the launch.
    void setup(std::shared_ptr<const tvrk_unit> owner, const tvrk_program& kernel, uint64_t columns,
               uint64_t height);

    // Asks for up to `count` lane runners on other threads; how many were taken on.
    size_t start_helpers(size_t count, const tvrk_spawn& spawn);

    // One lane runner: works until no chunk is left or the launch is aborted.
    void run_chunks();

    // Works along, then blocks until everybody is through. Twice is harmless.
    void wait();

    // No chunk is left, or aborted, and nobody is inside run_chunks().
    bool finished() const;

    tvrk_reg result() const;                // the first accumulator's
    std::vector<tvrk_reg> results() const;  // folded over the chunks in their order

    std::shared_ptr<const tvrk_unit> unit;
    const tvrk_program* program = nullptr;
    std::vector<tvrk_reg> regs;  // the template that runners copy
    std::vector<tvrk_ptr> ptrs;  // one more than num_ptrs if there is a frame
    uint64_t total = 0;          // invocations
    uint64_t width = 1;          // of a row, at least 1
    uint64_t chunk_size = 1, chunk_count = 0;
    std::vector<tvrk_reg> partials;       // chunk * accs + acc; written by the chunk's runner
    std::atomic<uint64_t> next_chunk{0};  // the cursor; every runner
    std::atomic<uint32_t> lanes{0};       // runners inside run_chunks()
    std::atomic<bool> abort{false};       // anybody; native code reads it as a byte
    std::atomic<bool> trapped{false};     // who sets it owns `trap`
    tvrk_trap trap;                       // the first that was recorded
    std::mutex mutex;                     // for wait() alone
    std::condition_variable all_left;

    // For tvrk_abort_all(); null for nobody in particular.
    std::atomic<const void*> made_by{nullptr};

    // The list of all launches: changed under its mutex, walked without.
    std::atomic<tvrk_launch*>* link_to_this = nullptr;
    std::atomic<tvrk_launch*> next_launch{nullptr};
};
static_assert(sizeof(std::atomic<bool>) == 1 && std::atomic<bool>::is_always_lock_free);

// Sets `abort` on every launch that exists, or on those of one maker, before somebody waits for
// them. Takes no lock and allocates nothing. Thread: any, and signal handlers.
void tvrk_abort_all();
void tvrk_abort_all(const void* maker);
