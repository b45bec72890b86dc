#pragma once

// The arguments of one call of a native function, read one by one.
//
//     const tvr_arguments given("std.random.int", args);
//     const auto lo = given.whole(0, "lo");
//     if (!lo) return {};
//
// An argument that does not fit is a runtime error that names the function, the argument and what
// was given; the result is empty then. Script thread.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "runtime/object/function_def.h"
#include "runtime/value/value.h"

class tvr_arguments {
public:
    // Both outlive the reader.
    tvr_arguments(std::string_view of_function, const tvr_native_args& given)
        : function(of_function), args(given) {}

    size_t count() const { return args.size(); }

    // The plain value of an argument; a new none where none was given.
    tvrvar_shared value(size_t at) const;
    // A variable of its own with the argument's value, to be kept.
    tvrvar_shared copy(size_t at) const;
    // The text form of an argument, whatever its type.
    std::string any_text(size_t at) const { return value(at)->string_value(); }

    std::optional<double> number(size_t at, std::string_view name) const;
    // An int, or a float without a fraction.
    std::optional<int64_t> whole(size_t at, std::string_view name) const;
    std::optional<std::string> text(size_t at, std::string_view name) const;
    tvrptr_strong<tvr_std_json> json(size_t at, std::string_view name) const;  // null: refused

    // "FUNCTION: NAME is WHAT WAS GIVEN, not EXPECTED."
    void refuse(size_t at, std::string_view name, std::string_view expected) const;

private:
    std::string_view function;
    const tvr_native_args& args;
};

// A value in the words of a message: "5 (int)", "\"abc\" (string)", "a json of 3 entries".
std::string tvr_describe_value(tvrvar& value);
