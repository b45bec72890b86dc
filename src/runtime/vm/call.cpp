// Calls: of script functions, native functions, methods and classes; and the way back.

#include <exception>
#include <new>

#include "frontend/program/program_block.h"
#include "runtime/local/error_sink.h"
#include "runtime/memory/reserve.h"
#include "runtime/object/class_instance.h"
#include "runtime/payload/std_json.h"
#include "runtime/script/script.h"
#include "runtime/task/task.h"
#include "runtime/value/payload_pools.h"
#include "runtime/value/plain_value.h"
#include "runtime/value/records.h"
#include "runtime/vm/access.h"
#include "runtime/vm/cells.h"
#include "runtime/vm/push.h"
#include "runtime/vm/steps.h"

namespace {

using op = tvr_machine_opcode;

tvr_call_site& site_of(const tvr_step& step) {
    return step.frame.machine->call_sites[size_t(step.op->c)];
}

}  // namespace

void tvr_pass_argument(const tvr_step& step, tvr_vm_context& callee, int reg, size_t param) {
    tvrvar*& target = callee.cells[param];
    tvrvar*& source = step.cell(reg);
    const bool temporary = step.frame.machine->is_temporary(reg);
    if (callee.machine->by_reference[param] != 0) {
        target->ref_to(source);
    } else if (source->is_primitive()) {
        target->set(*source);
    } else if (temporary && source->is_ref()) {
        target->ref_to(source->target);
    } else if (temporary && source->is_plain() && source->refcount == 1 &&
               source->type != tvrvar_type_object && tvr_owns_text(*source)) {
        return std::swap(target, source);
    } else {
        target->set(*source);
    }
    if (temporary) step.drop(reg);
}

