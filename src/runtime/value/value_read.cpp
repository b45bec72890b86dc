// Conversions. A reference or member handle reads as the value behind it.

#include "runtime/local/error_sink.h"
#include "runtime/log/log.h"
#include "runtime/payload/std_json.h"
#include "runtime/payload/std_string.h"
#include "runtime/value/instance.h"
#include "runtime/value/number_text.h"
#include "runtime/value/plain_value.h"
#include "runtime/value/records.h"
#include "runtime/value/value.h"

namespace {

const std::string& text_of(const tvrvar& string) {
    return static_cast<const tvr_std_string*>(string.block->object)->text;
}

tvr_std_json& json_of(const tvrvar& json) {
    return *static_cast<tvr_std_json*>(json.block->object);
}

// The native object of a plain value of the types string to object. Null when it is dead.
tvrobject_base* object_of(const tvrvar& value) {
    const bool native = value.type >= tvrvar_type_string && value.type <= tvrvar_type_object;
    return native ? static_cast<tvrobject_base*>(value.block->object) : nullptr;
}

bool routine_lives(const tvrvar& function) {
    return function.function->routine.control_block()->holds_object();
}

bool class_is_zero(const tvrvar& value) {
    tvr_log().verbose("Implement proper class compare_zero check!");
    return value.block->object == nullptr;
}

}  // namespace

bool tvrvar::is_list() {
    const tvr_plain_value value(*this);
    return value->type == tvrvar_type_json && json_of(*value).is_list();
}

tvrobject_base* tvrvar::object_ptr() {
    const tvrvar* end = end_of_refs();
    return end != nullptr ? object_of(*end) : nullptr;
}

bool tvrvar::object_valid() {
    const tvrvar* end = end_of_refs();
    return end != nullptr && end->type == tvrvar_type_object && end->block->object != nullptr;
}

int64_t tvrvar::int_value() {
    const tvr_plain_value value(*this);
    switch (value->type) {
    case tvrvar_type_none: return 0;
    case tvrvar_type_int: return value->integer;
    case tvrvar_type_float: return tvr_int_of_float(value->real);
    case tvrvar_type_string: return tvr_parse_int_prefix(text_of(*value));
    default: break;
    }
    runtime_warning("int_value() not implemented for type: ", tvrvar_type_name(value->type));
    return 0;
}

double tvrvar::float_value() {
    const tvr_plain_value value(*this);
    switch (value->type) {
    case tvrvar_type_none: return 0.0;
    case tvrvar_type_int: return double(value->integer);
    case tvrvar_type_float: return value->real;
    case tvrvar_type_string: return tvr_parse_float_prefix(text_of(*value));
    default: break;
    }
    runtime_warning("float_value() not implemented for type: ", tvrvar_type_name(value->type));
    return 0.0;
}

bool tvrvar::bool_value() {
    const tvr_plain_value value(*this);
    switch (value->type) {
    case tvrvar_type_none: return false;
    case tvrvar_type_int: return value->integer != 0;
    case tvrvar_type_float: return value->real != 0.0;  // true for NaN
    case tvrvar_type_string: return !text_of(*value).empty();
    case tvrvar_type_json: return json_of(*value).size() != 0;
    case tvrvar_type_function: return routine_lives(*value);
    default: break;
    }
    runtime_warning("get_bool() not implemented for type: ", tvrvar_type_name(value->type));
    return false;
}

std::string tvrvar::string_value() {
    std::string out;
    string_value(out);
    return out;
}

void tvrvar::string_value(std::string& out) {
    const tvr_plain_value value(*this);
    out.clear();
    switch (value->type) {
    case tvrvar_type_error: out = "ERROR"; return;
    case tvrvar_type_none: return;
    case tvrvar_type_int: return tvr_append_int(out, value->integer);
    case tvrvar_type_float: return tvr_append_float(out, value->real);
    case tvrvar_type_string: out = text_of(*value); return;
    case tvrvar_type_binary:
    case tvrvar_type_object:
        if (tvrobject_base* object = object_of(*value)) out = object->to_string();
        return;
    case tvrvar_type_json: out = json_of(*value).to_string(true); return;
    case tvrvar_type_class:
        if (value->block->object == nullptr) return;
        out = static_cast<tvr_instance*>(value->block->object)->class_name();
        return;
    default: break;
    }
    runtime_warning("string_value() not implemented for type: ", tvrvar_type_name(value->type));
}

std::string_view tvrvar::text_view(std::string& scratch) {
    if (type == tvrvar_type_string) return text_of(*this);
    string_value(scratch);
    return scratch;
}

std::string_view tvrvar::string_view() {
    const tvrvar* end = end_of_refs();
    if (end == nullptr || end->type != tvrvar_type_string) return {};
    return text_of(*end);
}

const char* tvrvar::c_str() {
    const tvrvar* end = end_of_refs();
    return end != nullptr && end->type == tvrvar_type_string ? text_of(*end).c_str() : "";
}

size_t tvrvar::c_str_length() {
    return string_view().size();
}

int64_t tvrvar::size() {
    const tvr_plain_value value(*this);
    if (value->type >= tvrvar_type_string && value->type <= tvrvar_type_object) {
        tvrobject_base* object = object_of(*value);
        return object != nullptr ? object->op_get_size() : 0;
    }
    runtime_warning("size() not implemented for type: ", tvrvar_type_name(value->type));
    return 0;
}

bool tvrvar::compare_zero() {
    tvrvar* end = end_of_refs();
    if (end == nullptr || (end->is_member_handle() && !end->member_exists())) return true;
    const tvr_plain_value value(*end);
    switch (value->type) {
    case tvrvar_type_error:
    case tvrvar_type_none: return true;
    case tvrvar_type_int: return value->integer == 0;
    case tvrvar_type_float: return value->real == 0.0;
    case tvrvar_type_string: return text_of(*value).empty();
    case tvrvar_type_binary:
    case tvrvar_type_json: return object_of(*value)->op_get_size() == 0;
    case tvrvar_type_object: {
        tvrobject_base* object = object_of(*value);
        return object == nullptr || object->op_compare_zero();
    }
    case tvrvar_type_class: return class_is_zero(*value);
    case tvrvar_type_function: return !routine_lives(*value);
    case tvrvar_type_ext_function: return false;
    default: break;
    }
    runtime_warning("compare_zero not implemented for type: ", tvrvar_type_name(value->type));
    return true;
}

bool tvrvar::is_none_like() {
    const tvr_plain_value value(*this);
    if (value->is_none()) return true;
    const bool can_die = value->type == tvrvar_type_object || value->type == tvrvar_type_class;
    return can_die && value->block->object == nullptr;
}
