// Scopes, declarations and initialiser lists.

#include <algorithm>

#include "base/join.h"
#include "kernel/compiler/compiler.h"

void tvrk_compiler::open_scope() {
    scopes.push_back(variables.size());
    frame_tops.push_back(frame_top);
}

// What the scope took of the frame is free again: whoever comes next writes before it reads.
void tvrk_compiler::close_scope() {
    for (; variables.size() > scopes.back(); variables.pop_back()) {
        const auto entry = variable_index.find(variables.back().name);
        entry->second.pop_back();
        if (entry->second.empty()) variable_index.erase(entry);
    }
    scopes.pop_back();
    frame_top = frame_tops.back();
    frame_tops.pop_back();
}

void tvrk_compiler::declare(const tvrk_token& name, variable made) {
    made.name = name.text;
    const auto entry = variable_index.find(made.name);
    if (entry != variable_index.end() && entry->second.back() >= scopes.back()) {
        fail_at(name, tvr_join("'", name.text, "' is already declared in this scope"));
    }
    const found_symbol global = find_symbol(made.name);
    if (global.symbol != nullptr && (global.symbol->what == tvrk_symbol::kind::record ||
                                     global.symbol->what == tvrk_symbol::kind::constant)) {
        fail_at(name,
                tvr_join("'", name.text, "' is already the name of a kernel struct or constant"));
    }
    variable_index[made.name].push_back(variables.size());
    variables.push_back(std::move(made));
}

const tvrk_compiler::variable* tvrk_compiler::find_variable(std::string_view name,
                                                            int64_t* index) const {
    if (current == nullptr) return nullptr;
    const auto entry = variable_index.find(name);
    if (entry == variable_index.end() || entry->second.back() < current->first_variable) {
        return nullptr;
    }
    if (index != nullptr) *index = int64_t(entry->second.back());
    return &variables[entry->second.back()];
}

tvrk_operand tvrk_compiler::frame_place(const tvrk_type& held) {
    constexpr uint32_t alignment = 8;
    const uint64_t end = (frame_top + held.size() + alignment - 1) / alignment * alignment;
    if (end > max_frame_bytes) {
        fail("the local variables of this kernel need more than 1 MiB");
    }
    operand made;
    made.what = kind::memory;
    made.type = held;
    made.place.by_address = true;
    made.place.index = frame_base();
    made.place.offset = frame_top;
    frame_top = uint32_t(end);
    program->frame_bytes = std::max(program->frame_bytes, frame_top);
    return made;
}

tvrk_operand tvrk_compiler::new_value(const tvrk_type& held) {
    operand made;
    made.what = kind::value;
    made.type = held;
    for (size_t lane = 0; lane < std::max<size_t>(held.lanes, 1); ++lane) {
        made.regs[lane] = new_register(held.prim);
    }
    return made;
}

void tvrk_compiler::variable_declaration() {
    const tvrk_type declared = type();
    if (declared.is_void()) fail("variables cannot be void");
    do {
        const tvrk_token name = expect_name();
        declare_one(declared, name);
    } while (accept(","));
}

// The name is not visible in its own initialiser.
void tvrk_compiler::declare_one(const tvrk_type& declared, const tvrk_token& name) {
    if (declared.is_pointer()) {
        if (peek().is("[")) fail("arrays of pointers are not supported");
        return declare(name, pointer_variable(declared, name));
    }
    tvrk_type held = declared;
    if (accept("[")) {
        if (declared.is_bool()) fail("bool arrays are not supported (use u8)");
        held.kind = tvrk_type_kind::array;
        held.count = array_size();
    }
    variable made;
    made.value = held.is_array() || held.is_struct() ? frame_place(held) : new_value(held);
    initialise(made.value, name);
    declare(name, std::move(made));
}

