// The constructors of the standard classes.

#include "runtime/object/namespaces.h"
#include "runtime/payload/std_buffer.h"
#include "runtime/payload/std_json.h"
#include "runtime/payload/std_json_bool.h"
#include "runtime/payload/std_string.h"
#include "stdobj/arguments.h"
#include "stdobj/core_namespaces.h"
#include "stdobj/thread_object.h"

namespace {

tvrvar_shared make_json(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const tvr_arguments given("std.json", args);
    tvrvar_shared made = tvrvar_shared::make();
    tvr_std_json& json = made->as_json(true);
    if (given.count() == 0) return made;
    const auto text = given.text(0, "json");
    if (!text) return {};
    const bool quiet = given.count() > 1 && !args[1]->compare_zero();
    json.from_string(*text, quiet);
    return made;
}

tvrvar_shared make_string(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    std::string text, scratch;
    for (const tvrvar_shared& arg : args) text += arg->deref()->text_view(scratch);
    tvrvar_shared made = tvrvar_shared::make();
    made->as_string(std::move(text));
    return made;
}

tvrvar_shared make_buffer(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const tvr_arguments given("std.buffer", args);
    tvrvar_shared made = tvrvar_shared::make();
    tvr_std_buffer& buffer = made->as_binary();
    if (given.count() == 0) return made;
    const tvrvar_shared data = given.value(0);
    if (data->type == tvrvar_type_string) {
        made->as_binary(data->string_view());
    } else if (auto* other = data->object<tvr_std_buffer>()) {
        if (other->readable()) buffer.bytes = other->bytes;
    } else {
        given.refuse(0, "data", "a string or a buffer");
        return {};
    }
    return made;
}

// A wrapper around a wrapper wraps what is inside.
tvrvar_shared make_bool(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    auto* object = new tvr_std_json_bool();
    tvrvar_shared made = tvrvar_shared::make();
    made->as_object(object);
    object->value->set(*args[0]);
    return made;
}

}  // namespace

void tvr_fill_std_classes(tvr_namespace& std) {
    std.add_constructor(
        "json", tvr_std_json::metadata_of_class(), make_json, 0, 2,
        {.description = "Create a new JSON object, optionally initialized from a JSON string",
         .params = {"json: string - Optional JSON string to parse into the new object",
                    "suppress_errors: bool - Suppress any error messages."},
         .returns_class = "std.json"});
    std.add_constructor(
        "string", tvr_std_string::metadata_of_class(), make_string, 0, tvr_function_def::any_number,
        {.description = "Create a new string, optionally initialized with given values that are "
                        "concatenated",
         .params = {"value: string - Initial string values to concatenate"},
         .returns_class = "std.string"});
    std.add_constructor(
        "buffer", tvr_std_buffer::metadata_of_class(), make_buffer, 0, 1,
        {.description = "Create a new buffer of bytes, empty or with those of a string or buffer.",
         .params = {"data: string - or a std.buffer; optional"},
         .returns_class = "std.buffer"});
    std.add_class<tvr_std_thread>(
        "threading", 0, 1,
        {.description = "Create a new thread object with optional callback function",
         .params = {"callback: function - The function to be executed in the new thread"},
         .returns_class = "std.thread"});
}

void tvr_fill_json(tvr_namespace& json) {
    json.description = "What JSON has and the language has not.";
    json.add_constructor(
        "bool", tvr_std_json_bool::metadata_of_class(), make_bool, 1, 1,
        {.description = "Create a JSON boolean. The wrapped value is written as "
                        "true/false instead of 1/0 when the JSON is converted to a "
                        "string.",
         .params = {"value: object - Value to wrap as a boolean."},
         .returns_class = "json.bool"});
}
