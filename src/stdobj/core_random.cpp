// std.random: a generator for each interpreter.

#include <memory>
#include <random>

#include "runtime/local/error_sink.h"
#include "runtime/object/namespaces.h"
#include "runtime/payload/std_json.h"
#include "stdobj/arguments.h"
#include "stdobj/core_namespaces.h"
#include "stdobj/random_source.h"

namespace {

// Every interpreter that nobody seeds has numbers of its own.
uint64_t number_of_the_machine() {
    std::random_device device;
    return uint64_t(device()) << 32 | device();
}

tvrvar_shared draw_int(tvr_random_source& source, tvr_native_args& args) {
    const tvr_arguments given("std.random.int", args);
    const auto lo = given.whole(0, "lo");
    if (!lo) return {};
    const auto hi = given.whole(1, "hi");
    if (!hi) return {};
    if (*lo > *hi) {
        runtime_error("std.random.int: lo is ", *lo, ", above hi, which is ", *hi, '.');
        return {};
    }
    return source.between(*lo, *hi);
}

tvrvar_shared shuffle(tvr_random_source& source, tvr_native_args& args) {
    const tvrptr_strong<tvr_std_json> list =
        tvr_arguments("std.random.shuffle", args).json(0, "list");
    if (!list) return {};
    for (size_t i = list->size(); i > 1; --i) {
        std::swap(list->entries[i - 1], list->entries[size_t(source.between(0, int64_t(i) - 1))]);
    }
    list->entries_moved();
    return args[0];
}

}  // namespace

void tvr_fill_std_random(tvr_namespace& random) {
    const auto source = std::make_shared<tvr_random_source>(number_of_the_machine());
    random.description = "Pseudo-random numbers; the same seed gives the same ones everywhere.";
    random.add_function(
        "seed",
        [source](tvrobject_base*, tvr_vm_context&, tvr_native_args& args) -> tvrvar_shared {
            const auto number = tvr_arguments("std.random.seed", args).whole(0, "n");
            if (number) source->seed(uint64_t(*number));
            return {};
        },
        1, 1,
        {.description = "Begins the row of numbers that belongs to n.", .params = {"n: int"}});
    random.add_function("float",
                        [source](tvrobject_base*, tvr_vm_context&,
                                 tvr_native_args&) -> tvrvar_shared { return source->unit(); },
                        0, 0, {.description = "A float from 0 to below 1."});
    random.add_function("int",
                        [source](tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
                            return draw_int(*source, args);
                        },
                        2, 2,
                        {.description = "A whole number from lo to hi, both included.",
                         .params = {"lo: int - the smallest", "hi: int - the largest"},
                         .examples = {"std.random.int(1, 6);"}});
    random.add_function(
        "shuffle",
        [source](tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
            return shuffle(*source, args);
        },
        1, 1,
        {.description = "Puts the entries of a json into a random order and returns it.",
         .params = {"list: json"},
         .returns_class = "std.json"});
}
