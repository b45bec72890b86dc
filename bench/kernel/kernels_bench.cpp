// Seven kernels in every engine, beside the same loops in C (-O2), on one thread and on all.
//
// Each is checked before it is timed: memory and result must be those of the scalar interpreter,
// and those of C but for the order of a sum. Items are invocations.

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "reference_loops.h"
#include "workloads.h"

namespace {

struct sources {
    const char* name;
    const char* text;
};

constexpr sources saxpy = {
    "saxpy", "kernel void saxpy(f32 a, const f32* x, f32* y) { y[gid] = a * x[gid] + y[gid]; }"};
constexpr sources mandelbrot = {
    "mandelbrot",
    "kernel void mandelbrot(u32* out, f32 scale, i32 limit) {\n"
    "  f32 cx = f32(gid_x) * scale - 2.0, cy = f32(gid_y) * scale - 1.5;\n"
    "  f32 x = 0, y = 0; i32 n = 0;\n"
    "  while (n < limit && x * x + y * y < 4.0) {\n"
    "    f32 t = x * x - y * y + cx; y = 2.0 * x * y + cy; x = t; n++; }\n"
    "  out[gid] = u32(n); }"};
constexpr sources blur = {
    "blur",
    "kernel void blur(const u8* src, u8* out) {\n"
    "  if (gid_x == 0 || gid_y == 0 || gid_x + 1 >= gsize_x || gid_y + 1 >= gsize_y) {\n"
    "    out[gid] = src[gid]; return; }\n"
    "  i32 sum = 0;\n"
    "  for (u64 row = gid - gsize_x; row <= gid + gsize_x; row += gsize_x) {\n"
    "    sum += i32(src[row - 1]) + src[row] + src[row + 1]; }\n"
    "  out[gid] = u8(sum / 9); }"};
constexpr sources histogram = {
    "histogram",
    "kernel void histogram(const u8* src, u32* bins) { atomic_add(bins[src[gid]], 1); }"};
constexpr sources sum = {"sum", "kernel f32 sum(const f32* x) reduce(+) { return x[gid]; }"};
constexpr sources nbody = {
    "nbody",
    "kernel void nbody(const f32x4* pos, f32x4* force, u32 count) {\n"
    "  f32x4 me = pos[gid]; f32 fx = 0, fy = 0, fz = 0;\n"
    "  for (u32 j = 0; j < count; j++) {\n"
    "    f32 dx = pos[j].x - me.x, dy = pos[j].y - me.y, dz = pos[j].z - me.z;\n"
    "    f32 r = 1.0 / sqrt(dx * dx + dy * dy + dz * dz + 0.01);\n"
    "    f32 k = pos[j].w * r * r * r; fx += dx * k; fy += dy * k; fz += dz * k; }\n"
    "  force[gid].x = fx; force[gid].y = fy; force[gid].z = fz; }"};
constexpr sources blend = {
    "blend",
    "kernel struct Rgba { u8 r; u8 g; u8 b; u8 a; }\n"
    "kernel inline u8 mixed(u8 t, u8 b, i32 a) { return u8((t * a + b * (255 - a)) / 255); }\n"
    "kernel void blend(const Rgba* top, Rgba* bottom) {\n"
    "  i32 a = top[gid].a;\n"
    "  bottom[gid].r = mixed(top[gid].r, bottom[gid].r, a);\n"
    "  bottom[gid].g = mixed(top[gid].g, bottom[gid].g, a);\n"
    "  bottom[gid].b = mixed(top[gid].b, bottom[gid].b, a);\n"
    "  bottom[gid].a = u8(a + bottom[gid].a * (255 - a) / 255); }"};

[[noreturn]] void die(const std::string& message) {
    std::fprintf(stderr, "kernel_bench: %s\n", message.c_str());
    std::abort();
}

workload make(const sources& from, uint64_t width, uint64_t height) {
    workload made;
    made.name = from.name;
    made.width = width;
    made.height = height;
    tvrk_compile_error error;
    made.unit = tvrk_compile(from.text, from.name, error);
    if (made.unit == nullptr) die(from.name + std::string(": ") + error.message);
    return made;
}

std::vector<uint8_t> noise(size_t bytes) {
    std::vector<uint8_t> made(bytes);
    uint32_t state = 12345;
    for (uint8_t& b : made) b = uint8_t((state = state * 1664525 + 1013904223) >> 24);
    return made;
}

std::vector<uint8_t> floats(size_t count) {
    std::vector<uint8_t> made(count * sizeof(float));
    const std::vector<uint8_t> from = noise(count);
    for (size_t i = 0; i < count; ++i) {
        const float v = float(from[i]) / 64.0f;
        std::memcpy(made.data() + i * sizeof v, &v, sizeof v);
    }
    return made;
}

tvrk_reg f32(float v) {
    tvrk_reg r;
    r.u = 0;
    r.f = v;
    return r;
}
tvrk_reg whole(int64_t v) {
    tvrk_reg r;
    r.i = v;
    return r;
}

template <typename T>
T* as(std::vector<uint8_t>& bytes) {
    return reinterpret_cast<T*>(bytes.data());
}

float sum_of_reference = 0;

}  // namespace

