// Launches: chunks, reductions, order, traps and aborting.

#include <gtest/gtest.h>

#include <limits>
#include <thread>

#include "engines.h"

using namespace tavro::test;

namespace {

std::shared_ptr<const tvrk_unit> compile(const std::string& source) {
    tvrk_compile_error error;
    auto unit = tvrk_compile(source, "file", error);
    EXPECT_NE(unit, nullptr) << error.line << ":" << error.column << ": " << error.message;
    return unit;
}

TEST(launch, chunks) {
    const auto unit = compile("kernel i64 k() reduce(+) { return i64(gid); }");
    struct row {
        uint64_t total, size, count;
    };
    const row rows[] = {{0, 1, 0},
                        {1, 1, 1},
                        {256, 1, 256},
                        {257, 2, 129},
                        {300, 2, 150},
                        {100000, 391, 256},
                        {4294967295, 16777216, 256}};
    for (const row& r : rows) {
        tvrk_launch launch;
        launch.setup(unit, *unit->kernels[0].program, r.total, 1);
        EXPECT_EQ(launch.chunk_size, r.size) << r.total;
        EXPECT_EQ(launch.chunk_count, r.count) << r.total;
    }
}

TEST(launch, an_empty_domain_gives_the_identities) {
    struct row {
        const char* clause;
        uint64_t bits;
    };
    const row rows[] = {
        {"i32 k() reduce(+) { return 1; }", 0},
        {"i32 k() reduce(min) { return 1; }", 2147483647},
        {"i32 k() reduce(max) { return 1; }", 0xffffffff80000000},
        {"u32 k() reduce(&) { return 1; }", 0xffffffff},
        {"f32 k() reduce(min) { return 1; }", 0x7f800000},
        {"f64 k() reduce(max) { return 1; }", 0xfff0000000000000},
        {"bool k() reduce(&) { return true; }", 1},
        {"u64 k() reduce(^) { return 1; }", 0},
    };
    for (const row& r : rows) {
        const auto unit = compile(std::string("kernel ") + r.clause);
        const auto launch = std::make_shared<tvrk_launch>();
        launch->setup(unit, *unit->kernels[0].program, 0, 1);
        launch->wait();
        launch->wait();
        EXPECT_TRUE(launch->finished());
        EXPECT_EQ(launch->result().u, r.bits) << r.clause;
    }
}

TEST(launch, two_dimensions_cut_rows) {
    const auto unit = compile(
        "kernel void k(u32* x, u32* y) { x[gid] = u32(gid_x); y[gid] = u32(gid_y + gsize_x * 0); "
        "}");
    kernel_arguments given;
    given.width = 1000;
    given.height = 103;
    const size_t total = given.width * given.height;
    given.buffers = {kernel_buffer::of(std::vector<uint32_t>(total)),
                     kernel_buffer::of(std::vector<uint32_t>(total))};
    for (const kernel_engine& engine : interpreters()) {
        const auto out = run_kernel(*unit->kernels[0].program, given, engine);
        const auto x = out.buffers[0].as<uint32_t>(), y = out.buffers[1].as<uint32_t>();
        for (size_t i = 0; i < total; ++i) {
            ASSERT_EQ(x[i], i % 1000) << engine.name;
            ASSERT_EQ(y[i], i / 1000) << engine.name;
        }
    }
}

// Lanes that disagree in every group make a runner give lock-step up, in the middle of a chunk.
TEST(launch, giving_up_lock_step_changes_nothing) {
    const auto unit = compile(
        "kernel f32 k(const f32* p) reduce(+) { f32 v = p[gid]; if (gid % 3 == 0) v *= 0.7f; "
        "return v; }");
    kernel_arguments given;
    given.width = 256 * 64 * 50 + 17;
    std::vector<float> values;
    for (size_t i = 0; i < given.width; ++i) values.push_back(float(i % 1009) * 0.31f - 100.0f);
    given.buffers = {kernel_buffer::of(values)};
    const tvrk_program& program = *unit->kernels[0].program;
    const float expected = run_kernel(program, given, interpreters()[0]).results[0].f;
    const kernel_engine automatic{"automatic", tvrk_mode::automatic, tvrk_best_width(), 2};
    EXPECT_EQ(run_kernel(program, given, automatic).results[0].f, expected);
}

// Float sums are no one's rounding: first within a chunk, then over the chunks.
TEST(launch, sums_have_one_order) {
    const auto unit = compile("kernel f32 k(const f32* p) reduce(+) { return p[gid] * 0.1f; }");
    kernel_arguments given;
    given.width = 70001;
    std::vector<float> values;
    for (size_t i = 0; i < given.width; ++i) values.push_back(float(i % 977) * 0.37f);
    given.buffers = {kernel_buffer::of(values)};
    float expected = 0;
    const size_t chunk = (given.width + 255) / 256;
    for (size_t begin = 0; begin < given.width; begin += chunk) {
        float part = 0;
        for (size_t i = begin; i < std::min<size_t>(begin + chunk, given.width); ++i) {
            part += values[i] * 0.1f;
        }
        expected += part;
    }
    for (const kernel_engine& engine : interpreters()) {
        EXPECT_EQ(run_kernel(*unit->kernels[0].program, given, engine).results[0].f, expected)
            << engine.name;
    }
}

TEST(launch, a_trap_names_its_lane) {
    const auto unit = compile("kernel void k(i32* p, const i32* d) { p[gid] = 100 / d[gid]; }");
    kernel_arguments given;
    given.width = 64 * 256;
    std::vector<int32_t> divisors(given.width, 1);
    divisors[64 * 100 + 40] = 0;
    given.buffers = {kernel_buffer::of(std::vector<int32_t>(given.width)),
                     kernel_buffer::of(divisors)};
    for (const kernel_engine& engine : interpreters()) {
        const auto out = run_kernel(*unit->kernels[0].program, given, engine);
        EXPECT_EQ(out.trap, "integer division by zero") << engine.name;
        EXPECT_EQ(out.trap_gid, 64u * 100 + 40) << engine.name;
    }
}

// Lanes before the one that traps have done their work, those after have not.
TEST(launch, batch_keeps_the_order_of_lanes) {
    const auto unit = compile("kernel void k(i32* p) { p[gid] = 1; }");
    const tvrk_program& program = *unit->kernels[0].program;
    std::vector<int32_t> memory(40);
    tvrk_ptr bound{reinterpret_cast<uint8_t*>(memory.data()), 40, 4, 160};
    struct alignas(64) cells {
        tvrk_reg lane[tvrk_lanes];
    };
    for (int width = 0; width <= int(tvrk_best_width()); ++width) {
        std::vector<cells> regs(program.num_regs);
        for (const tvrk_const& constant : program.consts) {
            for (tvrk_reg& lane : regs[constant.reg].lane) lane = constant.value;
        }
        for (size_t l = 0; l < tvrk_lanes; ++l) regs[program.gid].lane[l].u = l;
        std::fill(memory.begin(), memory.end(), 0);
        tvrk_trap trap;
        EXPECT_EQ(
            tvrk_batch_for(tvrk_width(width))(program, regs[0].lane, &bound, 0, 64, nullptr, &trap),
            TVRK_TRAP_BOUNDS);
        EXPECT_EQ(trap.gid, 40u);
        EXPECT_EQ(trap.value, 40);
        EXPECT_EQ(memory, std::vector<int32_t>(40, 1));
    }
}

TEST(launch, lanes_that_disagree_leave_before_the_branch) {
    const auto unit = compile("kernel void k(i32* p) { if (gid < 3) p[gid] = 7; }");
    const tvrk_program& program = *unit->kernels[0].program;
    struct alignas(64) cells {
        tvrk_reg lane[tvrk_lanes];
    };
    std::vector<cells> regs(program.num_regs);
    for (const tvrk_const& constant : program.consts) {
        for (tvrk_reg& lane : regs[constant.reg].lane) lane = constant.value;
    }
    for (size_t l = 0; l < tvrk_lanes; ++l) regs[program.gid].lane[l].u = l;
    int32_t memory[3] = {};
    const tvrk_ptr bound{reinterpret_cast<uint8_t*>(memory), 3, 4, 12};
    tvrk_trap trap;
    EXPECT_EQ(tvrk_execute_batch(program, regs[0].lane, &bound, 0, 64, nullptr, &trap),
              TVRK_DIVERGED);
    EXPECT_EQ(trap.pc, 0u);
    EXPECT_EQ(memory[0], 0);
    EXPECT_EQ(tvrk_execute_batch(program, regs[0].lane, &bound, 0, 3, nullptr, &trap), 0u);
    EXPECT_EQ(memory[2], 7);
}

TEST(launch, aborting_ends_an_endless_kernel) {
    const auto unit = compile("kernel void k(i32* p) { while (p[0] == 0) {} }");
    int32_t memory[1] = {};
    for (const tvrk_mode mode : {tvrk_mode::scalar, tvrk_mode::batch}) {
        tvrk_set_mode(mode);
        const auto launch = std::make_shared<tvrk_launch>();
        launch->setup(unit, *unit->kernels[0].program, 100, 1);
        launch->ptrs[0] = {reinterpret_cast<uint8_t*>(memory), 1, 4, 4};
        {
            tvrk_worker_pool pool(2);
            EXPECT_EQ(launch->start_helpers(2, pool.spawn()), 2u);
            while (launch->lanes == 0) std::this_thread::yield();
            EXPECT_FALSE(launch->finished());
            tvrk_abort_all();
            launch->wait();
        }
        EXPECT_TRUE(launch->finished());
        EXPECT_FALSE(launch->trapped);
    }
    tvrk_set_mode(tvrk_mode::automatic);
}

TEST(launch, nobody_has_to_help) {
    const auto unit = compile("kernel i64 k() reduce(+) { return i64(gid); }");
    const auto launch = std::make_shared<tvrk_launch>();
    launch->setup(unit, *unit->kernels[0].program, 1000, 1);
    EXPECT_EQ(launch->start_helpers(3, nullptr), 0u);
    EXPECT_EQ(launch->start_helpers(3, [](const std::function<void()>&) { return false; }), 0u);
    launch->wait();
    EXPECT_EQ(launch->result().i, 499500);
}

// A helper that was queued and comes when everything is over.
TEST(launch, late_helpers_find_nothing) {
    const auto unit = compile("kernel i64 k() reduce(+) { return 1; }");
    std::function<void()> late;
    const auto launch = std::make_shared<tvrk_launch>();
    launch->setup(unit, *unit->kernels[0].program, 1000, 1);
    launch->start_helpers(1, [&late](std::function<void()> task) {
        late = std::move(task);
        return true;
    });
    launch->wait();
    late();
    EXPECT_EQ(launch->result().i, 1000);
}

TEST(launch, atomics_count_everybody) {
    const auto unit = compile(
        "kernel void k(u32* n, i64* m) { atomic_add(n[gid & 1], 1); "
        "atomic_add(m[0], -2); }");
    kernel_arguments given;
    given.width = 20000;
    given.buffers = {kernel_buffer::of(std::vector<uint32_t>(2)),
                     kernel_buffer::of(std::vector<int64_t>(1))};
    for (const kernel_engine& engine : interpreters()) {
        const auto out = run_kernel(*unit->kernels[0].program, given, engine);
        EXPECT_EQ(out.buffers[0].as<uint32_t>(), (std::vector<uint32_t>{10000, 10000}));
        EXPECT_EQ(out.buffers[1].as<int64_t>()[0], -40000);
    }
}

}  // namespace
