// What a name means where it stands: a variable, a member of the class, a function or class, and
// at last something of a namespace.

#include "frontend/builder/builder.h"
#include "runtime/log/log.h"

namespace {

constexpr uint32_t no_variable = tvr_program_block_symbol_table::none;
constexpr uint32_t most_parents = 255;  // of return_function, in a byte

}  // namespace

tvr_found_name tvr_asm_builder::find_name(std::string_view name) const {
    found what = find_variable(name);
    if (what.is != found::kind::nothing) return what;
    if (is_member(name)) {
        what.is = found::kind::member;
        return what;
    }
    what = find_declared(name);
    return what.is != found::kind::nothing ? what : find_in_namespaces(name);
}

// Variables of the function, then those of the root.
tvr_found_name tvr_asm_builder::find_variable(std::string_view name) const {
    bool outside = false;  // of the function
    uint32_t level = 0;
    for (const tvr_code_scope* scope = here; scope != nullptr; scope = scope->outer, ++level) {
        if (outside && !scope->is_root()) continue;
        found what;
        what.index = scope->find_variable(name);
        if (what.index != no_variable) {
            what.is = outside ? found::kind::global : found::kind::variable;
            what.level = level;
            what.owner = scope;
            return what;
        }
        outside = outside || !scope->is_block();
    }
    return {};
}

tvr_found_name tvr_asm_builder::find_declared(std::string_view name) const {
    uint32_t level = 0;
    for (const tvr_code_scope* scope = here; scope != nullptr; scope = scope->outer, ++level) {
        const auto known = scope->declared.find(name);
        if (known == scope->declared.end()) continue;
        found what;
        what.is = found::kind::declared;
        what.level = level;
        what.record = &known->second;
        return what;
    }
    return {};
}

tvr_program_block_class* tvr_asm_builder::find_class_def(std::string_view name) const {
    const found what = find_declared(name);
    if (what.record == nullptr || what.record->is != tvr_declared_name::kind::class_def)
        return nullptr;
    return what.record->class_def();
}

const tvr_declared_name* tvr_asm_builder::find_interface(std::string_view name) const {
    const found what = find_declared(name);
    if (what.record == nullptr || what.record->is != tvr_declared_name::kind::interface)
        return nullptr;
    return what.record;
}

// Whether the class whose method this is has such a member or method.
bool tvr_asm_builder::is_member(std::string_view name) const {
    if (!here->has_this) return false;
    const tvr_program_block_class& in = *here->of_class;
    return in.find_class_member(name) != nullptr || in.find_method(name, 0) != nullptr;
}

void tvr_asm_builder::warn_of_hidden_member(token name, const found& what) {
    if (what.is != found::kind::global || !is_member(name->text())) return;
    if (!warned_of.insert(name->text()).second) return;
    report.syntax_warn(
        name, "'", name->text(),
        "' is the variable of the main body here, not the class member: write 'this.", name->text(),
        "' for the member.");
}

// The words that are values themselves.
bool tvr_asm_builder::compile_literal_word(token word, bool& compiled) {
    compiled = true;
    switch (word->code) {
    case code::word_true:
    case code::word_True: emit_int(1, word); return true;
    case code::word_false:
    case code::word_False: emit_int(0, word); return true;
    case code::word_None:
    case code::word_none:
    case code::word_null: emit(tvr_op_return_new_variable, word); return true;
    case code::word_this: compiled = compile_this(word); return true;
    case code::word_super:
        compiled = here->has_this
                       ? refuse(word,
                                "'super' can only be used to call a base class method: "
                                "super.method(...)")
                       : refuse(word, "'super' can only be used inside methods of a class.");
        return true;
    default: return false;
    }
}

bool tvr_asm_builder::compile_this(token at) {
    if (!here->has_this) return refuse(at, "'this' can only be used inside methods of a class.");
    emit(tvr_op_call_class_return_this, at);
    return true;
}

void tvr_asm_builder::emit_variable(const found& what, token at) {
    if (what.is == found::kind::global)
        emit_index(tvr_op_return_global_var, what.index, at);
    else if (what.level == 0)
        emit_index(tvr_op_return_local_var, what.index, at);
    else
        emit(tvr_instruction_draft(tvr_op_return_parent_var)
                 .field(4, what.level)
                 .field(8, what.index),
             at);
}

// The value of a function or class.
bool tvr_asm_builder::emit_declared(const found& what, token at) {
    const tvr_declared_name& record = *what.record;
    if (record.is == tvr_declared_name::kind::interface)
        return refuse(at, "'", at->text(),
                      "' is an interface, it is only a type and has no value at runtime.");
    if (what.level > most_parents)
        return refuse(at, "'", at->text(), "' is defined too many blocks outside (limit ",
                      most_parents, ").");
    emit(tvr_instruction_draft(tvr_op_return_function)
             .field(1, uint8_t(what.level))
             .field(4, record.sub_block),
         at);
    // A function inside a method knows the instance, as lambdas do.
    if (record.this_of != nullptr && here->has_this && record.this_of == here->of_class)
        emit_byte(tvr_op_set_lambda, 1, at);
    return true;
}

bool tvr_asm_builder::compile_found_name(const found& what, token name) {
    switch (what.is) {
    case found::kind::variable:
    case found::kind::global:
        warn_of_hidden_member(name, what);
        emit_variable(what, name);
        return true;
    case found::kind::member:
        tvr_log().verbose("Added missing 'this' to class member -> 'this.", name->text());
        emit(tvr_op_call_class_return_this, name);
        emit_member(name->text(), 0, name);
        return true;
    case found::kind::declared: return emit_declared(what, name);
    default: return refuse_unknown(name);
    }
}

bool tvr_asm_builder::refuse_unknown(token name) {
    return refuse(name, "Variable '", name->text(),
                  "' does not exist (or did you mean to catch a local var in a lambda?).");
}
