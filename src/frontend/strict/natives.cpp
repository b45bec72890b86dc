#include "frontend/strict/natives.h"

#include <iterator>

#include "runtime/object/namespaces.h"

using kind = tvr_strict_kind;
using role = tvr_strict_natives::role;

namespace {

struct row {
    const char* space;
    const char* name;
    kind result;
    bool maybe_none = false;
    role is = role::ordinary;
};

constexpr row table[] = {
    {"std", "int", kind::integer, false, role::tests_value},
    {"std", "float", kind::real, false, role::tests_value},
    {"std", "string", kind::text},
    {"std", "json", kind::json},
    {"std", "bool", kind::boolean, false, role::tests_value},
    {"std", "type", kind::text, false, role::tests_value},
    {"std", "size", kind::integer, false, role::tests_value},
    {"std", "instanceof", kind::boolean, false, role::tests_class},
    {"std", "is_class", kind::boolean, false, role::tests_value},
    {"std", "raise", kind::dynamic, false, role::ends},
    {"std", "exit", kind::dynamic, false, role::ends},
    {"std", "millis", kind::integer},
    {"std", "time", kind::real},
    {"std", "env", kind::text, true},
    {"std", "args", kind::json},
    {"std.file", "list", kind::json},
    {"std.file", "read", kind::text, true},
    {"std.file", "read_buffer", kind::dynamic, true},
    {"std.file", "write", kind::boolean},
    {"std.file", "exists", kind::boolean},
    {"std.random", "float", kind::real},
    {"std.random", "int", kind::integer},
    {"std.math", "sin", kind::real},
    {"std.math", "cos", kind::real},
    {"std.math", "tan", kind::real},
    {"std.math", "asin", kind::real},
    {"std.math", "acos", kind::real},
    {"std.math", "atan", kind::real},
    {"std.math", "atan2", kind::real},
    {"std.math", "sinh", kind::real},
    {"std.math", "cosh", kind::real},
    {"std.math", "tanh", kind::real},
    {"std.math", "exp", kind::real},
    {"std.math", "log", kind::real},
    {"std.math", "log2", kind::real},
    {"std.math", "log10", kind::real},
    {"std.math", "sqrt", kind::real},
    {"std.math", "cbrt", kind::real},
    {"std.math", "pow", kind::real},
    {"std.math", "hypot", kind::real},
    {"std.math", "fmod", kind::real},
    {"std.math", "step", kind::real},
    {"std.math", "fract", kind::real},
    {"std.math", "deg", kind::real},
    {"std.math", "rad", kind::real},
    {"std.math", "mix", kind::real},
    {"std.math", "smoothstep", kind::real},
    {"std.math", "floor", kind::number},
    {"std.math", "ceil", kind::number},
    {"std.math", "round", kind::number},
    {"std.math", "trunc", kind::number},
    {"std.math", "abs", kind::number},
    {"std.math", "sign", kind::number},
    {"std.math", "min", kind::number},
    {"std.math", "max", kind::number},
    {"std.math", "clamp", kind::number},
    {"std.math", "isnan", kind::boolean},
    {"std.math", "isinf", kind::boolean},
};

}  // namespace

tvr_strict_natives::tvr_strict_natives(tvr_namespace& of) : root(of) {
    tvr_namespace* std = root.find_child("std");
    if (std == nullptr) return;
    json = std->find_class("json");
    string = std->find_class("string");
    kernel = std->find_class("kernel");
    for (const row& known : table) {
        tvr_namespace* space = root.find_path(known.space);
        const tvr_function_def* function =
            space != nullptr ? space->find_function(known.name) : nullptr;
        if (function == nullptr) continue;
        fact& made = facts[function];
        made.result = known.result;
        made.result.maybe_none = known.maybe_none;
        made.is = known.is;
    }
}

role tvr_strict_natives::role_of(const tvr_function_def& function) const {
    const auto known = facts.find(&function);
    return known != facts.end() ? known->second.is : role::ordinary;
}

tvr_strict_type tvr_strict_natives::result_of(const tvr_function_def& function) const {
    const auto known = facts.find(&function);
    return known != facts.end() ? known->second.result : type_of_class(function.docs.returns_class);
}

tvr_strict_type tvr_strict_natives::result_of(const tvrobject_metadata& of,
                                              const tvr_function_def& method) const {
    if (method.name == "size" && (&of == json || &of == string)) return kind::integer;
    return type_of_class(method.docs.returns_class);
}

// Documentation tells what a result is when there is one. Where it says json or string, None may
// come instead, and a list's element instead of a list.
tvr_strict_type tvr_strict_natives::type_of_class(std::string_view name) const {
    if (name.empty()) return {};
    const size_t dot = name.rfind('.');
    if (dot == std::string_view::npos) return {};
    const tvr_namespace* space = root.find_path(name.substr(0, dot));
    const tvrobject_metadata* found =
        space != nullptr ? space->find_class(name.substr(dot + 1)) : nullptr;
    if (found == nullptr || found == json || found == string) return {};
    tvr_strict_type made = kind::object;
    made.native = found;
    return made;
}

const tvrobject_metadata* tvr_strict_natives::class_of(const tvr_strict_type& type) const {
    if (type.is_json()) return json;
    if (type.is == kind::text) return string;
    if (type.is == kind::kernel) return kernel;
    return type.is == kind::object ? type.native : nullptr;
}
