#pragma once

// What is known of native functions and classes beyond the number of their parameters.
//
// Results come from a table for the standard library, and from the documentation where it names a
// native class. Thread: one compile, under the interpreter's lock.

#include <string_view>
#include <unordered_map>

#include "frontend/strict/type.h"

class tvr_namespace;
struct tvr_function_def;

class tvr_strict_natives {
public:
    explicit tvr_strict_natives(tvr_namespace& root);

    enum class role : uint8_t {
        ordinary,
        tests_class,  // std.instanceof
        tests_value,  // tells something about its argument
        ends,         // does not return
    };
    role role_of(const tvr_function_def& function) const;

    // Dynamic when it is not known. With maybe_none but without a reason why.
    tvr_strict_type result_of(const tvr_function_def& function) const;
    // The same of a method of a class.
    tvr_strict_type result_of(const tvrobject_metadata& of, const tvr_function_def& method) const;

    // The class whose methods values of a type have; null when it is not known.
    const tvrobject_metadata* class_of(const tvr_strict_type& type) const;

private:
    struct fact {
        tvr_strict_type result;
        role is = role::ordinary;
    };
    tvr_strict_type type_of_class(std::string_view name) const;

    tvr_namespace& root;
    const tvrobject_metadata* json = nullptr;
    const tvrobject_metadata* string = nullptr;
    const tvrobject_metadata* kernel = nullptr;
    std::unordered_map<const tvr_function_def*, fact> facts;
};
