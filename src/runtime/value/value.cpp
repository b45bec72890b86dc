#include "runtime/value/value.h"

#include "runtime/local/error_sink.h"
#include "runtime/log/log.h"
#include "runtime/object/object.h"
#include "runtime/value/compact_value.h"
#include "runtime/value/payload_pools.h"
#include "runtime/value/records.h"

namespace {

// Member handles that answer with member handles; past this many it is a ring.
constexpr int max_handle_hops = 1024;

void warn_of_ring() {
    runtime_warning("Circular reference detected in deref().");
}

}  // namespace

bool tvr_pool_arrived(tvrvar& variable) {
    variable.as_none();
    variable.flags = 0;
    variable.refcount = 0;
    if (variable.slot != tvr_not_pooled) [[likely]]
        return true;
    delete &variable;
    return false;
}

tvrvar* tvrvar_new() {
    return tvr_pool_take<tvrvar>();
}

void tvr_compact_value::make_variable() const {
    tvrvar* made = tvrvar_new();
    made->refcount = 1;
    read_here(*made);
    word = std::bit_cast<uint64_t>(made);
}

namespace {

// A variable that another thread lets go of travels home with all that it holds: the counts of
// its payload are the interpreter's, and only there they may be touched. The pool of variables
// exists by then, since every interpreter makes it when it begins.
[[gnu::noinline]] void free_out_of_the_ordinary(tvrvar* variable) {
    if (variable->refcount < 0) return tvr_log().err("refcount < 0 !!!");
    const tvr_thread_local& local = tvr_local();
    if (local.pools == nullptr) {
        tvr_pool_arrived(*variable);  // a pooled one leaks: its pool is gone or unknown
        return;
    }
    const bool pooled = variable->slot != tvr_not_pooled;
    if (!local.is_script_thread() && (pooled || !variable->is_primitive())) {
        return local.pools->of<tvrvar>().deallocate_from_thread(variable);
    }
    if (tvr_pool_arrived(*variable)) local.pools->of<tvrvar>().deallocate(variable);
}

}  // namespace

void tvrvar_free(tvrvar* variable) {
    const tvr_thread_local& local = tvr_local();
    const bool plain = variable->refcount == 0 && variable->slot != tvr_not_pooled;
    if (!plain || local.pools == nullptr || !local.is_script_thread()) [[unlikely]]
        return free_out_of_the_ordinary(variable);
    variable->as_none();
    variable->flags = 0;
    variable->refcount = 0;  // what the payload's end did to it
    local.pools->of<tvrvar>().deallocate(variable);
}

void tvr_end_function(tvrvar_ptr_function* function) {
    constexpr uint32_t most_nested = 128;
    tvr_thread_local& local = tvr_local();
    if (local.functions_ending >= most_nested) {
        function->next_ending = std::exchange(local.functions_ending_later, function);
        return;
    }
    ++local.functions_ending;
    tvr_pool_give(function);
    while (local.functions_ending == 1 && local.functions_ending_later != nullptr) {
        tvrvar_ptr_function* put_off = local.functions_ending_later;
        local.functions_ending_later = put_off->next_ending;
        tvr_pool_give(put_off);
    }
    --local.functions_ending;
}

void tvrvar::release_payload() {
    tvrvar old;
    std::swap(old.type, type);
    std::swap(old.integer, integer);
    no_ref = 0;
    switch (old.type) {
    case tvrvar_type_string:
    case tvrvar_type_binary:
    case tvrvar_type_json:
    case tvrvar_type_object:
    case tvrvar_type_class: return old.block->drop_strong();
    case tvrvar_type_class_def: return old.block->drop_weak();
    case tvrvar_type_function:
        if (--old.function->owners == 0) tvr_end_function(old.function);
        return;
    case tvrvar_type_ext_function: return tvr_pool_give(old.ext_function);
    case tvrvar_type_member_literal: return tvr_pool_give(old.member_literal);
    case tvrvar_type_member_index: return tvr_pool_give(old.member_index);
    case tvrvar_type_member_var: return tvr_pool_give(old.member_var);
    case tvrvar_type_ref: return release_chain(old.target);
    default: return;
    }
}

// One after the other, so that a chain of any length needs no stack.
void tvrvar::release_chain(tvrvar* target) {
    while (target != nullptr && --target->refcount < 1) {
        tvrvar* next = nullptr;
        if (target->is_ref() && target->refcount == 0) {
            next = std::exchange(target->target, nullptr);
            target->type = tvrvar_type_none;
        }
        tvrvar_free(target);
        target = next;
    }
}

void tvrvar::take(tvrvar& from) {
    tvrvar old;
    old.type = std::exchange(type, from.type);
    old.integer = std::exchange(integer, from.integer);
    no_ref = 0;
    from.type = tvrvar_type_none;
    from.integer = 0;
    if (!old.is_primitive()) old.release_payload();
}

tvrvar* tvrvar::end_of_refs() {
    tvrvar* slow = this;
    tvrvar* fast = this;
    while (true) {
        for (int step = 0; step < 2; ++step) {
            if (!fast->is_ref() || fast->target == nullptr) return fast;
            fast = fast->target;
        }
        slow = slow->target;
        if (slow != fast) continue;
        warn_of_ring();
        return nullptr;
    }
}

tvrvar_shared tvrvar::deref() {
    if (is_plain()) return tvrvar_shared(this);
    tvrvar* end = end_of_refs();
    if (end == nullptr) return tvrvar_shared::make();
    tvrvar_shared value(end);
    for (int hops = 0; value->is_member_handle(); ++hops) {
        if (hops == max_handle_hops) {
            warn_of_ring();
            return tvrvar_shared::make();
        }
        value = value->read_member();
        if (!value->is_ref()) continue;
        end = value->end_of_refs();
        value = end != nullptr ? tvrvar_shared(end) : tvrvar_shared::make();
    }
    return value;
}

void tvrvar::ref_to(tvrvar* to) {
    if (to == nullptr) return as_none();
    if ((to->no_ref & no_ref_copies) != 0 && !is_member_handle()) {
        const tvrvar_shared value = to->deref();
        if (value.get() == this) return;
        if (is_ref()) as_none();
        return set(*value);
    }
    tvrvar made;
    made.type = tvrvar_type_ref;
    made.target = to;
    ++to->refcount;
    take(made);
}

void tvrvar::ref_to(tvrvar_shared& to) {
    ref_to(to.get());
}
