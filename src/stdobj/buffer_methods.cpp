// The script methods of std.buffer.

#include "runtime/payload/std_buffer.h"
#include "stdobj/method.h"

namespace {

tvrvar_shared size(tvrobject_base* object, tvr_vm_context&, tvr_native_args&) {
    return object->op_get_size();
}

}  // namespace

void tvr_std_buffer::script_register(tvrobject_metadata& m) {
    m.description = "A growable array of bytes.";
    tvr_add_method(m, {"size"}, size, 0, 0,
                   {.description = "Returns the number of bytes stored in the buffer."});
}
