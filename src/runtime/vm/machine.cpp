// The loop. Each handler does the common case in a few instructions and leaves everything else to
// a step (steps.h).

#include "runtime/vm/machine.h"

#include "frontend/program/program_block.h"
#include "runtime/local/signals.h"
#include "runtime/object/class_instance.h"
#include "runtime/payload/std_json.h"
#include "runtime/script/script.h"
#include "runtime/task/task.h"
#include "runtime/value/arithmetic.h"
#include "runtime/value/records.h"
#include "runtime/vm/attention.h"
#include "runtime/vm/cells.h"
#include "runtime/vm/short_calls.h"
#include "runtime/vm/steps.h"

namespace {

using op_code = tvr_machine_opcode;

bool both_int(const tvrvar* a, const tvrvar* b) {
    return a->type == tvrvar_type_int && b->type == tvrvar_type_int;
}
bool both_float(const tvrvar* a, const tvrvar* b) {
    return a->type == tvrvar_type_float && b->type == tvrvar_type_float;
}
double as_double(const tvrvar* a) {
    return a->type == tvrvar_type_int ? double(a->integer) : a->real;
}
void write_int(tvrvar* into, int64_t value) {
    into->type = tvrvar_type_int;
    into->integer = value;
}
void write_float(tvrvar* into, double value) {
    into->type = tvrvar_type_float;
    into->real = value;
}

// A number's value into a cell that is free to write; false for anything else.
bool copy_number(tvrvar* into, const tvrvar* from) {
    if (!from->is_number() || !tvr_is_free_to_write(into)) return false;
    into->type = from->type;
    into->integer = from->integer;
    return true;
}

// A number's value, or a share in what the value has elsewhere, into a temporary that is free to
// write. A temporary may share a text, since nobody changes it there (tvr_owns_text()).
bool share_value(const tvr_vm_context& frame, int reg, const tvrvar* from) {
    tvrvar* into = frame.cells[reg];
    if (!tvr_is_free_to_write(into)) return false;
    if (from->is_number()) {
        into->type = from->type;
        into->integer = from->integer;
        return true;
    }
    const bool shared = from->type == tvrvar_type_string || from->type == tvrvar_type_json ||
                        from->type == tvrvar_type_class;
    if (!shared || !frame.machine->is_temporary(reg)) return false;
    from->block->add_strong();
    into->type = from->type;
    into->block = from->block;
    return true;
}

// The same for a member of an instance in a temporary, which goes with its reading.
bool take_member(const tvr_vm_context& frame, const tvr_machine_op* op,
                 const tvr_member_site& site) {
    tvrvar* object = frame.cells[op->b];
    if (object->refcount != 1 || object->type != tvrvar_type_class) return false;
    const auto* instance = static_cast<const tvr_class*>(object->block->object);
    if (instance == nullptr ||
        site.known_class.control_block() != instance->definition.control_block()) {
        return false;
    }
    const tvrvar* member = instance->members[site.known_slot].get();
    tvrptr_control_block* going = object->block;
    const uint8_t type = std::exchange(object->type, tvrvar_type_none);
    if (share_value(frame, op->a, member)) {
        going->drop_strong();
        return true;
    }
    object->type = type;
    return false;
}

// A json's element by int; null where that takes more thought.
tvr_compact_value* plain_element(const tvrvar* container, const tvrvar* index) {
    if (container->type != tvrvar_type_json || index->type != tvrvar_type_int) return nullptr;
    auto& entries = static_cast<tvr_std_json*>(container->block->object)->entries;
    if (uint64_t(index->integer) >= entries.size()) return nullptr;
    return &entries[size_t(index->integer)].value;
}

// An element that is a number, into a cell that is free to write.
bool copy_number(tvrvar* into, const tvr_compact_value& from) {
    if (from.is_int()) [[likely]] {
        if (!tvr_is_free_to_write(into)) return false;
        write_int(into, from.int_here());
        return true;
    }
    if (from.is_variable()) return copy_number(into, from.variable());
    if (!from.is_number_here() || !tvr_is_free_to_write(into)) return false;
    from.read_here(*into);
    return true;
}

// A number over an element that is a number or none.
bool copy_number(tvr_compact_value& into, const tvrvar* from) {
    if (into.is_variable()) return copy_number(into.variable(), from);
    return from->is_number() && into.write_here(*from);
}

// The member's cell where the site knows the class.
tvrvar* known_member(const tvr_member_site& site, const tvr_class* instance) {
    if (instance == nullptr) return nullptr;
    const tvrptr_control_block* definition = instance->definition.control_block();
    if (site.known_class.control_block() == definition) [[likely]]
        return instance->members[site.known_slot].get();
    if (site.other_class.control_block() == definition)
        return instance->members[site.other_slot].get();
    return nullptr;
}

tvrvar* known_member(const tvr_member_site& site, const tvrvar* value) {
    if (value->type != tvrvar_type_class) return nullptr;
    return known_member(site, static_cast<const tvr_class*>(value->block->object));
}

// list.push(x) as a statement.
bool push_to_list(const tvr_call_site& site, tvr_vm_context& frame, const tvr_machine_op* op) {
    const tvrvar* list = frame.cells[op->b];
    if (list->type != tvrvar_type_json || site.known_native == nullptr ||
        site.known_native->intrinsic != tvr_intrinsic::json_push || op->a != tvr_no_register ||
        site.operands.size() != 1 || frame.machine->is_temporary(op->b)) {
        return false;
    }
    auto& json = *static_cast<tvr_std_json*>(list->block->object);
    tvrvar* value = frame.cells[site.operands[0]];
    if (!json.is_list() || !value->is_number() || site.known_metadata != json.metadata) {
        return false;
    }
    tvr_compact_value added;
    if (!added.write_here(*value)) added->set(*value);
    json.add_entry(std::move(added), {});
    return true;
}

// a = container[index] for numbers, and for what can be shared, of a json by position. A temporary
// container goes with its reading.
bool take_element(tvr_vm_context& frame, const tvr_machine_op* op) {
    tvrvar* container = frame.cells[op->b];
    const tvrvar* index = frame.cells[op->c];
    const tvr_compact_value* entry = plain_element(container, index);
    if (entry == nullptr) return false;
    tvrvar here;
    if (!entry->is_variable()) entry->read_here(here);
    tvrvar* element = entry->is_variable() ? entry->variable() : &here;
    const bool is_shared = element->type == tvrvar_type_string ||
                           element->type == tvrvar_type_json || element->type == tvrvar_type_class;
    if (!is_shared && !element->is_number()) return false;
    tvrvar* into = frame.cells[op->a];
    const bool drops = frame.machine->is_temporary(op->b);
    if (!frame.machine->is_temporary(op->a)) {
        if (drops || !into->is_plain()) return false;
        into->set(*element);
        return true;
    }
    if (drops && container->refcount != 1) return false;
    if (into != container && !tvr_is_free_to_write(into)) return false;
    if (into == container && !drops) return false;
    tvrptr_control_block* going = drops ? container->block : nullptr;
    if (is_shared) element->block->add_strong();
    if (drops) container->type = tvrvar_type_none;
    into->type = element->type;
    into->integer = element->integer;
    if (going != nullptr) going->drop_strong();
    return true;
}

}  // namespace