std::vector<workload> make_workloads() {
    std::vector<workload> all;
    constexpr size_t many = 1 << 18, bodies = 1 << 14, attractors = 256, side = 512;
    all.push_back(make(saxpy, many, 1));
    all.back().scalars = {f32(1.0001f)};
    all.back().buffers = {floats(many), floats(many)};
    all.back().reference = [](workload& w, size_t b, size_t e) {
        ref_saxpy(1.0001f, as<float>(w.buffers[0]), as<float>(w.buffers[1]), b, e);
    };
    all.push_back(make(mandelbrot, 256, 192));
    all.back().scalars = {f32(3.0f / 256), whole(100)};
    all.back().buffers = {std::vector<uint8_t>(256 * 192 * 4)};
    all.back().reference = [](workload& w, size_t b, size_t e) {
        ref_mandelbrot(as<uint32_t>(w.buffers[0]), 256, 3.0f / 256, 100, b, e);
    };
    all.push_back(make(blur, side, side));
    all.back().buffers = {noise(side * side), std::vector<uint8_t>(side * side)};
    all.back().reference = [](workload& w, size_t b, size_t e) {
        ref_blur(w.buffers[0].data(), w.buffers[1].data(), side, side, b, e);
    };
    all.push_back(make(histogram, many, 1));
    all.back().buffers = {noise(many), std::vector<uint8_t>(256 * 4)};
    all.back().reference = [](workload& w, size_t b, size_t e) {
        ref_histogram(w.buffers[0].data(), as<uint32_t>(w.buffers[1]), b, e);
    };
    all.push_back(make(sum, many, 1));
    all.back().buffers = {floats(many)};
    all.back().reference = [](workload& w, size_t b, size_t e) {
        sum_of_reference = ref_sum(as<float>(w.buffers[0]), b, e);
        benchmark::DoNotOptimize(sum_of_reference);
    };
    all.push_back(make(nbody, bodies, 1));
    all.back().scalars = {whole(attractors)};
    all.back().buffers = {floats(bodies * 4), std::vector<uint8_t>(bodies * 16)};
    all.back().reference = [](workload& w, size_t b, size_t e) {
        ref_nbody(as<float>(w.buffers[0]), as<float>(w.buffers[1]), attractors, b, e);
    };
    all.push_back(make(blend, many, 1));
    all.back().buffers = {noise(many * 4), noise(many * 4)};
    all.back().reference = [](workload& w, size_t b, size_t e) {
        ref_blend(w.buffers[0].data(), w.buffers[1].data(), b, e);
    };
    return all;
}

std::shared_ptr<tvrk_launch> start_workload(workload& work, size_t helpers,
                                            const tvrk_spawn& spawn) {
    const auto launch = std::make_shared<tvrk_launch>();
    launch->setup(work.unit, work.program(), work.width, work.height);
    size_t scalar = 0;
    for (const tvrk_param& param : work.program().params) {
        if (!param.is_pointer) {
            launch->regs[param.reg] = work.scalars[scalar++];
            continue;
        }
        std::vector<uint8_t>& bytes = work.buffers[param.ptr];
        const size_t stride = param.type.element().size();
        launch->ptrs[param.ptr] = {bytes.data(), bytes.size() / stride, stride, bytes.size()};
    }
    launch->start_helpers(helpers, spawn);
    return launch;
}

