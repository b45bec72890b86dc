// std.json: sorting.

#include "stdobj/json_methods.h"
#include "stdobj/json_sort.h"
#include "stdobj/method.h"
#include "stdobj/self_value.h"

namespace {

tvrvar_shared sort(tvrobject_base* object, tvr_vm_context&, tvr_native_args&) {
    tvr_sort_by_key(tvr_json_self(object));
    return tvr_self_value(tvr_json_self(object));
}

tvrvar_shared sort_reverse(tvrobject_base* object, tvr_vm_context&, tvr_native_args&) {
    tvr_sort_by_key_reverse(tvr_json_self(object));
    return tvr_self_value(tvr_json_self(object));
}

tvrvar_shared sort_by(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    const bool descending = args.size() > 1 && !args[1]->compare_zero();
    tvr_sort_by_member(tvr_json_self(object), args[0]->string_value(), descending);
    return tvr_self_value(tvr_json_self(object));
}

}  // namespace

void tvr_add_json_sort_methods(tvrobject_metadata& m) {
    tvr_add_method(m, {"sort"}, sort, 0, 0,
                   {.description = "Sorts JSON entries by their keys in a case-insensitive manner, "
                                   "keeping only keyed entries in the sorted portion.",
                    .returns_class = "std.json"});
    tvr_add_method(m, {"sort_reverse", "rsort"}, sort_reverse, 0, 0,
                   {.description = "Sorts a JSON object\u2019s entries by key in descending order, "
                                   "keeping keyless entries at the end",
                    .returns_class = "std.json"});
    tvr_add_method(m, {"sort_by"}, sort_by, 1, 2,
                   {.description = "Sorts JSON entries by a child key in each value object.",
                    .params = {"key: string - the child by which the entries are sorted",
                               "descending: bool - the greatest in front; false if left out"},
                    .returns_class = "std.json"});
}
