// Assignment: numbers, strings and buffers are copied, everything else is shared.

#include "runtime/local/error_sink.h"
#include "runtime/payload/std_buffer.h"
#include "runtime/payload/std_string.h"
#include "runtime/value/payload_pools.h"
#include "runtime/value/plain_value.h"
#include "runtime/value/records.h"
#include "runtime/value/value.h"

namespace {

void share(tvrvar& target, tvrvar& source) {
    source.block->add_strong();
    tvrvar made;
    made.type = source.type;
    made.block = source.block;
    target.take(made);
}

void copy_primitive(tvrvar& target, const tvrvar& source) {
    tvrvar made;
    made.type = source.type;
    made.integer = source.integer;
    target.take(made);
}

void copy_binary(tvrvar& target, tvrvar& source) {
    auto& from = *static_cast<tvr_std_buffer*>(source.block->object);
    if (!from.readable()) return;
    if (target.type == tvrvar_type_binary) {
        auto& into = *static_cast<tvr_std_buffer*>(target.block->object);
        if (!into.writable() || &into == &from) return;
        if (target.block->strong == 1) {
            into.bytes = from.bytes;
            return;
        }
    }
    target.as_binary({reinterpret_cast<const char*>(from.bytes.data()), from.bytes.size()});
}

void copy_object(tvrvar& target, tvrvar& source) {
    auto* object = source.object_ptr();
    if (object == nullptr || (source.flags & tvrvar::flag_shares_object) != 0) {
        return share(target, source);
    }
    const tvrptr_strong<tvrobject_base> kept(object);
    target.as_object(object->op_assign_operator().get());
}

void copy_class_def(tvrvar& target, const tvrvar& source) {
    source.block->add_weak();
    tvrvar made;
    made.type = tvrvar_type_class_def;
    made.block = source.block;
    target.take(made);
}

// A function without a scope of its own closes over that of whoever takes it.
void copy_function(tvrvar& target, const tvrvar& source) {
    tvrvar made;
    made.type = tvrvar_type_function;
    if (source.function->task.control_block()->holds_object()) {
        made.function = source.function;
        ++made.function->owners;
        return target.take(made);
    }
    made.function = tvr_pool_take<tvrvar_ptr_function>();
    made.function->routine = source.function->routine;
    made.function->self = source.function->self;
    for (const tvr_compact_value& each : source.function->captures) {
        made.function->captures.emplace_back(tvrvar_shared(each));
    }
    tvrptr_control_block* root = tvr_local().root_task;
    if (root != nullptr) made.function->task.acquire(root);
    target.take(made);
}

void copy_ext_function(tvrvar& target, const tvrvar& source) {
    tvrvar made;
    made.type = tvrvar_type_ext_function;
    made.ext_function = tvr_pool_take<tvrvar_ptr_ext_function>();
    made.ext_function->definition = source.ext_function->definition;
    made.ext_function->object = source.ext_function->object;
    target.take(made);
}

// Both are plain.
void copy(tvrvar& target, tvrvar& source) {
    switch (source.type) {
    case tvrvar_type_error:
    case tvrvar_type_none:
    case tvrvar_type_int:
    case tvrvar_type_float: return copy_primitive(target, source);
    case tvrvar_type_string: return target.as_string(source.string_view());
    case tvrvar_type_binary: return copy_binary(target, source);
    case tvrvar_type_json:
    case tvrvar_type_class: return share(target, source);
    case tvrvar_type_object: return copy_object(target, source);
    case tvrvar_type_class_def: return copy_class_def(target, source);
    case tvrvar_type_function: return copy_function(target, source);
    case tvrvar_type_ext_function: return copy_ext_function(target, source);
    default: runtime_warning("set() not implemented for var type: ", source.type);
    }
}

}  // namespace

void tvrvar::set(tvrvar_shared& source) {
    if (source) set(*source);
}

void tvrvar::set(tvrvar& source) {
    if (&source == this) return;
    if (is_primitive() && source.is_primitive()) {
        type = source.type;
        integer = source.integer;
        return;
    }
    if (!is_plain()) return set_through(source);
    const tvr_plain_value from(source);
    if (from.get() != this) copy(*this, *from);
}

// This is a reference or a member handle; its target takes the value.
void tvrvar::set_through(tvrvar& source) {
    const tvr_plain_value from(source);
    tvrvar* end = end_of_refs();
    if (end == nullptr || end == from.get()) return;
    if (end->is_member_handle()) return end->write_member(*from);
    if (end->is_ref()) end->as_none();  // leads nowhere
    const tvrvar_shared kept(end);      // what goes with its old value may hold this reference
    end->set(*from);
}