tvrk_compiler::variable tvrk_compiler::pointer_variable(const tvrk_type& declared,
                                                        const tvrk_token& name) {
    if (!accept("=")) {
        fail(tvr_join("pointer variables must be initialized ('", tvrk_type_name(declared), " ",
                      name.text, " = p;')"));
    }
    variable made;
    made.value = pointer_argument(rvalue(expression()), declared);
    const uint32_t index = new_register(tvrk_prim::i64);
    emit(TVRK_MOV, index, element_index(made.value.place));
    made.value.place.index = index;
    made.value.place.addend = 0;
    return made;
}

// Without an initialiser a variable is zero each time its declaration is reached: registers and
// frame still hold what other invocations left.
void tvrk_compiler::initialise(const operand& target, const tvrk_token& name) {
    if (!accept("=")) return zero(target);
    if (peek().is("{")) {
        if (target.type.is_scalar()) {
            fail(tvr_join("a {...} list initializes arrays, structs and vectors, not a ",
                          tvrk_type_name(target.type)));
        }
        return read_list(target);
    }
    if (target.type.is_array()) {
        fail_at(name, "arrays are initialized with a list ('{1, 2, 3}')");
    }
    if (target.type.is_struct()) return assign_record(target);
    store(target, convert(rvalue(expression()), target.type));
}

void tvrk_compiler::zero(const operand& target) {
    if (target.is(kind::memory)) {
        emit(TVRK_ZERO, address(target.place), 0, 0, int64_t(target.type.size()));
        return;
    }
    const uint32_t nothing = constant_register(target.type.prim, 0);
    for (size_t lane = 0; lane < std::max<size_t>(target.type.lanes, 1); ++lane) {
        emit(TVRK_MOV, target.regs[lane], nothing);
    }
}

// A list that is too short, here or further in, leaves zeros: the whole target is cleared first.
void tvrk_compiler::read_list(const operand& target) {
    if (!target.is(kind::memory)) {
        zero(target);
        bool complete = true;
        return list_elements(target, complete);
    }
    const size_t move_at = emit(TVRK_NOP), zero_at = emit(TVRK_NOP);
    bool complete = !target.type.is_struct() || !target.type.record->is_cstruct;
    list_elements(target, complete);
    if (complete) return;
    // Only the frame has lists, so its address needs one addition.
    const uint32_t where = new_register(tvrk_prim::u64);
    tvrk_draft_inst& add = draft.code[move_at];
    add.op = TVRK_ADDI_X64;
    add.a = where;
    add.b = target.place.index;
    add.imm = target.place.offset;
    tvrk_draft_inst& clear = draft.code[zero_at];
    clear.op = TVRK_ZERO;
    clear.a = where;
    clear.imm = int64_t(target.type.size());
}

void tvrk_compiler::list_elements(const operand& target, bool& complete) {
    nested level(*this);
    const tvrk_type& type = target.type;
    const size_t count = type.is_array()    ? type.count
                         : type.is_vector() ? type.lanes
                                            : type.record->fields.size();
    expect("{");
    size_t given = 0;
    while (!peek().is("}")) {
        if (given == count && type.is_array()) {
            fail(tvr_join("too many values for an array of ", count));
        }
        if (given == count) {
            fail(tvr_join("too many values for '", tvrk_type_name(type), "' (", count, " fields)"));
        }
        operand part;
        if (type.is_vector()) {
            part = vector_component(target, given);
        } else if (type.is_array()) {
            part = part_of(target, type.element(), int64_t(given * type.element().size()));
        } else {
            const tvrk_field& field = type.record->fields[given];
            part = part_of(target, field.whole_type(), field.offset);
        }
        ++given;
        if (peek().is("{") && !part.type.is_scalar()) {
            list_elements(part, complete);
        } else {
            list_value(part);
        }
        if (!accept(",")) break;
    }
    expect("}");
    complete = complete && given == count;
}

void tvrk_compiler::list_value(const operand& target) {
    if (peek().is("{")) {
        fail(tvr_join("a {...} list initializes arrays, structs and vectors, not a ",
                      tvrk_type_name(target.type)));
    }
    if (target.type.is_array()) fail("arrays are initialized with a list ('{1, 2, 3}')");
    if (target.type.is_struct()) return assign_record(target);
    store(target, convert(rvalue(expression()), target.type));
}