namespace {

void pass_arguments(const tvr_step& step, tvr_vm_context& callee, const tvr_call_site& site) {
    for (size_t i = 0; i < site.operands.size(); ++i) {
        const size_t param = site.params.empty() ? i : site.params[i];
        tvr_pass_argument(step, callee, site.operands[i], param);
    }
    callee.args_given = site.given;
    callee.num_args = uint32_t(site.operands.size());
}

// What a call runs.
struct script_call {
    tvr_program_block_routine* routine;
    tvr_task* base;
    tvr_class* self = nullptr;
    const tvrvar_ptr_function* lambda = nullptr;  // whose captures the call finds
    tvr_result_mode mode = tvr_result_mode::keep;
};

void drop_arguments(const tvr_step& step, const tvr_call_site& site) {
    for (const int16_t reg : site.operands) step.drop(reg);
}

// A call that came to nothing: what it was given goes.
void abandon(const tvr_step& step, const tvr_call_site& site) {
    drop_arguments(step, site);
    step.frame.making.release();
}

void call_script(const tvr_step& step, const tvr_call_site& site, const script_call& call) {
    if (!tvr_check_arguments(*call.routine, site.operands.size())) return abandon(step, site);
    tvr_vm_context* callee =
        tvr_push_frame(step.task, *call.routine, *call.base, step.frame.depth + site.nesting + 1);
    if (callee == nullptr) return abandon(step, site);
    if (call.self != nullptr) callee->set_self(call.self);
    pass_arguments(step, *callee, site);
    if (call.lambda != nullptr) tvr_set_captures(*callee, *call.lambda);
    callee->result_cell = step.op->a;
    callee->result_mode = step.op->a == tvr_no_register && call.mode == tvr_result_mode::keep
                              ? tvr_result_mode::discard
                              : call.mode;
    step.frame.next = step.op + 1;
}

// An exception of the function becomes a runtime error of this name.
tvrvar_shared run_native(tvr_function_def& def, tvrobject_base* object, tvr_vm_context& frame,
                         tvr_native_args& args) {
    try {
        return def.callback(object, frame, args);
    } catch (const std::bad_alloc&) {
        tvr_give_up_reserve();
        runtime_error(def.name, ": out of memory");
    } catch (const std::exception& failure) {
        runtime_error(def.name, ": ", failure.what());
    } catch (...) {
        runtime_error(def.name, ": unknown native exception");
    }
    return {};
}

void call_native(const tvr_step& step, const tvr_call_site& site, tvr_function_def& def,
                 tvrobject_base* object) {
    const size_t count = site.operands.size();
    if (count < def.min_params ||
        (def.max_params != tvr_function_def::any_number && count > def.max_params)) {
        runtime_error("invalid parameter count ", count, " min: ", def.min_params,
                      " max: ", def.max_params);
        return abandon(step, site);
    }
    tvr_frame_store& store = step.task.script.frames;
    tvr_native_args* args = store.take_args();
    for (const int16_t reg : site.operands) args->push_back(step.cell(reg)->deref());
    const tvrptr_strong<tvrobject_base> bound(object);
    tvrvar_shared result = run_native(def, object, step.frame, *args);
    store.give_args(args);
    drop_arguments(step, site);
    if (step.task.suspending) {
        step.frame.holds_more = true;
        step.frame.resuming = true;
        step.frame.resume_cell = step.op->a;
        return;
    }
    tvr_put_owned(step.frame, step.op->a, std::move(result));
}

// Without members yet. Until they are there, its end runs no destructor.
tvrptr_strong<tvr_class> new_instance(tvr_program_block_class& definition, tvr_task& scope,
                                      size_t num_members) {
    tvrptr_strong<tvr_class> made(tvr_pool_take<tvr_class>());
    made->start(definition, scope);
    made->destructors_ran = true;
    made->members.reserve(num_members);
    return made;
}

// What a template says of one member.
tvrvar_shared first_value(const tvr_machine_code& body, int32_t of) {
    tvrvar_shared cell = tvrvar_shared::make();
    if (of >= 0) cell->set(*body.constants[size_t(of)]);
    if (of == tvr_machine_code::json_at_start) cell->as_json(true);
    return cell;
}

// Has the instance made in frame.making, or pushes the class's body, which does.
void make_instance(const tvr_step& step, const tvr_call_site& site,
                   tvr_program_block_class& definition) {
    tvr_task& base = *step.frame.base_task;
    tvr_machine_code* body = tvr_code_of(definition);
    if (body == nullptr) return abandon(step, site);
    if (body->has_template) {
        step.frame.making = tvr_make_by_template(definition, base);
        step.frame.holds_more = true;
        return;
    }
    tvr_vm_context* callee =
        tvr_push_frame(step.task, definition, base, step.frame.depth + site.nesting + 1);
    if (callee == nullptr) return abandon(step, site);
    callee->result_mode = tvr_result_mode::discard;
    step.frame.next = step.op;  // the same operation again, with the instance
}

void construct(const tvr_step& step, const tvr_call_site& site,
               tvr_program_block_class& definition) {
    const tvrptr_strong<tvr_class> made = std::exchange(step.frame.making, {});
    if (tvr_program_block_routine* constructor = definition.constructor.get()) {
        return call_script(step, site,
                           {.routine = constructor,
                            .base = step.frame.base_task,
                            .self = made.get(),
                            .mode = tvr_result_mode::drop});
    }
    if (!tvr_check_no_arguments(site.operands.size())) return abandon(step, site);
    tvrvar_shared value = tvrvar_shared::make();
    value->as_class(made.get());
    tvr_put_owned(step.frame, step.op->a, std::move(value));
}

void call_class(const tvr_step& step, const tvr_call_site& site,
                tvr_program_block_class& definition) {
    if (!tvr_check_class(definition)) return abandon(step, site);
    if (!step.frame.making) make_instance(step, site, definition);
    if (step.frame.making) construct(step, site, definition);
}

void call_function(const tvr_step& step, const tvr_call_site& site, tvrvar_ptr_function& function) {
    const tvrptr_strong<tvr_program_block_routine> routine = function.routine.lock();
    if (!routine) {
        runtime_error("not a function!");
        return abandon(step, site);
    }
    const tvrptr_strong<tvr_task> scope = function.task.lock();
    const tvrptr_strong<tvr_instance> self = function.self.lock();
    const tvr_function_hold hold(function);
    call_script(step, site,
                {.routine = routine.get(),
                 .base = scope ? scope.get() : step.frame.base_task,
                 .self = static_cast<tvr_class*>(self.get()),
                 .lambda = &function});
}

void call_value(const tvr_step& step, const tvr_call_site& site, tvrvar& callee) {
    switch (callee.type) {
    case tvrvar_type_function: return call_function(step, site, *callee.function);
    case tvrvar_type_class_def:
        if (auto* definition = static_cast<tvr_program_block_class*>(
                callee.block->holds_object() ? callee.block->object : nullptr)) {
            const tvrptr_strong<tvr_program_block_class> held(definition);
            return call_class(step, site, *definition);
        }
        break;
    case tvrvar_type_ext_function:
        if (tvr_function_def* def = callee.ext_function->definition.get()) {
            const tvrptr_strong<tvrobject_base> object = callee.ext_function->object;
            return call_native(step, site, *def, object.get());
        }
        break;
    default: break;
    }
    runtime_error("not a function!");
    abandon(step, site);
}

bool is_callable(const tvrvar& value) {
    return value.type == tvrvar_type_function || value.type == tvrvar_type_ext_function ||
           value.type == tvrvar_type_class_def;
}

void no_method(const tvr_step& step, const tvr_call_site& site, std::string_view class_name) {
    runtime_error("class '", class_name, "' has no member '", *site.name, "'");
    abandon(step, site);
}

// A member that holds a function.
void call_member(const tvr_step& step, const tvr_call_site& site, tvr_class& instance) {
    const tvr_program_block_class& definition = *instance.definition.get();
    const auto* member = definition.find_class_member(*site.name);
    if (member == nullptr) return no_method(step, site, instance.class_name());
    if (member->is_private && !tvr_may_see(site.from, member->declared_in)) {
        runtime_error("member '", *site.name, "' is private");
        return abandon(step, site);
    }
    const tvrvar_shared value = instance.get_member(member->slot)->deref();
    call_value(step, site, *value);
}

struct found_method {
    const tvr_program_block_class::method_info* method = nullptr;
    const tvr_program_block_class* declaring = nullptr;
};

found_method find_method(const tvr_program_block_class& definition, const std::string& name) {
    for (const auto& level : definition.levels) {
        for (const auto& method : level.methods) {
            if (method.name == name) return {&method, level.definition.get()};
        }
    }
    return {};
}

void call_instance(const tvr_step& step, tvr_call_site& site, tvr_class& instance) {
    const tvr_program_block_class* definition = instance.definition.get();
    if (definition == nullptr) {
        runtime_error("Invalid class definition.");
        return abandon(step, site);
    }
    const bool known = site.known_class.control_block() == instance.definition.control_block();
    if (!known) {
        const found_method found = find_method(*definition, *site.name);
        if (found.method == nullptr || !found.method->routine) {
            return call_member(step, site, instance);
        }
        if (found.method->is_private && !tvr_may_see(site.from, found.declaring)) {
            runtime_error("member '", *site.name, "' is private");
            return abandon(step, site);
        }
        site.known_class = instance.definition;
        site.known_routine = found.method->routine.get();
    }
    call_script(step, site,
                {.routine = site.known_routine, .base = instance.scope, .self = &instance});
}

void call_object(const tvr_step& step, tvr_call_site& site, tvrobject_base& object) {
    if (site.known_metadata != object.metadata) {
        site.known_native = object.metadata->find_function(*site.name);
        site.known_metadata = object.metadata;
    }
    if (site.known_native != nullptr) return call_native(step, site, *site.known_native, &object);
    const tvrptr_strong<tvrobject_base> held(&object);
    const tvrvar_shared member = object.op_get_member(std::string_view(*site.name));
    if (step.task.error_pending || !member) return abandon(step, site);
    const tvrvar_shared value = member->deref();
    call_value(step, site, *value);
}

// Whether a method may change a string or buffer: not where it is a constant, or what a function
// has given back out of a variable of its own.
bool may_change(const tvr_call_site& site, const tvrvar& receiver) {
    const bool is_sole = receiver.refcount == 1 && receiver.block->strong == 1;
    return site.of_place || is_sole || (receiver.flags & tvrvar::flag_receiver) != 0;
}

// Of what may not change, a copy changes. The result is marked: the next method in the row changes
// the same variable.
void call_changing(const tvr_step& step, const tvr_call_site& site, tvrvar& receiver) {
    tvrvar_shared copy;
    if (!may_change(site, receiver)) {
        copy = tvrvar_shared::make();
        copy->set(receiver);
        if (copy->is_none()) return abandon(step, site);  // kernels hold the bytes
    }
    tvrobject_base* object = (copy ? *copy : receiver).object_ptr();
    call_native(step, site, *site.known_native, object);
    const int into = step.op->a;
    if (into == tvr_no_register || !step.frame.machine->is_temporary(into)) return;
    tvrvar& result = *step.cell(into);
    if (result.type == receiver.type && result.payload_object() == object) {
        result.flags |= tvrvar::flag_receiver;
    }
}

void call_text_or_bytes(const tvr_step& step, tvr_call_site& site, tvrvar& receiver) {
    tvrobject_base& object = *receiver.object_ptr();
    if (site.known_metadata != object.metadata) {
        site.known_native = object.metadata->find_function(*site.name);
        site.known_metadata = object.metadata;
    }
    if (site.known_native != nullptr && site.known_native->changes_receiver) {
        return call_changing(step, site, receiver);
    }
    call_object(step, site, object);
}

// An entry that can be called comes before the method of that name.
void call_json(const tvr_step& step, tvr_call_site& site, tvr_std_json& json) {
    if (tvrvar* entry = json.find(*site.name)) {
        const tvrvar_shared value = entry->deref();
        if (is_callable(*value)) return call_value(step, site, *value);
    }
    if (site.known_metadata != json.metadata &&
        json.metadata->find_function(*site.name) == nullptr) {
        runtime_error("'", json.script_type_name(), "' does not have member '", *site.name, "'!");
        return abandon(step, site);
    }
    call_object(step, site, json);
}

void call_of_value(const tvr_step& step, tvr_call_site& site, tvrvar& value) {
    switch (value.type) {
    case tvrvar_type_none: return call_json(step, site, value.as_json(true));
    case tvrvar_type_json:
        return call_json(step, site, *static_cast<tvr_std_json*>(value.block->object));
    case tvrvar_type_class:
        if (value.block->object == nullptr) break;
        return call_instance(step, site, *static_cast<tvr_class*>(value.block->object));
    case tvrvar_type_string:
    case tvrvar_type_binary: return call_text_or_bytes(step, site, value);
    case tvrvar_type_object:
        if (tvrobject_base* object = value.object_ptr()) return call_object(step, site, *object);
        runtime_error("invalid object pointer!");
        return abandon(step, site);
    default: break;
    }
    if (value.type == tvrvar_type_class) {
        runtime_error("class not valid.");
    } else {
        runtime_error("type '", tvrvar_type_name(value.type), "' has no member '", *site.name, "'");
    }
    abandon(step, site);
}

void call_super(const tvr_step& step, tvr_call_site& site) {
    tvr_class* self = step.frame.self.get();
    if (self == nullptr) {
        runtime_error("class not valid.");
        return abandon(step, site);
    }
    if (site.known_routine == nullptr) {
        const auto* method = site.from->find_method(*site.name, 0);
        site.known_routine = method != nullptr ? method->routine.get() : nullptr;
    }
    if (site.known_routine == nullptr) return no_method(step, site, site.from->name);
    call_script(step, site, {.routine = site.known_routine, .base = self->scope, .self = self});
}

}  // namespace

