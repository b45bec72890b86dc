// A module as others write them: namespaces registered when the library is loaded, and the two
// functions by which the engine finds them. Its engine is the host's.

#include "bitmap.h"
#include "dud.h"
#include "lamp.h"
#include "runtime/object/namespaces.h"
#include "runtime/script/global.h"

namespace {

tvrvar_shared add(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    return args[0]->int_value() + args[1]->int_value();
}

tvrvar_shared lamps(tvrobject_base*, tvr_vm_context&, tvr_native_args&) {
    return testmod::living_lamps();
}

void fill(tvr_namespace& space) {
    space.description = "A module for tests.";
    space.add_function("add", add, 2, 2, {.description = "The sum of two numbers."});
    space.add_function("lamps", lamps, 0, 0, {.description = "How many lamps there are."});
    space.add_variable("version")->as_string("1.1");
    space.add_class<testmod::bitmap>("bitmap", 2, 2);
    space.add_class<testmod::dud>("dud", 0, 1);
    space.add_class<testmod::lamp>("lamp", 0, 1, {.params = {"level: int - at first"}});
}

const tvr_function_module testmod_module("testmod", fill);

}  // namespace

extern "C" const tvr_module_record* tavroglue_check() {
    static constexpr tvr_module_record record;
    return &record;
}

extern "C" tvr_global_instance* tavroglue_entry() {
    return &tvr_global();
}
