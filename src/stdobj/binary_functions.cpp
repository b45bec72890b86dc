// std: values to bytes and back.

#include "runtime/local/error_sink.h"
#include "runtime/object/namespaces.h"
#include "runtime/payload/std_buffer.h"
#include "stdobj/buffer_bytes.h"
#include "stdobj/core_namespaces.h"

namespace {

tvrvar_shared buffer_of(std::vector<uint8_t> bytes) {
    tvrvar_shared made = tvrvar_shared::make();
    made->as_binary().bytes = std::move(bytes);
    return made;
}

tvrvar_shared to_binary(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    std::vector<uint8_t> bytes;
    if (!args[0]->to_binary(bytes)) return {};
    return buffer_of(std::move(bytes));
}

tvrvar_shared from_binary(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const tvrvar_shared data = args[0]->deref();
    const auto* buffer = data->object<tvr_std_buffer>();
    if (buffer == nullptr) {
        runtime_error("from_binary() expects a std.buffer");
        return {};
    }
    if (!buffer->readable()) return {};
    tvrvar_shared value = tvrvar_shared::make();
    value->from_binary(buffer->bytes.data(), buffer->bytes.size());
    return value;
}

tvrvar_shared as_binary(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    std::vector<uint8_t> bytes;
    switch (tvr_bytes_of(*args[0], bytes)) {
    case tvr_bytes_found::bytes: return buffer_of(std::move(bytes));
    case tvr_bytes_found::held: return {};
    case tvr_bytes_found::no_bytes: break;
    }
    runtime_error("as_binary() expects a std.buffer, a string or a list of byte values");
    return {};
}

}  // namespace

void tvr_fill_std_binary(tvr_namespace& std) {
    std.add_function("to_binary", to_binary, 1, 1,
                     {.description = "The binary form of a value, from which std.from_binary makes "
                                     "it again. None when it has none.",
                      .params = {"value: any"},
                      .returns_class = "std.buffer"});
    std.add_function(
        "from_binary", from_binary, 1, 1,
        {.description = "The value of a binary form.", .params = {"data: std.buffer"}});
    std.add_function("as_binary", as_binary, 1, 1,
                     {.description = "A new buffer with the bytes of a string, a list of byte "
                                     "values or a buffer.",
                      .params = {"data: std.buffer | string | json"},
                      .returns_class = "std.buffer"});
}
