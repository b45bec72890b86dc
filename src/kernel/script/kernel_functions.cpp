// The functions std.kernel_...

#include <algorithm>
#include <span>

#include "kernel/aot.h"
#include "kernel/execute.h"
#include "kernel/jit.h"
#include "kernel/script/compile_cache.h"
#include "kernel/script/launch_state.h"
#include "kernel/script/process.h"
#include "kernel/script/std_kernel.h"
#include "kernel/script/std_kernel_struct.h"
#include "runtime/local/error_sink.h"
#include "runtime/local/global_lock.h"
#include "runtime/object/namespaces.h"
#include "runtime/payload/std_json.h"
#include "stdobj/arguments.h"

namespace {

// Words of scripts for the values of an enumeration, each at its value's place.
constexpr std::string_view policy_words[] = {"auto", "sync", "off"};
constexpr std::string_view mode_words[] = {"auto", "scalar", "batch"};

// A setting of the process. An optional word sets it first; the result is the current one's.
template <typename VALUE>
tvrvar_shared setting(tvr_native_args& args, std::span<const std::string_view> words,
                      VALUE (*current)(), void (*change)(VALUE), const char* expected) {
    if (!args.empty()) {
        const tvrvar_shared given = args[0]->deref();
        const bool is_text = given->type == tvrvar_type_string;
        const auto found = is_text ? std::ranges::find(words, given->string_view()) : words.end();
        if (found == words.end()) return runtime_error(expected), tvrvar_shared();
        change(VALUE(found - words.begin()));
    }
    return words[size_t(current())];
}

bool read_imports(const tvr_arguments& given, tvrk_imports& imports) {
    constexpr size_t first_import = 2;
    for (size_t i = first_import; i < given.count(); ++i) {
        const auto* unit = given.value(i)->object<tvr_std_kernel_unit>();
        if (unit == nullptr) {
            runtime_error(
                "kernel_compile: imports must be std.kernel_unit objects (the result of "
                "std.kernel_compile or __tvr_kernel_unit)");
            return false;
        }
        imports.push_back(unit->unit);
    }
    return true;
}

tvrvar_shared compile(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const tvr_arguments given("std.kernel_compile", args);
    const auto source = given.text(0, "source");
    const bool named = given.count() > 1 && given.value(1)->type != tvrvar_type_none;
    const auto file = named ? given.text(1, "file") : std::string("<kernel>");
    tvrk_imports imports;
    if (!source || !file || !read_imports(given, imports)) return {};
    tvrk_compile_error error;
    auto unit = tvr_kernel_compile_cached(*source, *file, imports, error);
    if (unit == nullptr) {
        runtime_error(tvr_kernel_error_text(error), "\n    ",
                      tvr_kernel_error_line(*source, *file, error));
        return {};
    }
    tvrvar_shared made = tvrvar_shared::make();
    made->as_object(new tvr_std_kernel_unit(std::move(unit)));
    return made;
}

tvrvar_shared threads(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    constexpr int64_t most = 1'000'000;
    const tvr_arguments given("std.kernel_threads", args);
    if (given.count() > 0) {
        const auto limit = given.whole(0, "n");
        if (!limit) return {};
        if (*limit < 0 || *limit > most) {
            given.refuse(0, "n", "a number of threads from 0 on");
            return {};
        }
        tvr_the_kernel_process().thread_limit.store(uint32_t(*limit), std::memory_order_relaxed);
    }
    return int64_t(tvr_kernel_thread_count());
}

tvrvar_shared jit(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    return setting(args, policy_words, tvrk_jit_get_policy, tvrk_jit_set_policy,
                   "kernel_jit expects 'auto', 'sync' or 'off'");
}

tvrvar_shared mode(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    return setting(args, mode_words, tvrk_get_mode, tvrk_set_mode,
                   "kernel_mode expects 'auto', 'scalar' or 'batch'");
}

// Kernels, units and lists of them, as far down as lists go.
bool collect_programs(tvrvar& variable, size_t depth, std::vector<const tvrk_program*>& programs) {
    constexpr size_t deepest = 16;
    const tvrvar_shared value = variable.deref();
    if (const auto* kernel = value->object<tvr_std_kernel>()) {
        programs.push_back(kernel->program.get());
        return true;
    }
    if (const auto* unit = value->object<tvr_std_kernel_unit>()) {
        for (const tvrk_kernel& each : unit->unit->kernels) programs.push_back(each.program.get());
        return true;
    }
    const auto* list = value->object<tvr_std_json>();
    if (list == nullptr || depth == deepest) return false;
    for (const tvr_std_json::entry& entry : list->entries) {
        if (!collect_programs(*entry.value, depth + 1, programs)) return false;
    }
    return true;
}

tvrvar_shared aot_source(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    std::vector<const tvrk_program*> programs;
    for (const tvrvar_shared& arg : args) {
        if (collect_programs(*arg, 0, programs)) continue;
        runtime_error(
            "kernel_aot_source expects kernels (std.kernel), units (std.kernel_unit) or lists of "
            "them");
        return {};
    }
    return tvrk_aot_source(programs);
}

tvrvar_shared aot_load(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const auto path = tvr_arguments("std.kernel_aot_load", args).text(0, "path");
    if (!path) return {};
    std::string error;
    const int count = tvrk_aot_load(*path, error);
    if (count >= 0) return int64_t(count);
    runtime_error(error);
    return {};
}

tvrvar_shared jit_compiler(tvrobject_base*, tvr_vm_context&, tvr_native_args&) {
    std::string compiler;
    {
        const tvr_scoped_unlock others_may_run;  // the first question runs the compiler
        compiler = tvrk_jit_compiler();
    }
    return compiler;
}

void fill_engine(tvr_namespace& std) {
    std.add_function("kernel_threads", threads, 0, 1,
                     {.description = "Threads used by kernel launches (including the launching "
                                     "thread). Sets the limit when called with n (0 = all), "
                                     "returns the current number.",
                      .params = {"n: int - optional new limit"}});
    std.add_function("kernel_jit", jit, 0, 1,
                     {.description = "Native code of kernels: 'auto' compiles in the background, "
                                     "'sync' before the first launch, 'off' never. Sets the policy "
                                     "when called with a word, returns the current one.",
                      .params = {"policy: string - optional"},
                      .returns_class = "std.string"});
    std.add_function("kernel_mode", mode, 0, 1,
                     {.description = "How kernels run: 'auto', 'scalar' or 'batch'. Sets the mode "
                                     "when called with a word, returns the current one.",
                      .params = {"mode: string - optional"},
                      .returns_class = "std.string"});
    std.add_function("kernel_jit_compiler", jit_compiler, 0, 0,
                     {.description = "The C compiler for native code, empty when there is none.",
                      .returns_class = "std.string"});
}

}  // namespace