// Jumping to a label whose address is in a table is no part of the standard; gcc and clang have it.
#pragma GCC diagnostic ignored "-Wpedantic"

// NOLINTBEGIN(cppcoreguidelines-avoid-goto,cppcoreguidelines-macro-usage,bugprone-macro-parentheses,readability-function-size)

#define REG(field) row[op->field]
#define NEXT() goto* labels[size_t(op->code)]
#define STEP_ON(words) \
    do {               \
        op += (words); \
        NEXT();        \
    } while (0)
// Behind a step: something may have been raised, another frame may be on top.
#define AFTER_STEP(words)                                                       \
    do {                                                                        \
        if (signals.raised.load(std::memory_order_relaxed) != 0) [[unlikely]] { \
            following = op + (words);                                           \
            goto attention;                                                     \
        }                                                                       \
        if (task.top != frame) goto enter_top;                                  \
        STEP_ON(words);                                                         \
    } while (0)
#define DO_STEP(function)                     \
    do {                                      \
        frame->next = op;                     \
        function(tvr_step{task, *frame, op}); \
        AFTER_STEP(1);                        \
    } while (0)

#define ARITHMETIC(name, int_rule, float_rule)                           \
    at_##name : {                                                        \
        const tvrvar *x = REG(b), *y = REG(c);                           \
        tvrvar* into = REG(a);                                           \
        if (tvr_is_free_to_write(into)) [[likely]] {                     \
            if (both_int(x, y)) [[likely]] {                             \
                write_int(into, int_rule(x->integer, y->integer));       \
                STEP_ON(1);                                              \
            }                                                            \
            if (both_float(x, y)) {                                      \
                write_float(into, x->real float_rule y->real);           \
                STEP_ON(1);                                              \
            }                                                            \
            if (x->is_number() && y->is_number()) {                      \
                write_float(into, as_double(x) float_rule as_double(y)); \
                STEP_ON(1);                                              \
            }                                                            \
        }                                                                \
        DO_STEP(tvr_step_arithmetic);                                    \
    }

