#include "kernel/script/std_kernel.h"

#include "kernel/jit.h"
#include "kernel/script/launch_state.h"
#include "kernel/script/std_kernel_struct.h"
#include "runtime/local/error_sink.h"
#include "runtime/payload/std_json.h"
#include "stdobj/arguments.h"

namespace {

tvrvar_shared value_of(tvrobject_base* object) {
    tvrvar_shared made = tvrvar_shared::make();
    made->as_object(object);
    return made;
}

// A vector type that the source uses, such as f32x4: a struct of the compiler's own.
const tvrk_struct* find_vector(const tvrk_unit& unit, std::string_view name) {
    for (const auto& record : unit.structs) {
        if (record->name == name && unit.find(name) == nullptr) return record.get();
    }
    return nullptr;
}

constexpr const char* domain_text =
    "domain: int | [width, height] - number of invocations (gid 0 .. domain - 1), 2D: gid_x / "
    "gid_y";

}  // namespace

void tvr_std_kernel_unit::script_register(tvrobject_metadata& m) {
    m.description = "A compiled kernel source.";
    using self = tvr_std_kernel_unit;
    add_function(m, "get", &self::get, 1, 1,
                 {.description = "Kernel, struct (std.kernel_struct) or constant by name (same as "
                                 "unit.name)",
                  .params = {"name: string"}});
    add_function(m, "kernels", &self::kernels, 0, 0,
                 {.description = "Names of the entry kernels", .returns_class = "std.json"});
    add_function(m, "structs", &self::structs, 0, 0,
                 {.description = "Names of the kernel structs", .returns_class = "std.json"});
    add_function(m, "constants", &self::constants, 0, 0,
                 {.description = "Names of the kernel constants", .returns_class = "std.json"});
    add_function(m, "disasm", &self::disasm, 0, 0,
                 {.description = "Bytecode of all kernels", .returns_class = "std.string"});
}

tvrvar_shared tvr_std_kernel_unit::find(std::string_view name) {
    const tvrk_symbol* symbol = unit->find(name);
    const auto kind = symbol != nullptr ? symbol->what : tvrk_symbol::kind::helper;
    switch (kind) {
    case tvrk_symbol::kind::kernel:
        return value_of(new tvr_std_kernel(unit, unit->kernels[symbol->index].program));
    case tvrk_symbol::kind::record:
        return value_of(new tvr_std_kernel_struct(unit, *unit->structs[symbol->index]));
    case tvrk_symbol::kind::constant: {
        const tvrk_constant& constant = unit->constants[symbol->index];
        return tvr_kernel_value(constant.prim, constant.value);
    }
    case tvrk_symbol::kind::helper: break;
    }
    if (const tvrk_struct* vector = find_vector(*unit, name)) {
        return value_of(new tvr_std_kernel_struct(unit, *vector));
    }
    runtime_error("the kernel source has no kernel, struct or constant '", name, "'");
    return tvrvar_shared::make();
}

tvrvar_shared tvr_std_kernel_unit::op_get_member(std::string_view name) {
    return metadata->find_function(name) != nullptr ? tvrobject_base::op_get_member(name)
                                                    : find(name);
}

bool tvr_std_kernel_unit::op_has_member(std::string_view name) {
    const tvrk_symbol* symbol = unit->find(name);
    return tvrobject_base::op_has_member(name) ||
           (symbol != nullptr && symbol->what != tvrk_symbol::kind::helper);
}

tvrvar_shared tvr_std_kernel_unit::get(tvr_vm_context&, tvr_native_args& args) {
    const auto name = tvr_arguments("get", args).text(0, "name");
    return name ? find(*name) : tvrvar_shared();
}

tvrvar_shared tvr_std_kernel_unit::kernels(tvr_vm_context&, tvr_native_args&) {
    tvrvar_shared names = tvrvar_shared::make();
    tvr_std_json& list = names->as_json(true);
    for (const tvrk_kernel& kernel : unit->kernels) list.push_back(kernel.name);
    return names;
}

// Without the vector types, which are structs of the compiler's own.
tvrvar_shared tvr_std_kernel_unit::structs(tvr_vm_context&, tvr_native_args&) {
    tvrvar_shared names = tvrvar_shared::make();
    tvr_std_json& list = names->as_json(true);
    for (const auto& record : unit->structs) {
        if (unit->find(record->name) != nullptr) list.push_back(record->name);
    }
    return names;
}

tvrvar_shared tvr_std_kernel_unit::constants(tvr_vm_context&, tvr_native_args&) {
    tvrvar_shared names = tvrvar_shared::make();
    tvr_std_json& list = names->as_json(true);
    for (const tvrk_constant& constant : unit->constants) list.push_back(constant.name);
    return names;
}

tvrvar_shared tvr_std_kernel_unit::disasm(tvr_vm_context&, tvr_native_args&) {
    std::string text;
    for (const tvrk_kernel& kernel : unit->kernels) text += kernel.program->disassemble();
    return text;
}

