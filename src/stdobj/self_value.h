#pragma once

// The value behind which a payload stands, for methods that return their own object.

#include "runtime/payload/std_buffer.h"
#include "runtime/payload/std_json.h"
#include "runtime/payload/std_string.h"

template <typename T>
tvrvar_shared tvr_self_value(T& payload, TVRVAR_TYPE type) {
    tvrvar_shared made = tvrvar_shared::make();
    tvrptr_control_block* block = payload.__tvr_get_or_create_control_block();
    block->add_strong();
    made->type = type;
    made->block = block;
    return made;
}

inline tvrvar_shared tvr_self_value(tvr_std_json& json) {
    return tvr_self_value(json, tvrvar_type_json);
}
inline tvrvar_shared tvr_self_value(tvr_std_string& string) {
    return tvr_self_value(string, tvrvar_type_string);
}
inline tvrvar_shared tvr_self_value(tvr_std_buffer& buffer) {
    return tvr_self_value(buffer, tvrvar_type_binary);
}
