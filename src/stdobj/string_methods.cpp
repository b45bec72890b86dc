// The script methods of std.string.

#include "runtime/payload/std_string.h"
#include "stdobj/method.h"

namespace {

tvrvar_shared size(tvrobject_base* object, tvr_vm_context&, tvr_native_args&) {
    return object->op_get_size();
}

}  // namespace

void tvr_std_string::script_register(tvrobject_metadata& m) {
    m.description =
        "Create a new string, optionally initialized with given values that are concatenated";
    tvr_add_method(m, {"length"}, size, 0, 0, {.description = "Retrieve the length of the string"});
    tvr_add_method(m, {"size"}, size, 0, 0, {.description = "Retrieve the size of the string"});
}
