#pragma once

// A native class of another library whose pixels kernels can draw into.

#include <cstdint>
#include <vector>

#include "runtime/object/object.h"
#include "runtime/payload/kernel_memory.h"

namespace testmod {

class bitmap : public tvrobject<bitmap, "testmod.bitmap">, public tvr_kernel_memory {
public:
    static void script_register(tvrobject_metadata& m);

    void construct(tvr_vm_context& frame, tvr_native_args& args);  // width, height

    tvr_kernel_bytes kernel_bytes() override;
    void* query_interface(tvr_type_id type) override;

private:
    tvrvar_shared at(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared resize(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared freeze(tvr_vm_context& frame, tvr_native_args& args);

    std::vector<uint8_t> pixels;
    bool frozen = false;
};

}  // namespace testmod
