// Members and elements: a.name, a[i], with the inline caches of their sites.

#include "runtime/vm/access.h"
#include "frontend/program/program_block.h"
#include "runtime/local/error_sink.h"
#include "runtime/object/class_instance.h"
#include "runtime/payload/std_buffer.h"
#include "runtime/payload/std_json.h"
#include "runtime/payload/std_string.h"
#include "runtime/task/task.h"
#include "runtime/value/plain_value.h"
#include "runtime/value/records.h"
#include "runtime/vm/cells.h"
#include "runtime/vm/steps.h"

bool tvr_may_see(const tvr_program_block_class* from, const tvr_program_block_class* declaring) {
    return from != nullptr && declaring != nullptr &&
           (from == declaring || from->is_derived_from(*declaring));
}

namespace {

using op = tvr_machine_opcode;

bool wants_handle(const tvr_step& step) {
    return step.op->code == op::op_get_handle || step.op->code == op::op_get_self_handle ||
           step.op->code == op::op_index_handle;
}

// Into register a: the value, or the cell itself where that is wanted.
void answer(const tvr_step& step, tvrvar& found) {
    if (!wants_handle(step)) return tvr_put(step.frame, step.op->a, found);
    ++found.refcount;
    tvr_release_cell(std::exchange(step.cell(step.op->a), &found));
}

// The same for an entry, whose variable is made only where it has to be.
void answer_entry(const tvr_step& step, const tvr_compact_value& found) {
    tvrvar* into = step.cell(step.op->a);
    if (found.is_number_here() && !wants_handle(step) && tvr_is_free_to_write(into)) {
        return found.read_here(*into);
    }
    const tvrvar_shared held = found;
    answer(step, *held);
}

void write_entry(tvr_compact_value& entry, tvrvar& value) {
    if (!entry.is_variable() && entry.write_here(value)) return;
    const tvrvar_shared held = entry;
    held->set(value);
}

void answer_owned(const tvr_step& step, tvrvar_shared found) {
    tvr_put_owned(step.frame, step.op->a, std::move(found));
}

void answer_none(const tvr_step& step) {
    answer_owned(step, tvrvar_shared::make());
}

// The member's cell by the class's table; null, after an error, when it may not be seen.
tvrvar* known_member(tvr_member_site& site, tvr_class& instance, bool& reported) {
    if (site.known_class.control_block() == instance.definition.control_block()) {
        reported = false;
        return instance.members[site.known_slot].get();
    }
    if (site.other_class.control_block() == instance.definition.control_block()) {
        reported = false;
        return instance.members[site.other_slot].get();
    }
    const tvr_program_block_class* definition = instance.definition.get();
    reported = definition == nullptr;
    if (definition == nullptr) {
        runtime_error("Invalid class definition.");
        return nullptr;
    }
    const auto* member = definition->find_class_member(*site.name);
    if (member == nullptr) return nullptr;
    if (member->is_private && !tvr_may_see(site.from, member->declared_in)) {
        reported = true;
        runtime_error("member '", *site.name, "' is private");
        return nullptr;
    }
    site.other_class = std::exchange(site.known_class, instance.definition);
    site.other_slot = std::exchange(site.known_slot, member->slot);
    return instance.get_member(member->slot);
}

// A method as a value, bound to its instance. Null for a name that is none.
tvrvar_shared bound_method(const tvr_step& step, tvr_class& instance, const tvr_member_site& site) {
    const auto* method = instance.definition.get()->find_method(*site.name, 0);
    if (method == nullptr || !method->routine) return {};
    tvrvar_shared made = tvrvar_shared::make();
    made->as_function(method->routine.get(), step.frame.base_task);
    made->function->self = tvrptr_weak<tvr_instance>(&instance);
    return made;
}

void no_member(const tvr_class& instance, const std::string& name) {
    runtime_error("class '", instance.class_name(), "' has no member '", name, "'");
}

void get_of_class(const tvr_step& step, tvr_member_site& site, tvr_class& instance) {
    bool reported = false;
    if (tvrvar* member = known_member(site, instance, reported)) return answer(step, *member);
    if (reported) return answer_none(step);
    if (tvrvar_shared method = bound_method(step, instance, site)) {
        return answer_owned(step, std::move(method));
    }
    const auto& operators = instance.definition.get()->operators;
    if (auto* method = operators[tvr_operator_getitem].get()) {
        const tvrvar_shared name(*site.name);
        tvrvar* const args[] = {name.get()};
        tvr_push_operator(step, *method, instance, args, step.op->a, tvr_result_mode::keep,
                          step.op + 1);
        return;
    }
    if (!site.optional) no_member(instance, *site.name);
    answer_none(step);
}

void get_of_json(const tvr_step& step, const tvr_member_site& site, tvr_std_json& json) {
    if (const tvr_compact_value* found = json.find_entry(*site.name)) {
        return answer_entry(step, *found);
    }
    if (tvr_function_def* method = json.metadata->find_function(*site.name)) {
        tvrvar_shared bound = tvrvar_shared::make();
        bound->as_function(method, &json);
        return answer_owned(step, std::move(bound));
    }
    if (site.optional) return answer_none(step);
    answer_entry(step, json.entry_for(*site.name));
}

void get_of_object(const tvr_step& step, tvr_member_site& site, tvrobject_base& object) {
    const tvrptr_strong<tvrobject_base> held(&object);
    if (site.known_metadata != object.metadata->id) {
        site.known_place = object.get_vtable_index_for(*site.name);
        site.known_metadata = object.metadata->id;
    }
    const std::string_view name = *site.name;
    if (wants_handle(step) && (site.known_place >= 0 || !object.metadata->find_function(name))) {
        tvrvar_shared handle = tvrvar_shared::make();
        if (site.known_place >= 0) {
            handle->as_object_member(&object, site.known_place, true);
        } else {
            handle->as_object_member(&object, name);
        }
        return answer_owned(step, std::move(handle));
    }
    if (site.optional && site.known_place < 0 && !object.op_has_member(name)) {
        return answer_none(step);
    }
    tvrvar_shared found = site.known_place >= 0 ? object.vtable_var_call_get(site.known_place)
                                                : object.op_get_member(name);
    if (!found) return answer_none(step);
    answer(step, *found);
}

void get_of_value(const tvr_step& step, tvr_member_site& site, tvrvar& value) {
    switch (value.type) {
    case tvrvar_type_class:
        if (value.block->object == nullptr) break;
        return get_of_class(step, site, *static_cast<tvr_class*>(value.block->object));
    case tvrvar_type_json:
        return get_of_json(step, site, *static_cast<tvr_std_json*>(value.block->object));
    case tvrvar_type_none:
        if (site.optional) return answer_none(step);
        return get_of_json(step, site, value.as_json(true));
    case tvrvar_type_string:
    case tvrvar_type_binary:
    case tvrvar_type_object:
        if (tvrobject_base* object = value.object_ptr()) {
            return get_of_object(step, site, *object);
        }
        runtime_error("invalid object pointer!");
        return answer_none(step);
    default: break;
    }
    if (value.type == tvrvar_type_class) {
        runtime_error("class not valid.");
    } else {
        runtime_error("type '", tvrvar_type_name(value.type), "' has no member '", *site.name, "'");
    }
    answer_none(step);
}

void set_of_class(const tvr_step& step, tvr_member_site& site, tvr_class& instance, tvrvar& value) {
    bool reported = false;
    if (tvrvar* member = known_member(site, instance, reported)) return member->set(value);
    if (reported) return;
    if (auto* method = instance.definition.get()->operators[tvr_operator_setitem].get()) {
        const tvrvar_shared name(*site.name);
        tvrvar* const args[] = {name.get(), &value};
        tvr_push_operator(step, *method, instance, args, 0, tvr_result_mode::discard, step.op + 1);
        return;
    }
    no_member(instance, *site.name);
}

void set_of_object(tvr_member_site& site, tvrobject_base& object, tvrvar& value) {
    const tvrvar_shared handle = tvrvar_shared::make();
    if (site.known_metadata != object.metadata->id) {
        site.known_place = object.get_vtable_index_for(*site.name);
        site.known_metadata = object.metadata->id;
    }
    if (site.known_place >= 0) {
        handle->as_object_member(&object, site.known_place, true);
    } else {
        handle->as_object_member(&object, std::string_view(*site.name));
    }
    handle->set(value);
}

void set_of_value(const tvr_step& step, tvr_member_site& site, tvrvar& target, tvrvar& value) {
    switch (target.type) {
    case tvrvar_type_class:
        if (target.block->object == nullptr) return runtime_error("class not valid.");
        return set_of_class(step, site, *static_cast<tvr_class*>(target.block->object), value);
    case tvrvar_type_object:
        if (tvrobject_base* object = target.object_ptr()) {
            return set_of_object(site, *object, value);
        }
        return runtime_error("invalid object pointer!");
    case tvrvar_type_none:
    case tvrvar_type_int:
    case tvrvar_type_float:
    case tvrvar_type_string:
    case tvrvar_type_json: {
        return write_entry(target.as_json(false).entry_for(*site.name), value);
    }
    default:
        runtime_error("type '", tvrvar_type_name(target.type), "' has no member '", *site.name,
                      "'");
    }
}

}  // namespace