void tvr_fill_std_kernel(tvr_namespace& std) {
    constexpr auto any_number = tvr_function_def::any_number;
    std.add_function("kernel_compile", compile, 1, any_number,
                     {.description = "Compiles kernel declarations.",
                      .params = {"source: string - kernel declarations",
                                 "file: string - optional file name for error messages",
                                 "imports: std.kernel_unit... - optional units to import"},
                      .returns_class = "std.kernel_unit"});
    fill_engine(std);
    std.add_function("kernel_aot_source", aot_source, 0, any_number,
                     {.description = "A C file with the native code of kernels, for "
                                     "std.kernel_aot_load() or a build of the interpreter.",
                      .params = {"kernels: std.kernel, std.kernel_unit or lists of them"},
                      .returns_class = "std.string"});
    std.add_function("kernel_aot_load", aot_load, 1, 1,
                     {.description = "Loads the native code of kernels from a library built of "
                                     "std.kernel_aot_source(). Returns the number of kernels.",
                      .params = {"path: string - the .so / .dll / .dylib"}});
    std.add_class_docs("kernel_unit", tvr_std_kernel_unit::metadata_of_class());
    std.add_class_docs("kernel", tvr_std_kernel::metadata_of_class());
    std.add_class_docs("kernel_job", tvr_std_kernel_job::metadata_of_class());
    std.add_class_docs("kernel_struct", tvr_std_kernel_struct::metadata_of_class());
}
