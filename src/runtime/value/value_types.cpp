#include "runtime/value/value_types.h"

std::string_view tvrvar_type_name(uint8_t type) {
    static constexpr std::string_view names[tvrvar_type_count] = {
        "error",
        "none",
        "int",
        "float",
        "primitive_end",
        "string",
        "binary",
        "json",
        "object",
        "objects_end",
        "class",
        "class_def",
        "function",
        "ext_function",
        "object_member_literal",
        "object_member_index",
        "object_member_var",
        "ref",
    };
    return type < tvrvar_type_count ? names[type] : "unknown";
}