void tvr_step_get(const tvr_step& step) {
    tvr_member_site& site = step.frame.machine->member_sites[size_t(step.op->c)];
    if (step.op->code == op::op_get_self || step.op->code == op::op_get_self_handle) {
        if (tvr_class* self = step.frame.self.get()) return get_of_class(step, site, *self);
        runtime_error("class not valid.");
        return answer_none(step);
    }
    const int from = step.op->b;
    {
        const tvrvar_shared object = step.cell(from)->deref();  // its cell may be the result's
        get_of_value(step, site, *object);
    }
    if (from != step.op->a && !site.keep) step.drop(from);
}

void tvr_step_set(const tvr_step& step) {
    tvr_member_site& site = step.frame.machine->member_sites[size_t(step.op->c)];
    const int from = step.op->b;
    if (step.op->code == op::op_set_self) {
        if (tvr_class* self = step.frame.self.get()) {
            set_of_class(step, site, *self, *step.cell(from));
        } else {
            runtime_error("class not valid.");
        }
    } else {
        const tvrvar_shared target = step.cell(step.op->a)->deref();
        set_of_value(step, site, *target, *step.cell(from));
        if (!site.keep) step.drop(step.op->a);
    }
    step.drop(from);
}

namespace {

void element_handle(const tvr_step& step, tvrvar& container, tvrvar_shared& key) {
    tvrvar_shared handle = tvrvar_shared::make();
    handle->as_object_member(container.object_ptr(), key);
    answer_owned(step, std::move(handle));
}

// Of a class instance: the operator, else the member of that name.
void index_class(const tvr_step& step, tvrvar& container, tvrvar& key) {
    if (auto* method = tvr_operator_of(container, tvr_operator_getitem)) {
        tvrvar* const args[] = {&key};
        tvr_push_operator(step, *method, *static_cast<tvr_class*>(container.block->object), args,
                          step.op->a, tvr_result_mode::keep, step.op + 1);
        return;
    }
    const tvrvar_shared found = container.get_member(key.string_value());
    answer(step, *found);
}

void index_value(const tvr_step& step, tvrvar& container, tvrvar_shared& key) {
    switch (container.type) {
    case tvrvar_type_class: return index_class(step, container, *key);
    case tvrvar_type_none: container.as_json(true); break;
    case tvrvar_type_object:
    case tvrvar_type_binary:
        if (!wants_handle(step) || container.object_ptr() == nullptr) break;
        return element_handle(step, container, key);
    default: break;
    }
    const tvrvar_shared found = container.get_member(key);
    answer(step, *found);
}

bool has_element(tvrvar& container, tvrvar_shared& key) {
    if (container.type == tvrvar_type_none) return false;
    tvrobject_base* object = container.object_ptr();
    if (object == nullptr) return true;  // what has no elements says so
    if (key->type != tvrvar_type_int) return object->op_has_member(key);
    const int64_t size = object->op_get_size();
    const int64_t place = key->integer < 0 ? key->integer + size : key->integer;
    return (place >= 0 && place < size) || object->op_has_member(key->integer);
}

void index_optional(const tvr_step& step, tvrvar& container, tvrvar_shared& key) {
    if (container.type == tvrvar_type_class) {
        auto* instance = static_cast<tvr_class*>(container.block->object);
        const bool asks = tvr_operator_of(container, tvr_operator_getitem) != nullptr;
        if (instance != nullptr && !asks && !instance->has_member(key->string_value())) {
            return answer_none(step);
        }
    } else if (!has_element(container, key)) {
        return answer_none(step);
    }
    index_value(step, container, key);
}

// In what no variable holds, nobody would see it: there only the checks are made, on a copy.
void set_character(tvrvar& text, bool is_place, tvrvar_shared& key, tvrvar& value) {
    tvrvar_shared changed = is_place ? tvrvar_shared(&text) : tvrvar_shared(text.string_view());
    tvrobject_base& object = *changed->object_ptr();
    const tvrvar_shared given = value.deref();
    if (key->is_number()) return object.op_set_member(key->int_value(), given);
    object.op_set_member(key->string_view(), given);
}

void set_index_value(const tvr_step& step, tvrvar& container, tvrvar_shared& key, tvrvar& value) {
    if (auto* method = tvr_operator_of(container, tvr_operator_setitem)) {
        tvrvar* const args[] = {key.get(), &value};
        tvr_push_operator(step, *method, *static_cast<tvr_class*>(container.block->object), args, 0,
                          tvr_result_mode::discard, step.op + 1);
        return;
    }
    if (container.type == tvrvar_type_none) container.as_json(true);
    if (container.type == tvrvar_type_object || container.type == tvrvar_type_binary) {
        const tvrvar_shared handle = tvrvar_shared::make();
        handle->as_object_member(container.object_ptr(), key);
        return handle->set(value);
    }
    if (container.type == tvrvar_type_string) {
        return set_character(container, step.op->code == op::op_set_index, key, value);
    }
    const tvrvar_shared element = container.get_member(key);
    if (!step.task.error_pending) element->set(value);
}

// The json and the text of json["key"]; null for anything else.
tvr_std_json* keyed_json(const tvrvar& container, const tvrvar& key) {
    if (container.type != tvrvar_type_json || key.type != tvrvar_type_string) return nullptr;
    return static_cast<tvr_std_json*>(container.block->object);
}
const std::string& key_text(const tvrvar& key) {
    return static_cast<const tvr_std_string*>(key.block->object)->text;
}

// json["key"]. False for anything else.
bool index_by_text(const tvr_step& step) {
    const tvrvar& key = *step.cell(step.op->c);
    tvr_std_json* json = keyed_json(*step.cell(step.op->b), key);
    if (json == nullptr) return false;
    const bool optional = step.op->code == op::op_index_optional;
    const tvr_compact_value* found =
        optional ? json->find_entry(key_text(key)) : &json->entry_for(key_text(key));
    if (found == nullptr) {
        answer_none(step);
    } else {
        answer_entry(step, *found);
    }
    return true;
}

// json["key"] = value. False for anything else.
bool set_by_text(const tvr_step& step) {
    const tvrvar& key = *step.cell(step.op->b);
    tvr_std_json* json = keyed_json(*step.cell(step.op->a), key);
    if (json == nullptr) return false;
    write_entry(json->entry_for(key_text(key)), *step.cell(step.op->c));
    return true;
}

}  // namespace

void tvr_step_index(const tvr_step& step) {
    const int container = step.op->b, index = step.op->c, into = step.op->a;
    if (!index_by_text(step)) {
        const tvrvar_shared value = step.cell(container)->deref();
        tvrvar_shared key = step.cell(index)->deref();
        if (step.op->code == op::op_index_optional) {
            index_optional(step, *value, key);
        } else {
            index_value(step, *value, key);
        }
    }
    if (container != into && step.op->code != op::op_index_keep) step.drop(container);
    if (index != into && step.op->code != op::op_index_keep) step.drop(index);
}

void tvr_step_set_index(const tvr_step& step) {
    if (!set_by_text(step)) {
        const tvrvar_shared value = step.cell(step.op->a)->deref();
        tvrvar_shared key = step.cell(step.op->b)->deref();
        set_index_value(step, *value, key, *step.cell(step.op->c));
    }
    step.drop(step.op->a);
    step.drop(step.op->b);
    step.drop(step.op->c);
}