#define BITWISE(name, rule)                                 \
    at_##name : {                                           \
        const tvrvar *x = REG(b), *y = REG(c);              \
        tvrvar* into = REG(a);                              \
        if (both_int(x, y) && tvr_is_free_to_write(into)) { \
            write_int(into, x->integer rule y->integer);    \
            STEP_ON(1);                                     \
        }                                                   \
        DO_STEP(tvr_step_arithmetic);                       \
    }

#define COMPARE(name, rule)                                                \
    at_##name : {                                                          \
        const tvrvar *x = REG(b), *y = REG(c);                             \
        tvrvar* into = REG(a);                                             \
        if (tvr_is_free_to_write(into)) {                                  \
            if (both_int(x, y)) {                                          \
                write_int(into, (x->integer rule y->integer) ? 1 : 0);     \
                STEP_ON(1);                                                \
            }                                                              \
            if (x->is_number() && y->is_number()) {                        \
                write_int(into, (as_double(x) rule as_double(y)) ? 1 : 0); \
                STEP_ON(1);                                                \
            }                                                              \
        }                                                                  \
        DO_STEP(tvr_step_compare);                                         \
    }

// Loops end with a jump if true, so it polls.
#define JUMP_BY(condition, wanted)                                                            \
    do {                                                                                      \
        if ((condition) == wanted) {                                                          \
            if (wanted && signals.raised.load(std::memory_order_relaxed) != 0) [[unlikely]] { \
                following = op + 1 + op[1].offset();                                          \
                frame->next = op;                                                             \
                goto attention;                                                               \
            }                                                                                 \
            STEP_ON(1 + op[1].offset());                                                      \
        }                                                                                     \
        STEP_ON(tvr_compare_jump_words);                                                      \
    } while (0)

#define COMPARE_JUMP(name, rule, wanted)                                                       \
    at_##name##_##wanted : {                                                                   \
        const tvrvar *x = REG(a), *y = REG(b);                                                 \
        if (both_int(x, y)) [[likely]]                                                         \
            JUMP_BY(x->integer rule y->integer, wanted);                                       \
        if (x->is_number() && y->is_number()) JUMP_BY(as_double(x) rule as_double(y), wanted); \
        comparison = op_code::op_##name;                                                       \
        jumps_if = wanted;                                                                     \
        goto compare_slowly;                                                                   \
    }