tvrptr_strong<tvr_class> tvr_make_by_template(tvr_program_block_class& definition, tvr_task& base) {
    const tvr_machine_code& body = *definition.machine;
    tvrptr_strong<tvr_class> made = new_instance(definition, base, body.member_template.size());
    for (const int32_t of : body.member_template) made->members.push_back(first_value(body, of));
    made->destructors_ran = false;
    return made;
}

void tvr_step_call(const tvr_step& step) {
    tvr_call_site& site = site_of(step);
    const int reg = step.op->b;
    {
        const tvrvar_shared callee = step.cell(reg)->deref();
        call_value(step, site, *callee);
    }
    // While its instance is being made, the class is read again.
    const bool again = step.task.top != &step.frame && step.frame.next == step.op;
    if (reg != step.op->a && !again) step.drop(reg);
}

void tvr_step_call_known(const tvr_step& step) {
    tvr_call_site& site = site_of(step);
    call_script(step, site, {.routine = site.routine, .base = step.frame.base_task});
}

void tvr_step_call_class(const tvr_step& step) {
    tvr_call_site& site = site_of(step);
    call_class(step, site, *site.definition);
}

void tvr_step_call_native(const tvr_step& step) {
    tvr_call_site& site = site_of(step);
    call_native(step, site, *site.native, nullptr);
}

