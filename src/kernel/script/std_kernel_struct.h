#pragma once

// A kernel's struct as scripts see it: where its fields lie, and their values in the bytes of a
// buffer. Script thread.

#include <memory>
#include <string>

#include "kernel/unit.h"
#include "runtime/object/object.h"

class tvr_std_kernel_struct : public tvrobject<tvr_std_kernel_struct, "std.kernel_struct"> {
public:
    static void script_register(tvrobject_metadata& m);

    // The struct is one of the unit's, or of what it imports.
    tvr_std_kernel_struct(std::shared_ptr<const tvrk_unit> of, const tvrk_struct& described)
        : unit(std::move(of)), record(described) {}

    const std::shared_ptr<const tvrk_unit> unit;
    const tvrk_struct& record;

private:
    tvrvar_shared size(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared name(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared fields(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared offset(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared count(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared get(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared set(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared read(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared write(tvr_vm_context& frame, tvr_native_args& args);
};
