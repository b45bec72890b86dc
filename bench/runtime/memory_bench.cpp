// Pooled elements in bursts, all checks on, beside malloc and free of the same size in the same
// run. One item is one element allocated, written and freed.

#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "runtime/memory/pointer.h"
#include "runtime/memory/pointer_pool.h"

namespace {

// As large as a script's variable.
struct element {
    int32_t count = 0;
    uint8_t kind[3] = {};
    uint8_t slot = tvr_not_pooled;
    int64_t payload = 0;
};
static_assert(sizeof(element) == 16);

constexpr size_t longest_burst = 64;

template <typename TAKE, typename GIVE>
void bursts(benchmark::State& run, TAKE take, GIVE give) {
    const auto burst = size_t(run.range(0));
    std::array<element*, longest_burst> held{};
    for (auto _ : run) {
        for (size_t i = 0; i < burst; ++i) {
            held[i] = take();
            held[i]->payload = int64_t(i);
        }
        benchmark::DoNotOptimize(held);
        benchmark::ClobberMemory();
        for (size_t i = 0; i < burst; ++i) give(held[i]);
    }
    run.SetItemsProcessed(run.iterations() * int64_t(burst));
}

void from_pool(benchmark::State& run) {
    tvr_pool<element, tvr_pool_chunk_static<element>> pool;
    bursts(
        run, [&] { return pool.allocate(); }, [&](element* e) { pool.deallocate(e); });
    if (pool.live() != 0) run.SkipWithError("elements are missing");
}
BENCHMARK(from_pool)->Arg(8)->Arg(64);

void from_malloc(benchmark::State& run) {
    bursts(
        run, [] { return static_cast<element*>(std::malloc(sizeof(element))); },
        [](element* e) { std::free(e); });
}
BENCHMARK(from_malloc)->Arg(8)->Arg(64);

// What a thread that may not run scripts pays, and the owner when it takes the element in.
void through_mailbox(benchmark::State& run) {
    tvr_interpreter_lock lock;
    tvr_pool_threadsafe<element, tvr_pool_chunk_static<element>> pool(lock);
    for (auto _ : run) {
        for (int64_t i = 0; i < run.range(0); ++i) pool.deallocate_from_thread(pool.allocate());
        pool.collect_garbage();
    }
    if (pool.live() != 0) run.SkipWithError("elements are missing");
    run.SetItemsProcessed(run.iterations() * run.range(0));
}
BENCHMARK(through_mailbox)->Arg(64);

struct object : tvrptr_base_internal {
    int64_t payload = 0;
};

// An object of the heap with its first pointer, beside the standard's way of saying the same.
void first_pointer(benchmark::State& run) {
    tvr_interpreter_lock lock;
    tvr_pool_set pools(lock);
    tvr_local().pools = &pools;
    tvr_local().owns_interpreter = true;
    for (auto _ : run) {
        const tvrptr_strong<object> pointer(new object);
        benchmark::DoNotOptimize(pointer.get());
    }
    tvr_local().pools = nullptr;
    tvr_local().owns_interpreter = false;
    if (pools.live(tvr_pool_kind::control_blocks) != 0) run.SkipWithError("blocks are missing");
}
BENCHMARK(first_pointer);

void first_shared_ptr(benchmark::State& run) {
    for (auto _ : run) {
        const std::shared_ptr<object> pointer(new object);
        benchmark::DoNotOptimize(pointer.get());
    }
}
BENCHMARK(first_shared_ptr);

}  // namespace
