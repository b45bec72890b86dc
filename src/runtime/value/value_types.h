#pragma once

// The types of values. Their order decides which rule an operator follows: the larger one's.

#include <cstdint>
#include <string_view>

enum TVRVAR_TYPE : uint8_t {
    tvrvar_type_error = 0,
    tvrvar_type_none = 1,
    tvrvar_type_int = 2,  // also booleans, as 0 and 1
    tvrvar_type_float = 3,
    tvrvar_type_primitive_end = 4,  // below it nothing needs to be released
    tvrvar_type_string = 5,
    tvrvar_type_binary = 6,
    tvrvar_type_json = 7,
    tvrvar_type_object = 8,
    tvrvar_type_objects_end = 9,
    tvrvar_type_class = 10,
    tvrvar_type_class_def = 11,
    tvrvar_type_function = 12,
    tvrvar_type_ext_function = 13,
    tvrvar_type_member_literal = 14,  // this one and the next two: handles on an object's member
    tvrvar_type_member_index = 15,
    tvrvar_type_member_var = 16,
    tvrvar_type_ref = 17,
    tvrvar_type_count = 18,
};

// The name of a type as messages use it; "unknown" for a number that is none.
std::string_view tvrvar_type_name(uint8_t type);
