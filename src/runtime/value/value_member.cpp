// Members and elements, and the handles that stand for a member of a native object.

#include "runtime/local/error_sink.h"
#include "runtime/payload/std_json.h"
#include "runtime/value/instance.h"
#include "runtime/value/plain_value.h"
#include "runtime/value/records.h"
#include "runtime/value/value.h"

namespace {

template <typename NAME>
tvrvar_shared no_member(const tvrvar& value, const NAME& name) {
    runtime_error("Type '", tvrvar_type_name(value.type), "' has no member '", name, "'.");
    return tvrvar_shared::make();
}

tvrvar_shared dead_object(std::string_view what, std::string_view name) {
    runtime_error("Tried to access ", what, " '", name, "' on an invalid object.");
    return tvrvar_shared::make();
}

// The object that a value asks for its members; null for types that have none.
bool asks_object(const tvrvar& value) {
    return value.type >= tvrvar_type_string && value.type <= tvrvar_type_object;
}

tvr_instance* instance_of(const tvrvar& value) {
    return value.type == tvrvar_type_class ? static_cast<tvr_instance*>(value.block->object)
                                           : nullptr;
}

tvrvar_shared or_none(tvrvar_shared answer) {
    return answer ? std::move(answer) : tvrvar_shared::make();
}

}  // namespace

tvrvar_shared tvrvar::get_member(std::string_view name) {
    const tvr_plain_value value(*this);
    if (tvr_instance* instance = instance_of(*value)) return or_none(instance->get_member(name));
    if (!asks_object(*value)) return no_member(*value, name);
    const tvrptr_strong<tvrobject_base> object(value->object_ptr());
    if (!object) return dead_object("member", name);
    return or_none(object->op_get_member(name));
}

tvrvar_shared tvrvar::get_member(int64_t index) {
    const tvr_plain_value value(*this);
    if (!asks_object(*value)) return no_member(*value, index);
    const tvrptr_strong<tvrobject_base> object(value->object_ptr());
    if (!object) return dead_object("index", std::to_string(index));
    return or_none(object->op_get_member(index));
}

tvrvar_shared tvrvar::get_member(tvrvar_shared& key) {
    const tvrvar_shared plain = key ? key->deref() : tvrvar_shared::make();
    const tvr_plain_value value(*this);
    if (value->type == tvrvar_type_object && value->object_valid()) {
        const tvrptr_strong<tvrobject_base> object(value->object_ptr());
        return or_none(object->op_get_member(plain));
    }
    if (plain->type == tvrvar_type_int) return value->get_member(plain->integer);
    std::string scratch;
    return value->get_member(plain->text_view(scratch));
}

bool tvrvar::has_member(std::string_view name) {
    const tvr_plain_value value(*this);
    if (tvr_instance* instance = instance_of(*value)) return instance->has_member(name);
    tvrobject_base* object = value->object_ptr();
    return object != nullptr && object->op_has_member(name);
}

void tvrvar::push_back(tvrvar_shared element) {
    const tvr_plain_value value(*this);
    if (value->type != tvrvar_type_json) {
        return runtime_error("Cannot append to a value of type ", tvrvar_type_name(value->type),
                             ", only to a json.");
    }
    value->as_json(false).push_back(element);
}

tvrvar_shared tvrvar::read_member() {
    switch (type) {
    case tvrvar_type_member_literal: {
        const tvrptr_strong<tvrobject_base> object = member_literal->object;
        const std::string kept = member_literal->name;
        const std::string_view name = kept;
        return object ? or_none(object->op_get_member(name)) : dead_object("member", name);
    }
    case tvrvar_type_member_index: {
        const tvrptr_strong<tvrobject_base> object = member_index->object;
        const int64_t index = member_index->index;
        if (!object) return dead_object("index", std::to_string(index));
        return or_none(member_index->vtable ? object->vtable_var_call_get(index)
                                            : object->op_get_member(index));
    }
    default: {
        const tvrptr_strong<tvrobject_base> object = member_var->object;
        const tvrvar_shared key = member_var->key;
        return object ? or_none(object->op_get_member(key))
                      : dead_object("member", key->string_value());
    }
    }
}

// The object gets a variable of its own, which it may keep.
void tvrvar::write_member(tvrvar& source) {
    tvrvar_shared value = tvrvar_shared::make();
    value->set(source);
    const tvrptr_strong<tvrobject_base> object = handle_object();
    if (!object) return runtime_warning("Cannot set object member, doesnt exist anymore!");
    switch (type) {
    case tvrvar_type_member_literal: {
        const std::string name = member_literal->name;
        return object->op_set_member(std::string_view(name), std::move(value));
    }
    case tvrvar_type_member_index: {
        const int64_t index = member_index->index;
        if (!member_index->vtable) return object->op_set_member(index, std::move(value));
        if (!object->vtable_var_call_set(index, value)) {
            runtime_error("A member of '", object->script_type_name(), "' cannot be written.");
        }
        return;
    }
    default: return object->op_set_member(member_var->key, std::move(value));
    }
}

tvrptr_strong<tvrobject_base> tvrvar::handle_object() const {
    switch (type) {
    case tvrvar_type_member_literal: return member_literal->object;
    case tvrvar_type_member_index: return member_index->object;
    default: return member_var->object;
    }
}

// Asked before a truth test, which takes a missing member for "no" instead of raising an error.
bool tvrvar::member_exists() const {
    const tvrptr_strong<tvrobject_base> object = handle_object();
    if (!object) return false;
    if (type == tvrvar_type_member_literal)
        return object->op_has_member(std::string_view(member_literal->name));
    const bool named = type == tvrvar_type_member_var && member_var->key->type != tvrvar_type_int;
    return !named || object->op_has_member(std::string_view(member_var->key->string_value()));
}
