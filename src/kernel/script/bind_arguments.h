#pragma once

// The arguments of a launch, checked against the kernel's parameters and bound. Script thread.

#include <cstdint>
#include <string>

#include "kernel/program.h"
#include "runtime/object/function_def.h"

struct tvr_kernel_launch_state;

struct tvr_kernel_domain {
    uint64_t width = 0, height = 1;
    bool two_dimensional = false;
};

// The first argument. False, with the reason in `error`, for what is no domain.
bool tvr_read_kernel_domain(tvrvar& given, tvr_kernel_domain& domain, std::string& error);

// The arguments behind the domain, into a launch that is set up: scalars into its registers,
// memory into its table, which is locked from here on. False, with the reason in `error`, for what
// does not fit; then the state is to be dropped, which unlocks.
bool tvr_bind_kernel_arguments(tvr_kernel_launch_state& state, const tvr_native_args& args,
                               std::string& error);

// The type of a value in a message: "None", "float", "json", "std.buffer", "testmod.bitmap".
std::string tvr_kernel_type_word(tvrvar& value);
