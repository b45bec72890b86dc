// Calls of every kind, and what is known of their arguments at compile time.

#include <algorithm>

#include "frontend/builder/builder.h"
#include "runtime/object/function_def.h"

using node_type = tvr_ast_node_type;

namespace {

constexpr auto no_default = tvr_program_block_routine::no_defaults;

uint32_t find_param(const tvr_program_block_routine& routine, std::string_view name) {
    for (uint32_t i = 0; i < routine.num_params; ++i) {
        if (routine.variables.name_at(i) == name) return i;
    }
    return no_default;
}

}  // namespace

// The callee is on top, and nothing is known of it.
bool tvr_asm_builder::compile_call(const call_node& node) {
    std::vector<uint32_t> places;
    const token name = node.callee->start;
    return plan_arguments(node, nullptr, name, places) && emit_call(node, places);
}

bool tvr_asm_builder::emit_call(const call_node& node, const std::vector<uint32_t>& places) {
    emit_byte(tvr_op_call_init, uint8_t(places.size()), node.start);
    for (size_t i = 0; i < places.size(); ++i) {
        const tvr_ast_node& value = *node.params[i]->value;
        if (!compile_pushed(value)) return false;
        emit_index(tvr_op_call_setparam, places[i], value.start);
        emit_pop(value.start);
    }
    emit(tvr_op_call, node.start);
    return true;
}

// A function of this program, or an instance of one of its classes.
bool tvr_asm_builder::compile_known_call(const call_node& node, const found& callee, token name) {
    const tvr_program_block_routine without_params;  // of a class without a constructor
    const tvr_program_block_routine* known = nullptr;
    switch (callee.record->is) {
    case tvr_declared_name::kind::interface:
        return refuse(name, "'", name->text(), "' is an interface, it cannot be instantiated.");
    case tvr_declared_name::kind::class_def:
        known = callee.record->class_def()->constructor.get();
        if (known == nullptr) known = &without_params;
        break;
    default: known = callee.record->routine();
    }
    std::vector<uint32_t> places;
    return plan_arguments(node, known, name, places) && emit_declared(callee, name) &&
           emit_call(node, places);
}

bool tvr_asm_builder::compile_native_call(const call_node& node, tvr_function_def& function,
                                          token name) {
    if (node.has_names()) return refuse(name, "Cannot resolve function call.");
    const size_t count = node.params.size();
    if (count > tvr_max_call_args || count > function.max_params)
        return refuse(name, "Too many arguments for function ", name->text());
    if (count < function.min_params)
        return refuse(name, "Not enough arguments for function ", name->text());
    emit_index(tvr_op_push_ext_stack, uint32_t(count), node.start);
    for (size_t i = 0; i < count; ++i) {
        const tvr_ast_node& value = *node.params[i]->value;
        if (!compile_pushed(value)) return false;
        emit_index(tvr_op_set_ext_stack, uint32_t(i), value.start);
        emit_pop(value.start);
    }
    emit(tvr_instruction_draft(tvr_op_call_ext).field(8, &function), name);
    return true;
}

// A method or member of the class, called by its bare name.
bool tvr_asm_builder::compile_this_call(const call_node& node, token name) {
    emit(tvr_op_call_class_return_this, name);
    return compile_method_call(node, name, true);
}

bool tvr_asm_builder::compile_method_call(const call_node& node, token name, bool on_this) {
    const tvr_program_block_class::method_info* method =
        on_this ? here->of_class->find_method(name->text(), 0) : nullptr;
    // Derived classes may take other arguments, so their number is left to the call.
    const tvr_program_block_routine* named =
        method != nullptr && node.has_names() ? method->routine.get() : nullptr;
    if (!begin_call_method(node, named, name)) return false;
    end_call_method(node, name->text(), 0, here->of_class, name);
    return true;
}

