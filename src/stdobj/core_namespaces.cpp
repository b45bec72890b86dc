#include "stdobj/core_namespaces.h"

#include "base/forever.h"
#include "kernel/script/std_kernel.h"
#include "runtime/object/namespaces.h"
#include "runtime/script/global.h"

namespace {

void fill_std(tvr_namespace& std) {
    std.description = "The standard library.";
    tvr_fill_std_output(std);
    tvr_fill_std_values(std);
    tvr_fill_std_host(std);
    tvr_fill_std_classes(std);
    tvr_fill_std_binary(std);
    tvr_fill_std_kernel(std);
    tvr_fill_std_math(std.child("math"));
    tvr_fill_std_random(std.child("random"));
    tvr_fill_std_file(std.child("file"));
    tvr_fill_json(std.child("json"));  // std.json.bool; std.json itself is a constructor
}

struct core_modules {
    tvr_function_module std_functions{"std", fill_std, tvr_function_module::unregistered{}};
    tvr_function_module json_functions{"json", tvr_fill_json, tvr_function_module::unregistered{}};
};

}  // namespace

void tvr_register_core_namespaces(tvr_global_instance& instance) {
    static tvr_forever<core_modules> held;
    instance.add(held.get().std_functions);
    instance.add(held.get().json_functions);
}
