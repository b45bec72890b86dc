#include "bitmap.h"

#include "runtime/local/error_sink.h"

namespace testmod {

void bitmap::script_register(tvrobject_metadata& m) {
    add_function(m, "at", &bitmap::at, 1, 1, {.description = "A pixel."});
    add_function(m, "resize", &bitmap::resize, 1, 1, {.description = "So many pixels."});
    add_function(m, "freeze", &bitmap::freeze, 0, 0,
                 {.description = "Nobody writes from here on."});
}

void bitmap::construct(tvr_vm_context&, tvr_native_args& args) {
    pixels.resize(size_t(args[0]->int_value() * args[1]->int_value()));
}

tvr_kernel_bytes bitmap::kernel_bytes() {
    return {pixels.data(), pixels.size(), !frozen};
}

void* bitmap::query_interface(tvr_type_id type) {
    return type == tvr_typeid<tvr_kernel_memory>() ? static_cast<tvr_kernel_memory*>(this)
                                                   : nullptr;
}

tvrvar_shared bitmap::at(tvr_vm_context&, tvr_native_args& args) {
    if (locked_for_reading()) {
        runtime_error(tvr_kernel_memory_in_use(*this));
        return {};
    }
    return int64_t(pixels.at(size_t(args[0]->int_value())));
}

tvrvar_shared bitmap::resize(tvr_vm_context&, tvr_native_args& args) {
    if (locked_for_writing()) {
        runtime_error(tvr_kernel_memory_in_use(*this));
    } else {
        pixels.resize(size_t(args[0]->int_value()));
    }
    return {};
}

tvrvar_shared bitmap::freeze(tvr_vm_context&, tvr_native_args&) {
    frozen = true;
    return {};
}

}  // namespace testmod
