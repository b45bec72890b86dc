#pragma once

// The seven kernels that all engines are measured with, and their arguments.

#include <functional>
#include <string>
#include <vector>

#include "kernel/kernel.h"

struct workload {
    std::string name;
    std::shared_ptr<const tvrk_unit> unit;
    std::vector<tvrk_reg> scalars;              // in the order of the scalar parameters
    std::vector<std::vector<uint8_t>> buffers;  // in the order of the pointers
    uint64_t width = 1, height = 1;
    // The same in C over a range of invocations, on these buffers.
    std::function<void(workload&, size_t begin, size_t end)> reference;

    uint64_t total() const { return width * height; }
    const tvrk_program& program() const { return *unit->kernels[0].program; }
};

std::vector<workload> make_workloads();

// One launch with so many helpers.
std::shared_ptr<tvrk_launch> start_workload(workload& work, size_t helpers,
                                            const tvrk_spawn& spawn);
