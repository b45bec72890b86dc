#pragma once

// Kernels as objects of scripts: a compiled source, one kernel of it, a running launch.
//
// The doors to src/kernel/ from scripts. This folder:
//
//   kernel_extract.h    declarations inside script files
//   compile_cache.h     sources that were compiled
//   bind_arguments.h    from script values to registers and memory
//   launch_state.h      a launch from its arguments to its result
//   std_kernel.h        the classes std.kernel_unit, std.kernel, std.kernel_job
//   std_kernel_struct.h the class std.kernel_struct: fields in the bytes of a buffer
//   field_path.h        "pos.x", "m[2]"; struct_values.h reads and writes what lies there
//   kernel_functions.cpp  the functions std.kernel_...
//   process.h           what the process shares
//
// Script thread.

#include <memory>
#include <string>
#include <string_view>

#include "kernel/unit.h"
#include "runtime/object/object.h"

class tvr_namespace;
struct tvr_kernel_launch_state;

class tvr_std_kernel_unit : public tvrobject<tvr_std_kernel_unit, "std.kernel_unit"> {
public:
    static void script_register(tvrobject_metadata& m);

    explicit tvr_std_kernel_unit(std::shared_ptr<const tvrk_unit> of) : unit(std::move(of)) {}

    // A kernel, struct, constant or used vector type; a runtime error and none for other names.
    tvrvar_shared find(std::string_view name);

    using tvrobject_base::op_get_member;
    using tvrobject_base::op_has_member;
    tvrvar_shared op_get_member(std::string_view name) override;
    bool op_has_member(std::string_view name) override;

    const std::shared_ptr<const tvrk_unit> unit;

private:
    tvrvar_shared get(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared kernels(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared structs(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared constants(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared disasm(tvr_vm_context& frame, tvr_native_args& args);
};

class tvr_std_kernel : public tvrobject<tvr_std_kernel, "std.kernel"> {
public:
    static void script_register(tvrobject_metadata& m);

    tvr_std_kernel(std::shared_ptr<const tvrk_unit> of,
                   std::shared_ptr<const tvrk_program> compiled)
        : unit(std::move(of)), program(std::move(compiled)) {}

    const std::shared_ptr<const tvrk_unit> unit;
    const std::shared_ptr<const tvrk_program> program;

private:
    tvrvar_shared launch(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared launch_async(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared disasm(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared jit_status(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared jit_source(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared name(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared params(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared returns(tvr_vm_context& frame, tvr_native_args& args);
};

class tvr_std_kernel_job : public tvrobject<tvr_std_kernel_job, "std.kernel_job"> {
public:
    static void script_register(tvrobject_metadata& m);

    explicit tvr_std_kernel_job(std::shared_ptr<tvr_kernel_launch_state> of)
        : state(std::move(of)) {}
    // Waits for the launch, for kernels write to memory that it keeps.
    ~tvr_std_kernel_job() override;

    const std::shared_ptr<tvr_kernel_launch_state> state;

private:
    tvrvar_shared wait(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared done(tvr_vm_context& frame, tvr_native_args& args);
};

// Fills in the functions std.kernel_... and the documents of the classes.
void tvr_fill_std_kernel(tvr_namespace& std);