// super.method(...)
bool tvr_asm_builder::compile_super_call(chain& links) {
    const token super = links.value->start;
    if (!here->has_this)
        return refuse(super, "'super' can only be used inside methods of a class.");
    if (!links.next_is_method())
        return refuse(super,
                      "'super' can only be used to call a base class method: "
                      "super.method(...)");
    const token name = links.next()->as<tvr_ast_node_json_literal>().name;
    links.links.pop_back();
    const auto& call = links.next()->as<call_node>();
    links.links.pop_back();
    const tvr_program_block_class& own = *here->of_class;
    const auto* method = own.find_method(name->text(), 1);
    if (method == nullptr)
        return refuse(name, "No base class of '", own.name, "' defines a method '", name->text(),
                      "'.");
    if (method->is_abstract)
        return refuse(name, "Base class method '", name->text(),
                      "' is abstract and has no implementation to call.");
    emit(tvr_op_call_class_return_this, super);
    const tvr_program_block_routine* routine = method->routine.get();
    if (!begin_call_method(call, routine, name)) return false;
    const auto* from = static_cast<const tvr_program_block_class*>(routine->parent.get());
    end_call_method(call, name->text(), tvr_method_super, from, name);
    return true;
}

// The arguments of a method call, in the order of the parameters, behind the receiver on top.
bool tvr_asm_builder::begin_call_method(const call_node& node,
                                        const tvr_program_block_routine* known, token name) {
    std::vector<uint32_t> places;
    if (!plan_arguments(node, known, name, places)) return false;
    std::vector<const tvr_ast_node*> ordered(places.size(), nullptr);
    for (size_t i = 0; i < places.size(); ++i) {
        // A call of a method has no gaps.
        if (places[i] >= places.size()) return refuse(name, "Cannot resolve function call.");
        ordered[places[i]] = node.params[i]->value;
    }
    for (const tvr_ast_node* value : ordered) {
        if (!compile_pushed(*value)) return false;
    }
    return true;
}

void tvr_asm_builder::end_call_method(const call_node& node, std::string_view name, uint8_t flags,
                                      const tvr_program_block_class* from, token at) {
    emit(tvr_instruction_draft(tvr_op_call_method)
             .field(1, uint8_t(node.params.size()))
             .field(2, flags)
             .field(8, root->local_string_index(name))
             .field(12, here->block->num_member_caches++)
             .field(16, from),
         at);
}

// Which parameter each argument is for. Checks their number where the function is known.
bool tvr_asm_builder::plan_arguments(const call_node& node, const tvr_program_block_routine* known,
                                     token name, std::vector<uint32_t>& places) {
    if (node.params.size() > tvr_max_call_args)
        return refuse(name, "Too many arguments for function ", name->text());
    bool named = false;
    for (const tvr_ast_node_function_call_param* param : node.params) {
        if (param->name == nullptr) {
            if (named) return refuse(param->start, "cannot place positional argument here.");
            places.push_back(uint32_t(places.size()));
            continue;
        }
        named = true;
        if (!place_named_argument(*param, known, places)) return false;
    }
    return known == nullptr || check_argument_count(*known, places, name);
}

bool tvr_asm_builder::place_named_argument(const tvr_ast_node_function_call_param& param,
                                           const tvr_program_block_routine* known,
                                           std::vector<uint32_t>& places) {
    if (known == nullptr) return refuse(param.name, "Cannot resolve function call.");
    const uint32_t place = find_param(*known, param.name->text());
    if (place == no_default)
        return refuse(param.name, "The function has no parameter '", param.name->text(), "'.");
    if (std::find(places.begin(), places.end(), place) != places.end())
        return refuse(param.name, "Parameter '", param.name->text(), "' is given twice.");
    places.push_back(place);
    return true;
}

bool tvr_asm_builder::check_argument_count(const tvr_program_block_routine& known,
                                           const std::vector<uint32_t>& places, token name) {
    if (places.size() > known.num_params)
        return refuse(name, "Too many arguments for function ", name->text());
    for (uint32_t i = 0; i < known.num_params; ++i) {
        if (known.default_blocks[i] == no_default &&
            std::find(places.begin(), places.end(), i) == places.end())
            return refuse(name, "Not enough arguments for function ", name->text());
    }
    return true;
}
