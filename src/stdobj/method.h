#pragma once

// How the standard classes register their methods.

#include <initializer_list>
#include <memory>
#include <string_view>
#include <utility>

#include "runtime/object/function_def.h"
#include "runtime/object/metadata.h"

// One behaviour under each of the names.
inline void tvr_add_method(tvrobject_metadata& metadata,
                           std::initializer_list<std::string_view> names,
                           const tvr_native_function& run, uint32_t min_params, uint32_t max_params,
                           const tvr_function_docs& docs,
                           tvr_intrinsic intrinsic = tvr_intrinsic::none) {
    for (const std::string_view name : names) {
        auto def = std::make_unique<tvr_function_def>();
        def->name = name;
        def->callback = run;
        def->min_params = min_params;
        def->max_params = max_params;
        def->docs = docs;
        def->intrinsic = intrinsic;
        metadata.add_function(std::move(def));
    }
}

// Methods that change the string or buffer that they are called on, and return it.
inline void tvr_add_changing_method(tvrobject_metadata& metadata,
                                    std::initializer_list<std::string_view> names,
                                    const tvr_native_function& run, uint32_t min_params,
                                    uint32_t max_params, const tvr_function_docs& docs) {
    tvr_add_method(metadata, names, run, min_params, max_params, docs);
    for (const std::string_view name : names) metadata.find_function(name)->changes_receiver = true;
}
