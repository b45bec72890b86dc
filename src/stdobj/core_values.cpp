// std: what can be asked of any value, and sorting.

#include "base/join.h"
#include "frontend/program/program_block.h"
#include "runtime/local/error_sink.h"
#include "runtime/object/class_instance.h"
#include "runtime/object/namespaces.h"
#include "runtime/payload/std_json_bool.h"
#include "runtime/script/script.h"
#include "stdobj/arguments.h"
#include "stdobj/core_namespaces.h"
#include "stdobj/list_sort.h"

namespace {

bool is_numeric(tvrvar& value) {
    return value.type <= tvrvar_type_string || value.object<tvr_std_json_bool>() != nullptr;
}

tvrvar_shared to_int(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const tvr_arguments given("std.int", args);
    const tvrvar_shared value = given.value(0);
    if (auto* truth = value->object<tvr_std_json_bool>()) return truth->value->int_value();
    if (is_numeric(*value)) return value->int_value();
    given.refuse(0, "x", "a number or a string");
    return {};
}

tvrvar_shared to_float(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const tvr_arguments given("std.float", args);
    const tvrvar_shared value = given.value(0);
    if (auto* truth = value->object<tvr_std_json_bool>()) return truth->value->float_value();
    if (is_numeric(*value)) return value->float_value();
    given.refuse(0, "x", "a number or a string");
    return {};
}

tvrvar_shared to_bool(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    return !args[0]->compare_zero();
}

tvrvar_shared type_of(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    return tvrvar_type_name(args[0]->deref()->type);
}

const tvr_program_block_class* definition_of(const tvrvar& value) {
    if (value.type != tvrvar_type_class || value.block->object == nullptr) return nullptr;
    return static_cast<const tvr_class*>(value.block->object)->definition.get();
}

bool descends_from(const tvrobject_metadata& metadata, std::string_view name) {
    if (metadata.name == name) return true;
    for (const tvrobject_metadata* parent : metadata.parents) {
        if (descends_from(*parent, name)) return true;
    }
    return false;
}

bool is_native_instance(tvrvar& value, std::string_view name) {
    const tvrobject_base* object = value.object_ptr();
    return object != nullptr &&
           (object->script_type_name() == name || descends_from(*object->metadata, name));
}

tvrvar_shared instanceof (tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const tvr_arguments given("std.instanceof", args);
    const tvrvar_shared value = given.value(0), wanted = given.value(1);
    if (wanted->type == tvrvar_type_string) {
        return is_native_instance(*value, wanted->string_view());
    }
    if (wanted->type != tvrvar_type_class_def) {
        given.refuse(1, "T", "a class or the name of a native one");
        return {};
    }
    const auto* base = static_cast<const tvr_program_block_class*>(wanted->block->object);
    const tvr_program_block_class* of = definition_of(*value);
    if (base == nullptr || of == nullptr) return false;
    return of == base || of->is_derived_from(*base);
}

tvrvar_shared is_class(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const tvrvar_shared value = args[0]->deref();
    return value->type == tvrvar_type_class && value->block->object != nullptr;
}

tvrvar_shared size_of(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const tvr_arguments given("std.size", args);
    const tvrvar_shared value = given.value(0);
    if (value->is_none()) return 0;  // as empty as a json that nobody has written to yet
    if (value->type >= tvrvar_type_string && value->type <= tvrvar_type_object) {
        return value->size();
    }
    given.refuse(0, "x", "something with a size");
    return {};
}

tvrvar_shared sort(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const tvr_arguments given("std.sort", args);
    const tvrptr_strong<tvr_std_json> list = given.json(0, "list");
    if (!list) return {};
    const tvrvar_shared less = given.value(1);
    if (less->is_none()) {
        tvr_sort_values(*list);
    } else if (less->type == tvrvar_type_function || less->type == tvrvar_type_ext_function) {
        if (!tvr_sort_values(*list, *less)) return {};
    } else {
        given.refuse(1, "less", "a function");
        return {};
    }
    return args[0];
}

tvrvar_shared docs(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const tvr_arguments given("std.docs", args);
    const auto path = given.count() > 0 ? given.text(0, "path") : std::string();
    if (!path) return {};
    const std::string record = tvr_script_local()->root_namespace.find_docs(*path);
    tvrvar_shared result = tvrvar_shared::make();
    if (!record.empty()) result->from_string(record);
    return result;
}

void fill_conversions(tvr_namespace& std) {
    std.add_function("int", to_int, 1, 1,
                     {.description = "A number or the number at the head of a string, as int; "
                                     "floats towards zero.",
                      .params = {"x: any - what to convert"},
                      .examples = {"std.int(\"12 beats\");  // 12"}});
    std.add_function("float", to_float, 1, 1,
                     {.description = "A number or the number at the head of a string, as float.",
                      .params = {"x: any - what to convert"}});
    std.add_function("bool", to_bool, 1, 1,
                     {.description = "1 for what an `if` takes for true, else 0.",
                      .params = {"x: any - what to test"}});
}

void fill_types(tvr_namespace& std) {
    std.add_function("type", type_of, 1, 1,
                     {.description = "The name of the value's type: none, int, float, string, "
                                     "binary, json, object, class, class_def, function or "
                                     "ext_function.",
                      .params = {"x: any - the value"}});
    std.add_function("instanceof", instanceof
                     , 2, 2,
                     {.description = "1 for an instance of a class or of one derived from it, "
                                     "else 0.",
                      .params = {"x: any - the value",
                                 "T: class - a script class, or the name of a native one as "
                                 "string"}});
    std.add_function("is_class", is_class, 1, 1,
                     {.description = "1 for an instance of a script class, else 0.",
                      .params = {"x: any - the value"}});
}

}  // namespace

void tvr_fill_std_values(tvr_namespace& std) {
    fill_conversions(std);
    fill_types(std);
    tvr_function_def& size =
        std.add_function("size", size_of, 1, 1,
                         {.description = "Entries of a json, bytes of a string or buffer, the size "
                                         "of an object.",
                          .params = {"x: any - the value"}});
    size.intrinsic = tvr_intrinsic::size;
    std.add_function(
        "sort", sort, 1, 2,
        {.description = "Sorts the entries of a json by value and returns it. Stable: numbers by "
                        "size, then strings by bytes, then the rest in its order.",
         .params = {"list: json - what to sort",
                    "less: function - optional; less(a, b) is true when a stands before b"},
         .returns_class = "std.json",
         .examples = {"std.sort(decks, (a, b) { return a.bpm > b.bpm; });"}});
    std.add_function("docs", docs, 0, 1,
                     {.description = "The documentation record of a path, None for an unknown one; "
                                     "without a path the top level.",
                      .params = {"path: string - such as \"std.json.push\""},
                      .returns_class = "std.json"});
}
