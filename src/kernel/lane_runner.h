#pragma once

// One thread's work on a launch: it chooses an engine, prepares its own registers and bindings
// once, and then takes chunks until none is left. No allocation and no lock for a chunk.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "kernel/execute.h"
#include "kernel/jit.h"
#include "kernel/launch.h"

class tvrk_lane_runner {
public:
    explicit tvrk_lane_runner(tvrk_launch& worked_on);
    void run();

private:
    struct alignas(64) lane_cells {
        tvrk_reg lane[tvrk_lanes];
    };

    void choose_engine();
    void bind_frame();
    void run_prologue();
    void spread_template();
    uint32_t run_chunk(uint64_t chunk, uint64_t begin, uint64_t end);
    uint32_t run_plain(uint64_t begin, uint64_t end);
    uint32_t run_batches(uint64_t begin, uint64_t end);
    uint32_t run_group(uint64_t first, uint32_t count);
    uint32_t finish_lanes(uint64_t first, uint32_t count, uint32_t pc);
    void fill_group(uint64_t first, uint32_t count);
    void stop(uint32_t code);

    tvrk_launch& launch;
    const tvrk_program& program;
    tvrk_native_function native = nullptr;
    bool batch = false;
    bool may_leave_batch = false;  // automatic mode watches how often lanes disagree
    uint64_t groups = 0, diverged = 0;
    std::vector<tvrk_ptr> ptrs;
    std::vector<uint64_t> frame;  // zeroed; of 8 bytes for its alignment
    std::vector<tvrk_reg> regs;
    std::vector<lane_cells> cells;
    std::vector<tvrk_reg> identities, running;
    tvrk_trap trap;
};
