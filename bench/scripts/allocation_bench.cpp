// How often a warm script asks the system's allocator for memory. Calls, arithmetic and member
// access must not do it at all.
//
// This program has an allocator's functions of its own, which count and hand on to the C library's;
// the linker takes them for the whole program, operator new included.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "runtime/log/log.h"
#include "runtime/script/script.h"

extern "C" {
void* __libc_malloc(size_t bytes);
void* __libc_calloc(size_t count, size_t bytes);
void* __libc_realloc(void* block, size_t bytes);
void __libc_free(void* block);
}

namespace {

constinit thread_local int64_t allocations = 0;  // of this thread, since it began

}  // namespace

extern "C" {
void* malloc(size_t bytes) {
    ++allocations;
    return __libc_malloc(bytes);
}
void* calloc(size_t count, size_t bytes) {
    ++allocations;
    return __libc_calloc(count, bytes);
}
void* realloc(void* block, size_t bytes) {
    ++allocations;
    return __libc_realloc(block, bytes);
}
void free(void* block) {
    __libc_free(block);
}
}

namespace {

constexpr int64_t turns = 100'000;  // of the loop that is counted
constexpr double any_number = -1;

// The scripts call probe.mark() in front of and behind their loops.
struct probe {
    int64_t marks = 0, at_last_mark = 0, between = 0;

    void fill(tvr_namespace& names) {
        names.add_function(
            "mark",
            [this](tvrobject_base*, tvr_vm_context&, tvr_native_args&) {
                between = allocations - at_last_mark;
                at_last_mark = allocations;
                ++marks;
                return tvrvar_shared::make();
            },
            0, 0);
    }
};

// Runs a loop twice, the first time to warm up. Fails where more is allocated than wanted.
void allocations_of(benchmark::State& run, const char* loop, double wanted) {
    tvr_log_terminal().mask = 0;
    probe seen;
    tvrscript script;
    script.init({});
    seen.fill(script.root_namespace.child("probe"));
    const std::string source =
        std::string(loop) +
        "def measure(n) { probe.mark(); run(n); probe.mark(); } measure(1000); measure(" +
        std::to_string(turns) + ");";
    for (auto _ : run) {
        if (!script.create_task_from_code(source, "allocations")) break;
        script.update();
    }
    if (seen.marks < 4) return run.SkipWithError("the script has failed");
    run.counters["mallocs"] = double(seen.between);
    run.counters["mallocs_a_turn"] = double(seen.between) / double(turns);
    if (wanted != any_number && double(seen.between) > wanted) {
        const std::string message = "allocates " + std::to_string(seen.between) + " times";
        run.SkipWithError(message.c_str());
    }
}

constexpr const char* calls =
    "def add(a, b, c = 1) { return a + b + c; }"
    "def twice(f, x) { return f(f(x, 1), 2); }"
    "def run(n) { sum = 0; for (i = 0; i < n; i++) { sum = add(sum, i); sum = twice(add, sum); }"
    "  return sum; }";

constexpr const char* arithmetic =
    "def run(n) { a = 1; b = 0.5; for (i = 0; i < n; i++) { half = i / 2; a = a * 3 % 1000 + half;"
    "  if (a > 500 && i % 3 != 0) { b = b * 0.5 + a; } } return a + b; }";

constexpr const char* members =
    "class lamp { level = 0; color = [1, 2, 3]; def fade(by) { level -= by; return level; } }"
    "class strip : lamp { def fade(by) { return super.fade(by * 2); } }"
    "kept = strip(); map = [\"k\": 1];"
    "def run(n) { l = kept; m = map; for (i = 0; i < n; i++) { l.level += 2; l.fade(1);"
    "  l.color[1] = i; m.k = m.k + l.color[1]; } return l.level; }";

constexpr const char* appends =
    "def run(n) { s = \"\"; for (i = 0; i < n; i++) { s += \"ab\"; } return std.size(s); }";

constexpr const char* instances =
    "class point { x = 0; y = 0; def __init__(x, y) { this.x = x; this.y = y; } }"
    "def run(n) { sum = 0; for (i = 0; i < n; i++) { p = point(i, 1); sum += p.x; } return sum; }";

constexpr const char* lists =
    "def run(n) { sum = 0; for (i = 0; i < n; i++) { l = [i, 2, 3]; sum += l[0]; } return sum; }";

BENCHMARK_CAPTURE(allocations_of, calls, calls, 0.0)->Iterations(1);
BENCHMARK_CAPTURE(allocations_of, arithmetic, arithmetic, 0.0)->Iterations(1);
BENCHMARK_CAPTURE(allocations_of, members, members, 0.0)->Iterations(1);
BENCHMARK_CAPTURE(allocations_of, appends, appends, any_number)->Iterations(1);
BENCHMARK_CAPTURE(allocations_of, instances, instances, any_number)->Iterations(1);
BENCHMARK_CAPTURE(allocations_of, lists, lists, any_number)->Iterations(1);

}  // namespace
