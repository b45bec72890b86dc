#include "kernel/launch.h"

#include "kernel/lane_runner.h"
#include "kernel/process.h"

tvrk_launch::tvrk_launch() {
    tvrk_process& process = tvrk_the_process();
    tvr_lock hold(process.launch_mutex);
    next_launch = process.first_launch;
    if (next_launch != nullptr) next_launch->previous_launch = this;
    process.first_launch = this;
}

tvrk_launch::~tvrk_launch() {
    tvrk_process& process = tvrk_the_process();
    tvr_lock hold(process.launch_mutex);
    if (next_launch != nullptr) next_launch->previous_launch = previous_launch;
    if (previous_launch != nullptr) {
        previous_launch->next_launch = next_launch;
    } else {
        process.first_launch = next_launch;
    }
}

void tvrk_abort_all() {
    tvrk_process& process = tvrk_the_process();
    tvr_lock hold(process.launch_mutex);
    for (tvrk_launch* l = process.first_launch; l != nullptr; l = l->next_launch) l->abort = true;
}

void tvrk_launch::setup(std::shared_ptr<const tvrk_unit> owner, const tvrk_program& kernel,
                        uint64_t columns, uint64_t height) {
    constexpr uint64_t most_chunks_shift = 8;  // 256 of them
    unit = std::move(owner);
    program = &kernel;
    width = columns > 0 ? columns : 1;
    total = columns * height;
    regs.assign(kernel.num_regs, tvrk_reg{});
    for (const tvrk_const& constant : kernel.consts) regs[constant.reg] = constant.value;
    regs[kernel.gsize].u = total;
    regs[kernel.gsize_x].u = width;
    regs[kernel.gsize_y].u = height;
    ptrs.assign(kernel.num_ptrs + (kernel.frame_bytes > 0 ? 1 : 0), tvrk_ptr{});
    chunk_size = 1;
    chunk_count = 0;
    if (total > 0) {
        chunk_size = (total >> most_chunks_shift) + ((total & 255) != 0 ? 1 : 0);
        chunk_count = total / chunk_size + (total % chunk_size != 0 ? 1 : 0);
    }
    partials.assign(chunk_count * kernel.accs.size(), tvrk_reg{});
}

size_t tvrk_launch::start_helpers(size_t count, const tvrk_spawn& spawn) {
    if (!spawn) return 0;
    for (size_t started = 0; started < count; ++started) {
        if (!spawn([self = shared_from_this()] { self->run_chunks(); })) return started;
    }
    return count;
}

void tvrk_launch::run_chunks() {
    lanes.fetch_add(1);
    // A helper that comes after the last chunk was taken has nothing to prepare for.
    if (!abort.load() && next_chunk.load() < chunk_count) tvrk_lane_runner(*this).run();
    if (lanes.fetch_sub(1) != 1) return;
    const std::lock_guard hold(mutex);
    all_left.notify_all();
}

bool tvrk_launch::finished() const {
    // The cursor first: a runner that counts itself in afterwards finds no chunk.
    const bool nothing_left = abort.load() || next_chunk.load() >= chunk_count;
    return nothing_left && lanes.load() == 0;
}

void tvrk_launch::wait() {
    run_chunks();
    std::unique_lock hold(mutex);
    all_left.wait(hold, [this] { return finished(); });
}

tvrk_reg tvrk_launch::result() const {
    const std::vector<tvrk_reg> all = results();
    return all.empty() ? tvrk_reg{} : all.front();
}

std::vector<tvrk_reg> tvrk_launch::results() const {
    const size_t accs = program->accs.size();
    std::vector<tvrk_reg> folded;
    for (size_t i = 0; i < accs; ++i) {
        const tvrk_acc& acc = program->accs[i];
        tvrk_reg value = tvrk_reduce_identity(acc.reduce, acc.prim);
        for (uint64_t chunk = 0; chunk < chunk_count; ++chunk) {
            value = tvrk_reduce_combine(acc.reduce, acc.prim, value, partials[chunk * accs + i]);
        }
        folded.push_back(value);
    }
    return folded;
}
