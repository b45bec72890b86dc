#pragma once

// Runs one kernel with the same arguments in any engine, and compares what came of it.

#include <stdlib.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "kernel/kernel.h"

namespace tavro::test {

// One pointer argument: a block of its own, so that a sanitizer sees every byte beyond it.
struct kernel_buffer {
    std::vector<uint8_t> bytes;
    size_t stride = 1;

    template <typename T>
    static kernel_buffer of(const std::vector<T>& values) {
        kernel_buffer made;
        made.stride = sizeof(T);
        made.bytes.resize(values.size() * sizeof(T));
        if (!values.empty()) std::memcpy(made.bytes.data(), values.data(), made.bytes.size());
        return made;
    }
    template <typename T>
    std::vector<T> as() const {
        std::vector<T> values(bytes.size() / sizeof(T));
        if (!values.empty()) std::memcpy(values.data(), bytes.data(), values.size() * sizeof(T));
        return values;
    }
};

struct kernel_arguments {
    std::vector<tvrk_reg> scalars;       // in the order of the scalar parameters
    std::vector<kernel_buffer> buffers;  // in the order of the pointers
    uint64_t width = 1, height = 1;
};

inline tvrk_reg whole(int64_t v) {
    tvrk_reg r;
    r.i = v;
    return r;
}
inline tvrk_reg f32(float v) {
    tvrk_reg r;
    r.u = std::bit_cast<uint32_t>(v);
    return r;
}
inline tvrk_reg f64(double v) {
    tvrk_reg r;
    r.d = v;
    return r;
}

struct kernel_engine {
    std::string name;
    tvrk_mode mode = tvrk_mode::scalar;
    tvrk_width width = tvrk_width::plain;
    size_t helpers = 0;
};

// Every interpreter that this machine can run, alone and with helpers.
inline std::vector<kernel_engine> interpreters() {
    std::vector<kernel_engine> all;
    const char* widths[] = {"plain", "avx2", "avx512"};
    for (const size_t helpers : {size_t(0), size_t(3)}) {
        const std::string threads = helpers == 0 ? ", 1 thread" : ", 4 threads";
        all.push_back({"scalar" + threads, tvrk_mode::scalar, tvrk_width::plain, helpers});
        for (int w = 0; w <= int(tvrk_best_width()); ++w) {
            all.push_back({std::string("batch ") + widths[w] + threads, tvrk_mode::batch,
                           tvrk_width(w), helpers});
        }
    }
    return all;
}

// Native, if the program's slot is ready.
inline kernel_engine native_engine(size_t helpers) {
    return {helpers == 0 ? "native, 1 thread" : "native, 4 threads", tvrk_mode::automatic,
            tvrk_width::plain, helpers};
}

struct kernel_outcome {
    std::string trap;  // "" without one
    uint64_t trap_gid = 0;
    std::vector<tvrk_reg> results;
    std::vector<kernel_buffer> buffers;
};

inline void bind(tvrk_launch& launch, const kernel_arguments& given, kernel_outcome& out) {
    size_t scalar = 0;
    for (const tvrk_param& param : launch.program->params) {
        if (!param.is_pointer) {
            launch.regs[param.reg] = given.scalars.at(scalar++);
            continue;
        }
        kernel_buffer& buffer = out.buffers.at(param.ptr);
        const size_t stride = param.type.element().size();
        launch.ptrs[param.ptr] = {buffer.bytes.data(), buffer.bytes.size() / stride, stride,
                                  buffer.bytes.size()};
    }
}

inline kernel_outcome run_kernel(const tvrk_program& program, const kernel_arguments& given,
                                 const kernel_engine& engine) {
    tvrk_set_mode(engine.mode);
    tvrk_set_width(engine.width);
    kernel_outcome out;
    out.buffers = given.buffers;
    const auto launch = std::make_shared<tvrk_launch>();
    launch->setup(nullptr, program, given.width, given.height);
    bind(*launch, given, out);
    {
        tvrk_worker_pool pool(engine.helpers);
        launch->start_helpers(engine.helpers, pool.spawn());
        launch->wait();
    }
    tvrk_set_mode(tvrk_mode::automatic);
    if (launch->trapped) {
        out.trap = tvrk_trap_message(program, launch->trap);
        out.trap_gid = launch->trap.gid;
    }
    out.results = launch->results();
    return out;
}

// Sign and payload of a NaN that arithmetic made are nobody's promise.
inline bool same_number(tvrk_prim prim, const tvrk_reg& a, const tvrk_reg& b) {
    if (prim == tvrk_prim::f32) {
        return uint32_t(a.u) == uint32_t(b.u) || (std::isnan(a.f) && std::isnan(b.f));
    }
    if (prim == tvrk_prim::f64) return a.u == b.u || (std::isnan(a.d) && std::isnan(b.d));
    return a.u == b.u;
}

inline bool same_memory(const tvrk_param& param, const kernel_buffer& a, const kernel_buffer& b) {
    if (a.bytes == b.bytes) return true;
    const tvrk_prim prim = param.type.prim;
    const size_t size = tvrk_prim_size(prim);
    if (!tvrk_is_float(prim) || a.bytes.size() != b.bytes.size()) return false;
    for (size_t at = 0; at + size <= a.bytes.size(); at += size) {
        tvrk_reg x = whole(0), y = whole(0);
        std::memcpy(&x, a.bytes.data() + at, size);
        std::memcpy(&y, b.bytes.data() + at, size);
        if (!same_number(prim, x, y)) return false;
    }
    return true;
}

// "" if both agree; memory and results count only where nothing trapped.
inline std::string difference(const tvrk_program& program, const kernel_outcome& a,
                              const kernel_outcome& b) {
    if (a.trap != b.trap) return "trap '" + a.trap + "' against '" + b.trap + "'";
    if (!a.trap.empty()) return "";
    for (size_t i = 0; i < program.accs.size(); ++i) {
        if (!same_number(program.accs[i].prim, a.results[i], b.results[i])) {
            return "result " + std::to_string(i) + ": " + std::to_string(a.results[i].u) +
                   " against " + std::to_string(b.results[i].u);
        }
    }
    for (const tvrk_param& param : program.params) {
        if (!param.is_pointer) continue;
        if (!same_memory(param, a.buffers[param.ptr], b.buffers[param.ptr])) {
            return "memory of '" + param.name + "'";
        }
    }
    return "";
}

// Compiled kernels of this test program go to a folder of its own, which goes with it.
class cache_folder {
public:
    cache_folder()
        : path((std::filesystem::temp_directory_path() / "tavro-kernels-XXXXXX").string()) {
        if (mkdtemp(path.data()) == nullptr) path.clear();
        setenv("TVR_KERNEL_CACHE", path.c_str(), 1);
    }
    ~cache_folder() {
        std::error_code ignored;
        if (!path.empty()) std::filesystem::remove_all(path, ignored);
    }
    cache_folder(const cache_folder&) = delete;
    cache_folder& operator=(const cache_folder&) = delete;

    std::string path;
};

inline const std::string& private_cache() {
    static const cache_folder made;
    return made.path;
}

}  // namespace tavro::test
