#include "runtime/object/object.h"

#include "runtime/local/error_sink.h"

namespace {

template <typename NAME>
void no_member(const tvrobject_base& object, const NAME& name) {
    runtime_error("'", object.script_type_name(), "' does not have member '", name, "'!");
}

void no_element(const tvrobject_base& object, int64_t index) {
    runtime_error("'", object.script_type_name(), "' does not have indexmember '", index, "'!");
}

}  // namespace

std::string tvrobject_base::to_string() {
    return tvr_join("<", script_type_name(), ">");
}

tvrptr_strong<tvrobject_base> tvrobject_base::op_assign_operator() {
    return tvrptr_strong<tvrobject_base>(this);
}

tvrvar_shared tvrobject_base::op_get_member(std::string_view name) {
    const int64_t place = get_vtable_index_for(name);
    if (place >= 0) return vtable_var_call_get(place);
    tvrvar_shared result = tvrvar_shared::make();
    if (tvr_function_def* function = metadata->find_function(name)) {
        result->as_function(function, this);
    } else {
        no_member(*this, name);
    }
    return result;
}

tvrvar_shared tvrobject_base::op_get_member(int64_t index) {
    no_element(*this, index);
    return tvrvar_shared::make();
}

tvrvar_shared tvrobject_base::op_get_member(tvrvar_shared key) {
    if (key->type == tvrvar_type_int) return op_get_member(key->integer);
    return op_get_member(std::string_view(key->string_value()));
}

void tvrobject_base::op_set_member(std::string_view name, tvrvar_shared value) {
    const int64_t place = get_vtable_index_for(name);
    if (place < 0) return no_member(*this, name);
    if (!vtable_var_call_set(place, value)) {
        runtime_error("Member '", name, "' of '", script_type_name(), "' cannot be written.");
    }
}

void tvrobject_base::op_set_member(int64_t index, tvrvar_shared) {
    no_element(*this, index);
}

void tvrobject_base::op_set_member(tvrvar_shared key, tvrvar_shared value) {
    if (key->type == tvrvar_type_int) return op_set_member(key->integer, std::move(value));
    op_set_member(std::string_view(key->string_value()), std::move(value));
}

bool tvrobject_base::op_has_member(std::string_view name) {
    return get_vtable_index_for(name) >= 0 || metadata->find_function(name) != nullptr;
}

bool tvrobject_base::op_has_member(int64_t) {
    return false;
}

bool tvrobject_base::op_has_member(tvrvar_shared& key) {
    if (key->type == tvrvar_type_int) return op_has_member(key->integer);
    return op_has_member(std::string_view(key->string_value()));
}

bool tvrobject_base::op_get_member_index(tvrvar& result, uint64_t index) {
    if (!op_has_member(int64_t(index))) return false;
    result.set(*op_get_member(int64_t(index)));
    return true;
}

bool tvrobject_base::op_get_member_index(tvrvar& result, std::string_view name) {
    if (!op_has_member(name)) return false;
    result.set(*op_get_member(name));
    return true;
}

void* tvrobject_base::query_interface(tvr_type_id) {
    return nullptr;
}

bool tvrobject_base::is_instance_of(tvr_type_id type) const {
    return type == tvr_typeid<tvrobject_base>();
}

int64_t tvrobject_base::get_vtable_index_for(std::string_view name) const {
    return metadata->find_member(name);
}

tvrvar_shared tvrobject_base::vtable_var_call_get(int64_t index) {
    const tvrobject_member_def_base* member = metadata->member_at(index);
    return member != nullptr ? member->call_get_cb(*this) : tvrvar_shared::make();
}

bool tvrobject_base::vtable_var_call_set(int64_t index, tvrvar_shared& value) {
    const tvrobject_member_def_base* member = metadata->member_at(index);
    return member != nullptr && member->call_set_cb(*this, value);
}
