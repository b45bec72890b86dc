#include "kernel/lane_runner.h"

#include <algorithm>

#include "kernel/process.h"

void tvrk_set_mode(tvrk_mode mode) {
    tvrk_the_process().mode = mode;
}

tvrk_mode tvrk_get_mode() {
    return tvrk_the_process().mode;
}

tvrk_lane_runner::tvrk_lane_runner(tvrk_launch& worked_on)
    : launch(worked_on), program(*worked_on.program), ptrs(worked_on.ptrs), regs(worked_on.regs) {
    choose_engine();
    bind_frame();
    run_prologue();
    for (const tvrk_acc& acc : program.accs) {
        identities.push_back(tvrk_reduce_identity(acc.reduce, acc.prim));
    }
    running = identities;
    if (batch) spread_template();
}

void tvrk_lane_runner::choose_engine() {
    constexpr uint64_t smallest_batch = 8;  // lanes below which lock-step does not pay
    const tvrk_mode mode = tvrk_get_mode();
    if (mode == tvrk_mode::automatic) native = tvrk_jit_function(program);
    if (native != nullptr || program.frame_bytes > 0) return;
    batch = mode != tvrk_mode::scalar && program.num_regs <= tvrk_max_batch_regs &&
            (launch.chunk_size >= smallest_batch || mode == tvrk_mode::batch);
    may_leave_batch = mode == tvrk_mode::automatic;
}

void tvrk_lane_runner::bind_frame() {
    if (program.frame_bytes == 0) return;
    frame.assign((program.frame_bytes + 7) / 8, 0);
    tvrk_ptr& bound = ptrs[program.frame_ptr];
    bound.base = reinterpret_cast<uint8_t*>(frame.data());
    bound.count = 1;
    bound.stride = bound.bytes = program.frame_bytes;
}

void tvrk_lane_runner::run_prologue() {
    if (program.prologue == nullptr || regs.empty()) return;
    tvrk_trap unused;  // nothing in a prologue traps
    tvrk_execute(*program.prologue, regs.data(), ptrs.data(), 0, 1, nullptr, &unused, 0);
}

void tvrk_lane_runner::spread_template() {
    cells.resize(regs.size());
    for (size_t r = 0; r < regs.size(); ++r) {
        std::fill(std::begin(cells[r].lane), std::end(cells[r].lane), regs[r]);
    }
}

void tvrk_lane_runner::run() {
    while (!launch.abort.load(std::memory_order_relaxed)) {
        const uint64_t chunk = launch.next_chunk.fetch_add(1, std::memory_order_relaxed);
        if (chunk >= launch.chunk_count) return;
        const uint64_t begin = chunk * launch.chunk_size;
        const uint64_t end = std::min(begin + launch.chunk_size, launch.total);
        if (const uint32_t code = run_chunk(chunk, begin, end)) return stop(code);
    }
}

void tvrk_lane_runner::stop(uint32_t code) {
    if (code != TVRK_TRAP_ABORT && !launch.trapped.exchange(true)) launch.trap = trap;
    launch.abort = true;
    launch.next_chunk = launch.chunk_count;
}

uint32_t tvrk_lane_runner::run_chunk(uint64_t chunk, uint64_t begin, uint64_t end) {
    running = identities;
    const uint32_t code = batch ? run_batches(begin, end) : run_plain(begin, end);
    for (size_t i = 0; i < program.accs.size(); ++i) {
        launch.partials[chunk * program.accs.size() + i] = running[i];
    }
    return code;
}

// Goes on from the values in `running`, and leaves the new ones there.
uint32_t tvrk_lane_runner::run_plain(uint64_t begin, uint64_t end) {
    for (size_t i = 0; i < running.size(); ++i) regs[program.accs[i].reg] = running[i];
    uint32_t code = TVRK_TRAP_NONE;
    if (native != nullptr) {
        const auto* flag = reinterpret_cast<const volatile unsigned char*>(&launch.abort);
        code = native(regs.data(), ptrs.data(), begin, end, flag, &trap);
    } else {
        code = tvrk_execute(program, regs.data(), ptrs.data(), begin, end, &launch.abort, &trap, 0);
    }
    for (size_t i = 0; i < running.size(); ++i) running[i] = regs[program.accs[i].reg];
    return code;
}

uint32_t tvrk_lane_runner::run_batches(uint64_t begin, uint64_t end) {
    constexpr uint64_t groups_to_judge = 32;
    for (uint64_t first = begin; first < end; first += tvrk_lanes) {
        const auto count = uint32_t(std::min<uint64_t>(tvrk_lanes, end - first));
        if (const uint32_t code = run_group(first, count)) return code;
        for (size_t i = 0; i < running.size(); ++i) {
            const tvrk_acc& acc = program.accs[i];
            running[i] =
                tvrk_reduce_fold(acc.reduce, acc.prim, running[i], cells[acc.reg].lane, count);
        }
        if (!may_leave_batch || groups < groups_to_judge || 2 * diverged <= groups) continue;
        // Lock-step does not pay here. One by one the sums go on in the same order.
        batch = false;
        return run_plain(first + count, end);
    }
    return TVRK_TRAP_NONE;
}

void tvrk_lane_runner::fill_group(uint64_t first, uint32_t count) {
    for (uint32_t lane = 0; lane < tvrk_lanes; ++lane)
        cells[program.gid].lane[lane].u = first + lane;
    for (size_t i = 0; i < identities.size(); ++i) {
        std::fill_n(cells[program.accs[i].reg].lane, tvrk_lanes, identities[i]);
    }
    if (!program.uses_2d) return;
    uint64_t x = first % launch.width, y = first / launch.width;
    for (uint32_t lane = 0; lane < count; ++lane) {
        cells[program.gid_x].lane[lane].u = x;
        cells[program.gid_y].lane[lane].u = y;
        if (++x < launch.width) continue;
        x = 0;
        ++y;
    }
}

uint32_t tvrk_lane_runner::run_group(uint64_t first, uint32_t count) {
    fill_group(first, count);
    ++groups;
    const uint32_t code =
        tvrk_execute_batch(program, cells[0].lane, ptrs.data(), first, count, &launch.abort, &trap);
    if (code != TVRK_DIVERGED) return code;
    ++diverged;
    return finish_lanes(first, count, trap.pc);
}

// The lanes disagree at a branch: from there each goes its own way, in their order.
uint32_t tvrk_lane_runner::finish_lanes(uint64_t first, uint32_t count, uint32_t pc) {
    for (uint32_t lane = 0; lane < count; ++lane) {
        for (size_t r = 0; r < regs.size(); ++r) regs[r] = cells[r].lane[lane];
        const uint64_t gid = first + lane;
        const uint32_t code =
            tvrk_execute(program, regs.data(), ptrs.data(), gid, gid + 1, &launch.abort, &trap, pc);
        if (code != TVRK_TRAP_NONE) return code;
        for (const tvrk_acc& acc : program.accs) cells[acc.reg].lane[lane] = regs[acc.reg];
    }
    return TVRK_TRAP_NONE;
}