tvr_vm_code tvr_run_frames(tvr_task& task) {
    static const void* const labels[] = {
#define TVR_MACHINE_LABEL(name) &&at_##name,
        TVR_MACHINE_OPS(TVR_MACHINE_LABEL)
#undef TVR_MACHINE_LABEL
    };
    tvr_vm_signals& signals = task.script.signals;
    tvr_thread_local& local = tvr_local();
    tvr_vm_context* frame = nullptr;
    tvrvar** row = nullptr;
    const tvr_machine_op* op = nullptr;
    const tvr_machine_op* following = nullptr;  // where it goes on behind `attention`
    const uint32_t limit =
        task.script.config.max_call_depth != 0 ? task.script.config.max_call_depth : UINT32_MAX;
    op_code comparison = op_code::op_equal;
    bool jumps_if = false;

enter_top:
    frame = task.top;
    if (frame == nullptr) return vm_block_end;
enter_frame:
    local.context = frame;
    row = frame->cells;
    op = frame->next;
    if (signals.raised.load(std::memory_order_relaxed) != 0) [[unlikely]] {
        following = op;
        goto attention;
    }
    NEXT();

attention:
    // An error belongs to the operation that frame->next still is; everything else comes behind it.
    if (!task.error_pending && task.top == frame) frame->next = following;
    {
        // A function is about to begin, or a turn of a loop.
        const bool turns = op->code == op_code::op_loop ||
                           (op->code >= op_code::op_equal_true &&
                            op->code <= op_code::op_more_equal_true && following <= op);
        const bool between = task.top != frame || turns;
        const tvr_vm_code code = tvr_attend(task, between);
        if (code != vm_running) return code;
    }
    frame = task.top;
    if (frame == nullptr) return vm_block_end;
    local.context = frame;
    row = frame->cells;
    op = frame->next;
    NEXT();

    ARITHMETIC(add, tvr_wrap_add, +)
    ARITHMETIC(sub, tvr_wrap_sub, -)
    ARITHMETIC(mult, tvr_wrap_mul, *)

at_div : {
    const tvrvar *x = REG(b), *y = REG(c);
    tvrvar* into = REG(a);
    if (tvr_is_free_to_write(into)) {
        if (both_int(x, y)) {
            if (y->integer != 0) {
                write_int(into, tvr_wrap_div(x->integer, y->integer));
                STEP_ON(1);
            }
        } else if (x->is_number() && y->is_number() && as_double(y) != 0.0) {
            write_float(into, as_double(x) / as_double(y));
            STEP_ON(1);
        }
    }
    DO_STEP(tvr_step_arithmetic);
}

at_mod : {
    const tvrvar *x = REG(b), *y = REG(c);
    tvrvar* into = REG(a);
    if (both_int(x, y) && y->integer != 0 && tvr_is_free_to_write(into)) {
        write_int(into, tvr_wrap_mod(x->integer, y->integer));
        STEP_ON(1);
    }
    DO_STEP(tvr_step_arithmetic);
}

    BITWISE(band, &)
    BITWISE(bor, |)
    BITWISE(bxor, ^)

    COMPARE(equal, ==)
    COMPARE(not_equal, !=)
    COMPARE(less, <)
    COMPARE(less_equal, <=)
    COMPARE(more, >)
    COMPARE(more_equal, >=)

    COMPARE_JUMP(equal, ==, true)
    COMPARE_JUMP(not_equal, !=, true)
    COMPARE_JUMP(less, <, true)
    COMPARE_JUMP(less_equal, <=, true)
    COMPARE_JUMP(more, >, true)
    COMPARE_JUMP(more_equal, >=, true)
    COMPARE_JUMP(equal, ==, false)
    COMPARE_JUMP(not_equal, !=, false)
    COMPARE_JUMP(less, <, false)
    COMPARE_JUMP(less_equal, <=, false)
    COMPARE_JUMP(more, >, false)
    COMPARE_JUMP(more_equal, >=, false)

compare_slowly : {
    frame->next = op;
    const tvr_truth truth = tvr_step_compare_jump({task, *frame, op}, comparison);
    if (truth == tvr_truth::pushed) AFTER_STEP(0);
    const bool jumps = (truth == tvr_truth::yes) == jumps_if;
    const int words = jumps ? 1 + op[1].offset() : tvr_compare_jump_words;
    AFTER_STEP(words);
}

at_minus : {
    const tvrvar* from = REG(b);
    tvrvar* into = REG(a);
    if (from->is_number() && tvr_is_free_to_write(into)) {
        if (from->type == tvrvar_type_int) {
            write_int(into, tvr_wrap_neg(from->integer));
        } else {
            write_float(into, -from->real);
        }
        STEP_ON(1);
    }
    DO_STEP(tvr_step_minus);
}

at_negate : {
    const tvrvar* from = REG(b);
    if (from->type == tvrvar_type_int && tvr_is_free_to_write(REG(a))) {
        write_int(REG(a), from->integer == 0 ? 1 : 0);
        STEP_ON(1);
    }
    DO_STEP(tvr_step_negate);
}
at_truth:
    DO_STEP(tvr_step_negate);
at_bnot:
    DO_STEP(tvr_step_bnot);

at_increment : {
    tvrvar* cell = REG(a);
    if (cell->type == tvrvar_type_int) {
        cell->integer = tvr_wrap_add(cell->integer, 1);
        STEP_ON(1);
    }
    DO_STEP(tvr_step_increment);
}
at_decrement : {
    tvrvar* cell = REG(a);
    if (cell->type == tvrvar_type_int) {
        cell->integer = tvr_wrap_sub(cell->integer, 1);
        STEP_ON(1);
    }
    DO_STEP(tvr_step_increment);
}
at_increment_old:
    DO_STEP(tvr_step_increment);
at_decrement_old:
    DO_STEP(tvr_step_increment);

at_move : {
    tvrvar* into = REG(a);
    const tvrvar* from = REG(b);
    if (from->is_number() && into->is_primitive()) {
        into->type = from->type;
        into->integer = from->integer;
        STEP_ON(1);
    }
    DO_STEP(tvr_step_move);
}
at_load:
    if (copy_number(REG(a), REG(b))) STEP_ON(1);
    DO_STEP(tvr_step_load);
at_none:
    if (tvr_is_free_to_write(REG(a))) {
        REG(a)->type = tvrvar_type_none;
        REG(a)->integer = 0;
        STEP_ON(1);
    }
    frame->next = op;
    tvr_put_owned(*frame, op->a, tvrvar_shared::make());
    AFTER_STEP(1);
at_reference:
    DO_STEP(tvr_step_reference);
at_bind:
    DO_STEP(tvr_step_reference);
at_new_json:
    DO_STEP(tvr_step_new_json);
at_append:
    DO_STEP(tvr_step_append);
at_append_reference:
    DO_STEP(tvr_step_append);
at_bind_object:
    REG(a)->flags |= tvrvar::flag_bound_object;
    STEP_ON(1);

at_clear:
    frame->next = op;
    for (int reg = op->a; reg < op->b; ++reg) tvr_reset_cell(row[reg]);
    AFTER_STEP(1);
at_drop:
    frame->next = op;
    tvr_drop(*frame, op->a);
    AFTER_STEP(1);

at_jump:
    op += op->offset();
    NEXT();
at_loop:
    frame->next = op;
    AFTER_STEP(op->offset());

at_jump_false:
    frame->next = op;  // the test may ask a native object
    if (REG(a)->type == tvrvar_type_int ? REG(a)->integer == 0 : REG(a)->compare_zero()) {
        op += op->offset();
        NEXT();
    }
    STEP_ON(1);
at_jump_true:
    frame->next = op;
    if (REG(a)->type == tvrvar_type_int ? REG(a)->integer != 0 : !REG(a)->compare_zero()) {
        op += op->offset();
        NEXT();
    }
    STEP_ON(1);
at_jump_some:
    if (!REG(a)->is_none_like()) {
        op += op->offset();
        NEXT();
    }
    STEP_ON(1);
at_test_false : {
    const tvrvar* tested = REG(a);
    if (tested->type == tvrvar_type_int) {
        STEP_ON(tested->integer == 0 ? op->offset() : 1);
    }
    frame->next = op;
    AFTER_STEP(tvr_step_test({task, *frame, op}) ? 1 : op->offset());
}
at_test_true : {
    const tvrvar* tested = REG(a);
    if (tested->type == tvrvar_type_int) {
        STEP_ON(tested->integer != 0 ? op->offset() : 1);
    }
    frame->next = op;
    AFTER_STEP(tvr_step_test({task, *frame, op}) ? op->offset() : 1);
}
at_jump_given : {
    const auto param = uint32_t(op->a);
    const bool given = param < 64 ? (frame->args_given >> param & 1) != 0 : param < frame->num_args;
    STEP_ON(given ? op->offset() : 1);
}

at_self : {
    tvr_class* instance = frame->self.get();
    if (instance != nullptr && tvr_is_free_to_write(REG(a)) &&
        frame->machine->is_temporary(op->a)) {
        REG(a)->block = frame->self.control_block();
        REG(a)->block->add_strong();
        REG(a)->type = tvrvar_type_class;
        STEP_ON(1);
    }
    frame->next = op;
    {  // a jump by computed address would pass the destructor by
        tvrvar_shared value = tvrvar_shared::make();
        if (frame->self) {
            value->as_class(frame->self.get());
        } else {
            runtime_error("object not valid.");
        }
        tvr_put_owned(*frame, op->a, std::move(value));
    }
    AFTER_STEP(1);
}

at_get : {
    const tvr_member_site& site = frame->member_sites[op->c];
    const tvrvar* member = known_member(site, REG(b));
    if (member != nullptr && !site.drops && share_value(*frame, op->a, member)) {
        STEP_ON(1);
    }
    if (site.drops && take_member(*frame, op, site)) AFTER_STEP(1);
    DO_STEP(tvr_step_get);
}
at_get_self : {
    const tvr_member_site& site = frame->member_sites[op->c];
    const tvrvar* member = known_member(site, frame->self.get());
    if (member != nullptr && share_value(*frame, op->a, member)) STEP_ON(1);
    DO_STEP(tvr_step_get);
}
at_get_handle:
    DO_STEP(tvr_step_get);
at_get_self_handle:
    DO_STEP(tvr_step_get);

at_set : {
    const tvr_member_site& site = frame->member_sites[op->c];
    tvrvar* member = known_member(site, REG(a));
    if (member != nullptr && !site.drops && copy_number(member, REG(b))) {
        STEP_ON(1);
    }
    DO_STEP(tvr_step_set);
}
at_set_self : {
    const tvr_member_site& site = frame->member_sites[op->c];
    tvrvar* member = known_member(site, frame->self.get());
    if (member != nullptr && copy_number(member, REG(b))) STEP_ON(1);
    DO_STEP(tvr_step_set);
}

at_index : {
    const tvr_compact_value* element = plain_element(REG(b), REG(c));
    if (element != nullptr && op->b < frame->machine->num_variables &&
        copy_number(REG(a), *element)) {
        STEP_ON(1);
    }
    if (take_element(*frame, op)) AFTER_STEP(1);
    DO_STEP(tvr_step_index);
}
at_index_keep : {
    const tvr_compact_value* element = plain_element(REG(b), REG(c));
    if (element != nullptr && copy_number(REG(a), *element)) STEP_ON(1);
    DO_STEP(tvr_step_index);
}
at_index_handle:
    DO_STEP(tvr_step_index);
at_index_optional:
    DO_STEP(tvr_step_index);
at_set_index_value:
    DO_STEP(tvr_step_set_index);
at_set_index : {
    tvr_compact_value* element = plain_element(REG(a), REG(b));
    if (element != nullptr && op->a < frame->machine->num_variables &&
        copy_number(*element, REG(c))) {
        STEP_ON(1);
    }
    DO_STEP(tvr_step_set_index);
}

at_function:
    DO_STEP(tvr_step_function);
at_capture:
    DO_STEP(tvr_step_capture);
at_bind_self:
    DO_STEP(tvr_step_capture);

at_call : {
    const tvr_call_site& site = frame->call_sites[op->c];
    if (tvr_vm_context* callee = tvr_push_value_call(task, *frame, op, site, limit)) {
        frame = callee;
        goto enter_frame;
    }
    DO_STEP(tvr_step_call);
}
at_call_known : {
    const tvr_call_site& site = frame->call_sites[op->c];
    if (tvr_vm_context* callee =
            tvr_push_plain_call(task, *frame, op, site, *site.routine, *frame->base_task, limit)) {
        frame = callee;
        goto enter_frame;
    }
    DO_STEP(tvr_step_call_known);
}
at_call_class : {
    const tvr_call_site& site = frame->call_sites[op->c];
    if (tvr_vm_context* callee = tvr_push_construction(task, *frame, op, site, limit)) {
        frame = callee;
        goto enter_frame;
    }
    DO_STEP(tvr_step_call_class);
}
at_call_native : {
    const tvr_call_site& site = frame->call_sites[op->c];
    if (site.native->intrinsic == tvr_intrinsic::size && site.operands.size() == 1) {
        const tvrvar* measured = row[site.operands[0]];
        if (measured->type == tvrvar_type_json && op->a != tvr_no_register &&
            !frame->machine->is_temporary(site.operands[0]) && tvr_is_free_to_write(REG(a))) {
            auto& json = *static_cast<tvr_std_json*>(measured->block->object);
            write_int(REG(a), int64_t(json.entries.size()));
            STEP_ON(1);
        }
    }
    DO_STEP(tvr_step_call_native);
}
at_call_method : {
    const tvr_call_site& site = frame->call_sites[op->c];
    tvr_class* self = tvr_known_receiver(site, REG(b));
    if (self != nullptr) {
        if (tvr_vm_context* callee = tvr_push_plain_call(
                task, *frame, op, site, *site.known_routine, *self->scope, limit)) {
            callee->set_self(self);
            tvr_drop(*frame, op->b);
            frame = callee;
            goto enter_frame;
        }
    } else {
        frame->next = op;  // where memory may come to its end
        if (push_to_list(site, *frame, op)) STEP_ON(1);
    }
    DO_STEP(tvr_step_call_method);
}
at_call_self : {
    const tvr_call_site& site = frame->call_sites[op->c];
    tvr_class* self = frame->self.get();
    if (self != nullptr && site.known_class.control_block() == self->definition.control_block()) {
        if (tvr_vm_context* callee = tvr_push_plain_call(
                task, *frame, op, site, *site.known_routine, *self->scope, limit)) {
            callee->set_self(self);
            frame = callee;
            goto enter_frame;
        }
    }
    DO_STEP(tvr_step_call_method);
}
at_call_super:
    DO_STEP(tvr_step_call_method);

at_give : {
    // A number for a temporary of the caller.
    tvr_vm_context* caller = frame->caller;
    const tvrvar* value = REG(a);
    if (caller != nullptr && frame->result_mode == tvr_result_mode::keep &&
        copy_number(caller->cells[frame->result_cell], value)) {
        task.top = caller;
        frame->machine->give_plain_frame(*frame);
        frame = caller;
        goto enter_frame;
    }
    frame->next = op;
    tvr_step_give(task, *frame, op->a);
    goto enter_top;
}
at_give_none:
    frame->next = op;
    tvr_step_give(task, *frame, tvr_no_register);
    goto enter_top;
at_make_instance:
    tvr_step_make_instance({task, *frame, op});
    goto enter_top;
at_invalid:
    frame->next = op;
    runtime_error("invalid instruction: ", int(op->a));
    AFTER_STEP(1);
}

// NOLINTEND(cppcoreguidelines-avoid-goto,cppcoreguidelines-macro-usage,bugprone-macro-parentheses,readability-function-size)
