#include "kernel/launch.h"

#include <new>
#include <thread>

#include "kernel/lane_runner.h"
#include "kernel/process.h"

namespace {

// For signal handlers too: a launch that is taken out of the list meanwhile waits for the walker.
template <typename F>
void each_launch(F visit) {
    tvrk_process& process = tvrk_the_process();
    process.launch_walkers.fetch_add(1);
    tvrk_launch* at = process.first_launch.load();
    for (; at != nullptr; at = at->next_launch.load()) visit(*at);
    process.launch_walkers.fetch_sub(1);
}

}  // namespace

tvrk_launch::tvrk_launch() {
    tvrk_process& process = tvrk_the_process();
    tvr_lock hold(process.launch_mutex);
    tvrk_launch* following = process.first_launch.load();
    next_launch.store(following);
    link_to_this = &process.first_launch;
    if (following != nullptr) following->link_to_this = &next_launch;
    process.first_launch.store(this);
}

tvrk_launch::~tvrk_launch() {
    tvrk_process& process = tvrk_the_process();
    {
        tvr_lock hold(process.launch_mutex);
        tvrk_launch* following = next_launch.load();
        link_to_this->store(following);
        if (following != nullptr) following->link_to_this = link_to_this;
    }
    // Walks are as short as the list, and rare: they belong to the end of a run.
    while (process.launch_walkers.load() != 0) std::this_thread::yield();
}

void tvrk_abort_all() {
    each_launch([](tvrk_launch& launch) { launch.abort = true; });
}

void tvrk_abort_all(const void* maker) {
    each_launch([maker](tvrk_launch& launch) {
        if (launch.made_by.load() == maker) launch.abort = true;
    });
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
    size_t started = 0;
    try {
        while (started < count && spawn([self = shared_from_this()] { self->run_chunks(); })) {
            ++started;
        }
    } catch (const std::bad_alloc&) {
        // Those that are there do the work.
    }
    return started;
}

void tvrk_launch::run_chunks() {
    lanes.fetch_add(1);
    // A helper that comes after the last chunk was taken has nothing to prepare for.
    try {
        if (!abort.load() && next_chunk.load() < chunk_count) tvrk_lane_runner(*this).run();
    } catch (const std::bad_alloc&) {
        abort = true;  // there is no memory for registers; whoever waits sees an aborted launch
    }
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
