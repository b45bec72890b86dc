// What a string tells about itself, and how its methods come together.

#include "stdobj/string_methods.h"

#include "runtime/payload/std_json.h"
#include "stdobj/method.h"

namespace {

tvrvar_shared size(tvrobject_base* object, tvr_vm_context&, tvr_native_args&) {
    return object->op_get_size();
}

tvrvar_shared is_empty(tvrobject_base* object, tvr_vm_context&, tvr_native_args&) {
    return tvr_string_of(object).text.empty();
}

}  // namespace

tvrvar_shared tvr_string_list(const tvr_text_parts& parts) {
    tvrvar_shared made = tvrvar_shared::make();
    tvr_std_json& list = made->as_json(true);
    list.entries.reserve(parts.size());
    for (const std::string_view part : parts) list.push_back(part);
    return made;
}

tvrvar_shared tvr_string_value(std::string&& text) {
    tvrvar_shared made = tvrvar_shared::make();
    made->as_string(std::move(text));
    return made;
}

void tvr_std_string::script_register(tvrobject_metadata& m) {
    m.description =
        "Create a new string, optionally initialized with given values that are concatenated";
    tvr_add_method(m, {"length"}, size, 0, 0, {.description = "Retrieve the length of the string"});
    tvr_add_method(m, {"size"}, size, 0, 0, {.description = "Retrieve the size of the string"});
    tvr_add_method(m, {"empty"}, is_empty, 0, 0,
                   {.description = "Check if string is empty and return 1 if true, 0 otherwise"});
    tvr_register_string_changes(m);
    tvr_register_string_searches(m);
    tvr_register_string_parts(m);
    tvr_register_string_patterns(m);
}