void tvr_step_call_method(const tvr_step& step) {
    tvr_call_site& site = site_of(step);
    if (step.op->code == op::op_call_super) return call_super(step, site);
    if (step.op->code == op::op_call_self) {
        tvr_class* self = step.frame.self.get();
        if (self != nullptr) return call_instance(step, site, *self);
        runtime_error("class not valid.");
        return abandon(step, site);
    }
    const int reg = step.op->b;
    const tvrvar_shared receiver = step.cell(reg)->deref();
    // Before a frame is pushed, which may take what the receiver's register is used for.
    if (step.frame.machine->is_temporary(reg)) step.drop(reg);
    call_of_value(step, site, *receiver);
}

// The members are the body's own cells; the frame gets others.
void tvr_step_make_instance(const tvr_step& step) {
    auto& definition = static_cast<tvr_program_block_class&>(*step.frame.machine->routine);
    const size_t count = definition.variables.size();
    const tvrptr_strong<tvr_class> made = new_instance(definition, *step.frame.base_task, count);
    for (size_t i = 0; i < count; ++i) {
        made->members.emplace_back(step.frame.cells[i]);
        tvr_release_cell(std::exchange(step.frame.cells[i], tvr_new_cell()));
    }
    made->destructors_ran = false;
    tvr_vm_context* caller = step.frame.caller;
    if (caller != nullptr) {
        caller->making = made;
        caller->holds_more = true;
    }
    tvr_step_give(step.task, step.frame, tvr_no_register);
    if (caller == nullptr) step.task.result->as_class(made.get());
}

