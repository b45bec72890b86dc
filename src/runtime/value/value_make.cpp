// Turning a variable into a type. What is new is complete before the old payload goes, since the
// old one may own what the new one is made from.

#include "runtime/payload/std_buffer.h"
#include "runtime/payload/std_json.h"
#include "runtime/payload/std_string.h"
#include "runtime/value/instance.h"
#include "runtime/value/payload_pools.h"
#include "runtime/value/records.h"
#include "runtime/value/value.h"

namespace {

tvrptr_control_block* block_of(tvrptr_base_internal* object) {
    return object != nullptr ? object->__tvr_get_or_create_control_block()
                             : tvrptr_control_block::null_block();
}

// `held` with a strong count on an object, null for a dead one.
void hold(tvrvar& held, TVRVAR_TYPE type, tvrptr_base_internal* object) {
    tvrptr_control_block* block = block_of(object);
    if (!block->holds_object()) block = tvrptr_control_block::null_block();
    block->add_strong();
    held.type = type;
    held.block = block;
}

template <typename T>
T& replace_by_new(tvrvar& variable, TVRVAR_TYPE type, T* payload) {
    tvrvar made;
    hold(made, type, payload);
    variable.take(made);
    return *payload;
}

bool has_own(const tvrvar& variable, TVRVAR_TYPE type) {
    return variable.type == type && variable.block->strong == 1;
}

// Lets `fill` write the record that the variable has, or a new one of its type.
template <typename T, typename FILL>
void write_record(tvrvar& variable, TVRVAR_TYPE type, T* tvrvar::*place, FILL fill) {
    if (variable.type == type) return fill(*(variable.*place));
    tvrvar made;
    made.type = type;
    made.*place = tvr_pool_take<T>();
    fill(*(made.*place));
    variable.take(made);
}

}  // namespace

void tvrvar::as_string(std::string_view text) {
    if (has_own(*this, tvrvar_type_string)) {
        static_cast<tvr_std_string*>(block->object)->text.assign(text);
        return;
    }
    auto* payload = tvr_pool_take<tvr_std_string>();
    payload->text.assign(text);
    replace_by_new(*this, tvrvar_type_string, payload);
}

void tvrvar::as_string(std::string&& text) {
    if (has_own(*this, tvrvar_type_string)) {
        static_cast<tvr_std_string*>(block->object)->text = std::move(text);
        return;
    }
    auto* payload = tvr_pool_take<tvr_std_string>();
    payload->text = std::move(text);
    replace_by_new(*this, tvrvar_type_string, payload);
}

void tvrvar::as_binary(std::string_view bytes) {
    auto* payload = tvr_pool_take<tvr_std_buffer>();
    payload->bytes.assign(bytes.begin(), bytes.end());
    replace_by_new(*this, tvrvar_type_binary, payload);
}

tvr_std_buffer& tvrvar::as_binary() {
    if (type == tvrvar_type_binary) return *static_cast<tvr_std_buffer*>(block->object);
    return replace_by_new(*this, tvrvar_type_binary, tvr_pool_take<tvr_std_buffer>());
}

tvr_std_json& tvrvar::as_json(bool clear) {
    if (type != tvrvar_type_json) {
        return replace_by_new(*this, tvrvar_type_json, tvr_pool_take<tvr_std_json>());
    }
    auto* payload = static_cast<tvr_std_json*>(block->object);
    if (clear) payload->clear();
    return *payload;
}

tvr_std_json* tvrvar::as_json_ptr(bool clear) {
    return &as_json(clear);
}

void tvrvar::as_object(tvrobject_base* object) {
    if (object == nullptr) return as_none();
    replace_by_new(*this, tvrvar_type_object, object);
}

void tvrvar::as_class(tvr_instance* instance) {
    replace_by_new(*this, tvrvar_type_class, instance);
}

void tvrvar::as_class_def(tvrptr_base_internal* definition) {
    tvrptr_control_block* defined = block_of(definition);
    defined->add_weak();
    tvrvar made;
    made.type = tvrvar_type_class_def;
    made.block = defined;
    take(made);
}

void tvrvar::as_function(tvrptr_base_internal* routine, tvrptr_base_internal* task) {
    tvrvar made;
    made.type = tvrvar_type_function;
    made.function = tvr_pool_take<tvrvar_ptr_function>();
    made.function->routine.acquire(block_of(routine));
    made.function->task.acquire(block_of(task));
    take(made);
}

void tvrvar::as_function(tvr_function_def* def, tvrobject_base* object) {
    write_record(*this, tvrvar_type_ext_function, &tvrvar::ext_function, [&](auto& record) {
        record.definition.acquire(def);
        record.object.acquire(object);
    });
}

void tvrvar::as_object_member(tvrobject_base* object, std::string_view name) {
    write_record(*this, tvrvar_type_member_literal, &tvrvar::member_literal, [&](auto& record) {
        record.name.assign(name);
        record.object.acquire(object);
    });
}

void tvrvar::as_object_member(tvrobject_base* object, int64_t index, bool vtable) {
    write_record(*this, tvrvar_type_member_index, &tvrvar::member_index, [&](auto& record) {
        record.index = index;
        record.vtable = vtable;
        record.object.acquire(object);
    });
}

void tvrvar::as_object_member(tvrobject_base* object, tvrvar_shared& key) {
    const tvrvar_shared plain = key ? key->deref() : tvrvar_shared::make();
    write_record(*this, tvrvar_type_member_var, &tvrvar::member_var, [&](auto& record) {
        record.key = plain;
        record.object.acquire(object);
    });
}