void tvr_std_kernel::script_register(tvrobject_metadata& m) {
    m.description = "A kernel that can be launched.";
    using self = tvr_std_kernel;
    constexpr auto any_number = tvr_function_def::any_number;
    add_function(m, "launch", &self::launch, 0, any_number,
                 {.description = "Runs the kernel for every gid of the domain and waits for it. "
                                 "Returns the reduction result (None for void kernels).",
                  .params = {domain_text, "...: the kernel arguments"}});
    add_function(m, "launch_async", &self::launch_async, 0, any_number,
                 {.description = "Starts the kernel on worker threads and returns a std.kernel_job "
                                 "at once. The buffers stay locked until wait().",
                  .params = {"domain: int | [width, height]", "...: the kernel arguments"},
                  .returns_class = "std.kernel_job"});
    add_function(m, "disasm", &self::disasm, 0, 0,
                 {.description = "Bytecode of the kernel (for debugging and tests)",
                  .returns_class = "std.string"});
    add_function(m, "jit_status", &self::jit_status, 0, 0,
                 {.description = "Native code of the kernel: 'off', 'none' (not requested yet), "
                                 "'compiling', 'ready' or 'failed: <compiler output>'",
                  .returns_class = "std.string"});
    add_function(m, "jit_source", &self::jit_source, 0, 0,
                 {.description = "The C code the JIT compiles for this kernel",
                  .returns_class = "std.string"});
    add_function(m, "name", &self::name, 0, 0,
                 {.description = "Name of the kernel", .returns_class = "std.string"});
    add_function(
        m, "params", &self::params, 0, 0,
        {.description = "Parameters: list of [name=..., type=...]", .returns_class = "std.json"});
    add_function(m, "returns", &self::returns, 0, 0,
                 {.description = "Return type and reduction ('void', 'i64 reduce(+)', 'Stats "
                                 "reduce(sum: +, n: +)')",
                  .returns_class = "std.string"});
}

tvrvar_shared tvr_std_kernel::launch(tvr_vm_context&, tvr_native_args& args) {
    const auto state = tvr_prepare_launch(unit, *program, args);
    if (state == nullptr) return {};
    state->run();
    return state->result();
}

tvrvar_shared tvr_std_kernel::launch_async(tvr_vm_context&, tvr_native_args& args) {
    const auto state = tvr_prepare_launch(unit, *program, args);
    if (state == nullptr) return {};
    state->start();
    return value_of(new tvr_std_kernel_job(state));
}

tvrvar_shared tvr_std_kernel::disasm(tvr_vm_context&, tvr_native_args&) {
    return program->disassemble();
}

tvrvar_shared tvr_std_kernel::jit_status(tvr_vm_context&, tvr_native_args&) {
    return tvrk_jit_status(*program);
}

tvrvar_shared tvr_std_kernel::jit_source(tvr_vm_context&, tvr_native_args&) {
    return tvrk_jit_source(*program);
}

tvrvar_shared tvr_std_kernel::name(tvr_vm_context&, tvr_native_args&) {
    return program->name;
}

tvrvar_shared tvr_std_kernel::params(tvr_vm_context&, tvr_native_args&) {
    tvrvar_shared made = tvrvar_shared::make();
    tvr_std_json& list = made->as_json(true);
    for (const tvrk_param& param : program->params) {
        tvrvar_shared entry = tvrvar_shared::make();
        tvr_std_json& json = entry->as_json(true);
        json.set("name", param.name);
        json.set("type", param.type_name);
        list.push_back(entry);
    }
    return made;
}

tvrvar_shared tvr_std_kernel::returns(tvr_vm_context&, tvr_native_args&) {
    return program->result_text;
}

// The interpreter's lock stays here: whatever held the job may be half way through letting go of
// what it held, and helpers need no lock to come to their end.
tvr_std_kernel_job::~tvr_std_kernel_job() {
    if (!state->finished) state->launch->wait();
}

void tvr_std_kernel_job::script_register(tvrobject_metadata& m) {
    m.description = "A launch that runs on worker threads.";
    using self = tvr_std_kernel_job;
    add_function(m, "wait", &self::wait, 0, 0,
                 {.description = "Waits for the launch (the calling thread helps) and returns its "
                                 "result like launch(). Unlocks the buffers."});
    add_function(m, "done", &self::done, 0, 0,
                 {.description = "True when all lanes finished (call wait() to get the result and "
                                 "unlock the buffers)"});
}

tvrvar_shared tvr_std_kernel_job::wait(tvr_vm_context&, tvr_native_args&) {
    const auto kept = state;
    kept->wait();
    return kept->result();
}

tvrvar_shared tvr_std_kernel_job::done(tvr_vm_context&, tvr_native_args&) {
    return state->finished || state->launch->finished();
}