namespace {

tvrk_worker_pool& pool() {
    static tvrk_worker_pool all(std::max(1u, std::thread::hardware_concurrency()) - 1);
    return all;
}

struct engine {
    const char* name;
    tvrk_mode mode;
    tvrk_width width;
    bool all_threads;
};

void choose(const engine& used) {
    tvrk_set_mode(used.mode);
    tvrk_set_width(used.width);
}

void run_once(workload& work, const engine& used) {
    const auto launch = start_workload(work, used.all_threads ? pool().size() : 0, pool().spawn());
    launch->wait();
    if (launch->trapped) die(work.name + ": " + tvrk_trap_message(work.program(), launch->trap));
    benchmark::DoNotOptimize(launch->partials.data());
}

void check(const workload& work, const engine& used) {
    workload mine = work, scalar = work, reference = work;
    choose({"scalar", tvrk_mode::scalar, tvrk_width::plain, false});
    run_once(scalar, {"scalar", tvrk_mode::scalar, tvrk_width::plain, false});
    choose(used);
    run_once(mine, used);
    reference.reference(reference, 0, reference.total());
    if (mine.buffers != scalar.buffers) die(work.name + " differs in " + used.name);
    if (mine.buffers != reference.buffers) die(work.name + " differs from C in " + used.name);
}

void time_engine(benchmark::State& run, workload& work, const engine& used) {
    check(work, used);
    choose(used);
    for (auto _ : run) run_once(work, used);
    run.SetItemsProcessed(run.iterations() * int64_t(work.total()));
    tvrk_set_mode(tvrk_mode::automatic);
}

void time_reference(benchmark::State& run, workload& work, bool all_threads) {
    const size_t parts = all_threads ? pool().size() + 1 : 1;
    for (auto _ : run) {
        std::vector<std::thread> threads;
        const size_t step = (work.total() + parts - 1) / parts;
        for (size_t p = 1; p < parts; ++p) {
            threads.emplace_back([&work, p, step] {
                work.reference(work, p * step, std::min<size_t>((p + 1) * step, work.total()));
            });
        }
        work.reference(work, 0, std::min<size_t>(step, work.total()));
        for (std::thread& thread : threads) thread.join();
    }
    run.SetItemsProcessed(run.iterations() * int64_t(work.total()));
}

void add(const std::string& name, const std::function<void(benchmark::State&)>& run) {
    benchmark::RegisterBenchmark(name.c_str(), run)->UseRealTime()->Unit(benchmark::kMicrosecond);
}

// Registered before main; what it needs is made when the first benchmark is asked for.
const int registered = [] {
    static std::vector<workload> all = make_workloads();
    tvrk_jit_set_policy(tvrk_jit_policy::sync);
    const engine engines[] = {
        {"native", tvrk_mode::automatic, tvrk_width::plain, false},
        {"native_all_threads", tvrk_mode::automatic, tvrk_width::plain, true},
        {"batch_avx512", tvrk_mode::batch, tvrk_width::avx512, false},
        {"batch_avx2", tvrk_mode::batch, tvrk_width::avx2, false},
        {"batch_plain", tvrk_mode::batch, tvrk_width::plain, false},
        {"scalar", tvrk_mode::scalar, tvrk_width::plain, false},
    };
    for (workload& work : all) {
        add("C/" + work.name, [&work](benchmark::State& s) { time_reference(s, work, false); });
        add("C_all_threads/" + work.name,
            [&work](benchmark::State& s) { time_reference(s, work, true); });
        for (const engine& used : engines) {
            if (used.mode == tvrk_mode::batch && used.width > tvrk_best_width()) continue;
            const bool native = used.mode == tvrk_mode::automatic;
            add(std::string(used.name) + "/" + work.name,
                [&work, used, native](benchmark::State& s) {
                    if (native) tvrk_jit_request(work.unit, work.program(), nullptr);
                    time_engine(s, work, used);
                });
        }
    }
    return 0;
}();

}  // namespace