tvr_program_block_routine* tvr_operator_of(const tvrvar& value, tvr_operator which) {
    if (value.type != tvrvar_type_class || value.block->object == nullptr) return nullptr;
    const auto* definition = static_cast<tvr_class*>(value.block->object)->definition.get();
    return definition != nullptr ? definition->operators[which].get() : nullptr;
}

bool tvr_push_operator(const tvr_step& step, tvr_program_block_routine& method, tvr_class& self,
                       std::span<tvrvar* const> args, int result, tvr_result_mode mode,
                       const tvr_machine_op* after) {
    tvr_vm_context* callee = tvr_push_frame(step.task, method, *self.scope, step.frame.depth + 1);
    if (callee == nullptr) return false;
    callee->set_self(&self);
    for (size_t i = 0; i < args.size() && i < method.num_params; ++i) {
        if (callee->machine->by_reference[i] != 0) {
            callee->cells[i]->ref_to(args[i]);
        } else {
            callee->cells[i]->set(*args[i]);
        }
    }
    callee->num_args = uint32_t(args.size());
    callee->args_given = (uint64_t(1) << args.size()) - 1;
    callee->result_cell = int16_t(result);
    callee->result_mode = mode;
    step.frame.next = after;
    return true;
}

namespace {

// Into the caller's register, taking the callee's cell where nobody else looks at it.
void give_value(tvr_vm_context& caller, tvr_vm_context& callee, int reg) {
    const int into = callee.result_cell;
    tvrvar*& value = callee.cells[reg];
    const bool own = reg >= 0 && value->refcount == 1 && value->is_plain();
    if (own && caller.machine->is_temporary(into)) return std::swap(caller.cells[into], value);
    if (own && value->type == tvrvar_type_string && tvr_owns_text(*value) &&
        caller.cells[into]->is_plain()) {
        return caller.cells[into]->take(*value);
    }
    const bool reference = callee.machine->is_temporary(reg) && value->is_ref();
    if (reference && caller.machine->is_temporary(into)) {
        return std::swap(caller.cells[into], value);
    }
    tvr_put(caller, into, *value);
}

void give_self(tvr_vm_context& caller, tvr_vm_context& constructor) {
    const int reg = constructor.result_cell;
    if (reg == tvr_no_register) return;
    tvrvar* into = caller.cells[reg];
    if (caller.machine->is_temporary(reg) && tvr_is_free_to_write(into)) {
        into->block = constructor.self.control_block();
        into->block->add_strong();
        into->type = tvrvar_type_class;
        into->flags = 0;
        return;
    }
    tvrvar_shared value = tvrvar_shared::make();
    value->as_class(constructor.self.get());
    tvr_put_owned(caller, constructor.result_cell, std::move(value));
}

void give_to_caller(tvr_vm_context& caller, tvr_vm_context& frame, int reg) {
    switch (frame.result_mode) {
    case tvr_result_mode::keep:
        if (reg != tvr_no_register) return give_value(caller, frame, reg);
        return tvr_put_owned(caller, frame.result_cell, tvrvar_shared::make());
    case tvr_result_mode::truth:
    case tvr_result_mode::no_truth: {
        const bool zero = reg == tvr_no_register || frame.cells[reg]->compare_zero();
        const bool truth = zero == (frame.result_mode == tvr_result_mode::no_truth);
        tvr_result_cell(caller, frame.result_cell)->as_int(truth ? 1 : 0);
        return;
    }
    case tvr_result_mode::drop: return give_self(caller, frame);
    default: return;
    }
}

}  // namespace

void tvr_step_give(tvr_task& task, tvr_vm_context& frame, int reg) {
    tvr_vm_context* caller = frame.caller;
    task.top = caller;
    if (caller != nullptr) {
        give_to_caller(*caller, frame, reg);
    } else {
        task.result = reg != tvr_no_register ? frame.cells[reg]->deref() : tvrvar_shared::make();
        if (&frame == task.root_frame) return;  // its variables are the globals
    }
    frame.machine->give_frame(frame);
}
