// Structs, constants, and the heads of kernels and helpers.

#include <algorithm>
#include <limits>

#include "base/join.h"
#include "kernel/compiler/compiler.h"

namespace {

bool reduces_bits(tvrk_reduce reduce) {
    return reduce >= tvrk_reduce::bit_and;
}

bool can_reduce(tvrk_reduce reduce, const tvrk_type& type, bool bool_too) {
    if (!type.is_scalar()) return false;
    if (type.is_bool()) return bool_too && reduces_bits(reduce);
    if (tvrk_is_float(type.prim)) return !reduces_bits(reduce);
    return tvrk_is_integer(type.prim) && !tvrk_is_narrow(type.prim);
}

}  // namespace

tvrk_compiler::tvrk_compiler(std::shared_ptr<tvrk_tokens> source, const tvrk_imports& imports)
    : unit(std::make_shared<tvrk_unit>()), tokens(source.get()) {
    unit->file = source->files[0];
    unit->imports = imports;
    unit->tokens = std::move(source);
}

std::shared_ptr<const tvrk_unit> tvrk_compiler::run() {
    while (peek().kind != tvrk_token_kind::end) declaration();
    return unit;
}

void tvrk_compiler::declaration() {
    tokens_read = 0;
    if (!peek().is("kernel")) {
        const bool is_word = peek().kind == tvrk_token_kind::word;
        fail_at(peek(),
                tvr_join("expected a kernel declaration ('kernel void name(...) { }', 'kernel "
                         "inline', 'kernel struct' or 'kernel const') but found ",
                         describe(peek()),
                         is_word ? " (kernel source only contains kernel declarations)" : ""));
    }
    next();
    if (accept("struct")) return declare_struct(false);
    if (accept("cstruct")) return declare_struct(true);
    if (accept("const")) return declare_constant();
    if (accept("inline")) return declare_helper();
    declare_kernel();
}

void tvrk_compiler::check_new_name(const tvrk_token& name) const {
    if (unit->find(name.text) != nullptr) {
        fail_at(name, tvr_join("'", name.text, "' is already declared in this kernel source"));
    }
}

void tvrk_compiler::add_symbol(const tvrk_token& name, tvrk_symbol::kind what, size_t index) {
    const tvrk_symbol made{what, index, unit->symbols.size()};
    unit->symbols.emplace(std::string(name.text), made);
}

// Own names first, then those of the imports in their order. A helper's body sees what stood
// before it, wherever it is read.
tvrk_compiler::found_symbol tvrk_compiler::find_symbol(std::string_view name) const {
    const tvrk_unit* home = current != nullptr ? current->unit : unit.get();
    const size_t visible =
        current != nullptr ? current->visible : std::numeric_limits<size_t>::max();
    if (const tvrk_symbol* own = home->find(name); own != nullptr && own->ordinal < visible) {
        return {home, own};
    }
    for (const auto& import : home->imports) {
        const tvrk_symbol* theirs = import->find(name);
        if (theirs != nullptr && theirs->what != tvrk_symbol::kind::kernel) {
            return {import.get(), theirs};
        }
    }
    return {};
}

// types --------------------------------------------------------------------------------------

std::optional<tvrk_type> tvrk_compiler::vector_type(std::string_view word) {
    if (word.size() < 4 || word[word.size() - 2] != 'x') return {};
    const char digit = word.back();
    const tvrk_prim prim = tvrk_prim_from_name(word.substr(0, word.size() - 2));
    const bool known = tvrk_is_number(prim) || prim == tvrk_prim::boolean;
    if (digit < '2' || digit > '4' || !known) return {};
    tvrk_type made = tvrk_scalar(prim);
    made.lanes = uint8_t(digit - '0');
    return made;
}

// Reflection lists the vector types that a source uses, as the structs that they are.
void tvrk_compiler::note_vector(const tvrk_type& vector) {
    const std::string name = tvrk_type_name(vector);
    for (const auto& known : unit->structs) {
        if (known->name == name && known->file == "<builtin>") return;
    }
    auto made = std::make_shared<tvrk_struct>();
    made->name = name;
    made->file = "<builtin>";
    const auto bytes = uint32_t(tvrk_prim_size(vector.prim));
    for (uint32_t lane = 0; lane < vector.lanes; ++lane) {
        made->fields.push_back({std::string(1, tvrk_lane_names[lane]), tvrk_scalar(vector.prim),
                                lane * bytes, 0, bytes});
    }
    made->size = bytes * vector.lanes;
    unit->structs.push_back(std::move(made));
}

std::optional<tvrk_type> tvrk_compiler::named_type(std::string_view word) const {
    if (word == "void") return tvrk_scalar(tvrk_prim::void_type);
    const tvrk_prim prim = tvrk_prim_from_name(word);
    if (prim != tvrk_prim::void_type && prim != tvrk_prim::record) return tvrk_scalar(prim);
    if (const auto vector = vector_type(word)) return vector;
    const found_symbol found = find_symbol(word);
    if (found.symbol == nullptr || found.symbol->what != tvrk_symbol::kind::record) return {};
    tvrk_type made = tvrk_scalar(tvrk_prim::record);
    made.record = found.unit->structs[found.symbol->index].get();
    return made;
}

bool tvrk_compiler::at_type(size_t ahead) const {
    const tvrk_token& token = peek(ahead);
    return token.kind == tvrk_token_kind::word && named_type(token.text).has_value() &&
           find_variable(token.text) == nullptr;
}

tvrk_type tvrk_compiler::value_type() {
    const tvrk_token& token = peek();
    if (token.kind != tvrk_token_kind::word || tvrk_is_reserved(token.text)) {
        fail_found(
            "a type (bool, i8, u8, i16, u16, i32, u32, i64, u64, f32, f64, a vector type like "
            "f32x4 "
            "or a kernel struct)");
    }
    const auto found = named_type(token.text);
    next();
    if (!found) fail(tvr_join("unknown type '", last.text, "'"));
    if (found->is_vector()) {
        if (found->prim == tvrk_prim::boolean) {
            fail("vectors of bool are not supported (compare the components one by one)");
        }
        note_vector(*found);
    }
    return *found;
}

tvrk_type tvrk_compiler::type() {
    const bool is_const = accept("const");
    tvrk_type made = value_type();
    if (!accept("*")) {
        if (is_const) {
            fail(
                "'const' is only allowed for pointer types ('const u8* p'); use 'kernel const' for "
                "constants");
        }
        return made;
    }
    if (peek().is("*")) fail("pointers to pointers are not supported in kernels");
    if (made.is_bool()) fail("bool* is not supported (use u8*)");
    if (made.is_void()) fail("void* is not supported (use u8*)");
    made.kind = tvrk_type_kind::pointer;
    made.is_const = is_const;
    return made;
}

uint32_t tvrk_compiler::array_size() {
    const bool outer = std::exchange(constants_only, true);
    operand size = expression();
    if (size.is(kind::literal) && !size.number.is_float && size.number.integer > 0 &&
        size.number.integer <= std::numeric_limits<int32_t>::max()) {
        size = constant(tvrk_prim::i64, uint64_t(size.number.integer));
    }
    constants_only = outer;
    const bool fits = size.is(kind::constant) && tvrk_is_integer(size.type.prim) && size.bits > 0 &&
                      size.bits <= uint64_t(std::numeric_limits<int32_t>::max());
    if (!fits) fail("array size must be a positive integer constant");
    expect("]");
    return uint32_t(size.bits);
}

// structs ------------------------------------------------------------------------------------

void tvrk_compiler::declare_struct(bool is_cstruct) {
    const tvrk_token name = expect_name();
    check_new_name(name);
    auto made = std::make_shared<tvrk_struct>();
    made->name = name.text;
    made->file = tokens->files[name.file];
    made->line = name.line;
    made->column = name.column;
    made->is_cstruct = is_cstruct;
    expect("{");
    uint32_t alignment = 1;
    uint64_t size = 0;
    while (!accept("}")) {
        if (peek().kind == tvrk_token_kind::end || peek().is("kernel")) {
            fail(tvr_join("missing '}' at the end of struct '", made->name, "'"));
        }
        declare_field(*made, alignment, size);
    }
    accept(";");
    if (made->fields.empty()) fail_at(name, tvr_join("struct '", made->name, "' has no fields"));
    if (is_cstruct) size = (size + alignment - 1) / alignment * alignment;
    check_struct_size(*made, size);
    made->size = uint32_t(size);
    unit->structs.push_back(std::move(made));
    add_symbol(name, tvrk_symbol::kind::record, unit->structs.size() - 1);
}

void tvrk_compiler::check_struct_size(const tvrk_struct& made, uint64_t size) const {
    if (size <= max_struct_bytes) return;
    fail(tvr_join("struct '", made.name, "' is too large (more than 256 MiB)"));
}

tvrk_type tvrk_compiler::field_type(const tvrk_struct& made) {
    const tvrk_token word = peek();
    if (word.kind == tvrk_token_kind::word && !named_type(word.text)) {
        bool later = word.text == made.name;
        for (size_t i = at; i + 1 < tokens->list.size() && !later; ++i) {
            later = (tokens->list[i].is("struct") || tokens->list[i].is("cstruct")) &&
                    tokens->list[i + 1].text == word.text;
        }
        if (later) {
            fail_at(word, tvr_join("struct '", word.text,
                                   "' must be declared before it is used as a field type"));
        }
    }
    const tvrk_type held = type();
    if (held.is_pointer()) fail("struct fields cannot be pointers");
    if (held.is_bool() || held.is_void()) {
        fail(tvr_join("struct fields cannot be ", tvrk_type_name(held), " (use u8 for flags)"));
    }
    return held;
}

void tvrk_compiler::declare_field(tvrk_struct& made, uint32_t& alignment, uint64_t& size) {
    const auto alignment_of = [](const tvrk_type& t, const auto& self) -> uint32_t {
        if (t.record == nullptr) return uint32_t(tvrk_prim_size(t.prim));
        uint32_t widest = 1;
        for (const tvrk_field& f : t.record->fields) widest = std::max(widest, self(f.type, self));
        return t.record->is_cstruct ? widest : 1;
    };
    const tvrk_type held = field_type(made);
    do {
        const tvrk_token name = expect_name();
        if (made.find(name.text) != nullptr) fail(tvr_join("duplicate field '", name.text, "'"));
        tvrk_field field;
        field.name = name.text;
        field.type = held;
        if (accept("[")) field.count = array_size();
        const uint32_t own = made.is_cstruct ? alignment_of(held, alignment_of) : 1;
        alignment = std::max(alignment, own);
        size = (size + own - 1) / own * own;
        field.offset = uint32_t(size);
        const uint64_t bytes = held.size() * std::max<uint64_t>(field.count, 1);
        check_struct_size(made, bytes);
        size += bytes;
        check_struct_size(made, size);
        field.size = uint32_t(bytes);
        made.fields.push_back(std::move(field));
    } while (accept(","));
    expect(";");
}

// constants ----------------------------------------------------------------------------------

void tvrk_compiler::declare_constant() {
    const tvrk_type declared = type();
    if (declared.is_pointer()) fail("kernel constants cannot be pointers");
    if (!declared.is_scalar() || declared.is_void()) {
        fail("kernel constants must have a number or bool type");
    }
    const tvrk_token name = expect_name();
    check_new_name(name);
    expect("=");
    constants_only = true;
    const operand value = convert(rvalue(expression()), declared);
    constants_only = false;
    expect(";");
    if (!value.is(kind::constant)) fail("expected a constant expression");
    tvrk_constant made;
    made.name = name.text;
    made.prim = declared.prim;
    made.value.u = value.bits;
    unit->constants.push_back(std::move(made));
    add_symbol(name, tvrk_symbol::kind::constant, unit->constants.size() - 1);
}

// heads --------------------------------------------------------------------------------------

tvrk_helper_param tvrk_compiler::parameter() {
    const tvrk_type declared = type();
    if (declared.is_void()) fail("parameters cannot be void");
    const tvrk_token name = expect_name();
    if (peek().is("[")) fail_found("',' or ')'");
    return {std::string(name.text), declared};
}

tvrk_compiler::head tvrk_compiler::function_head() {
    head made;
    made.result = type();
    if (made.result.is_pointer()) fail("kernels cannot return pointers");
    made.where = expect_name();
    made.name = made.where.text;
    check_new_name(made.where);
    expect("(");
    if (peek().is("void") && peek(1).is(")")) next();
    if (!accept(")")) {
        do {
            made.params.push_back(parameter());
        } while (accept(","));
        expect(")");
    }
    if (accept("reduce")) reduction(made);
    return made;
}

tvrk_reduce tvrk_compiler::reduction_operator() {
    for (uint8_t code = 1; code <= uint8_t(tvrk_reduce::bit_xor); ++code) {
        if (accept(tvrk_reduce_name(tvrk_reduce(code)))) return tvrk_reduce(code);
    }
    fail_found("a reduction operator (+, min, max, &, |, ^)");
}

void tvrk_compiler::reduction(head& made) {
    expect("(");
    if (peek().kind == tvrk_token_kind::word && peek(1).is(":")) {
        do {
            const std::string field(next().text);
            for (const auto& known : made.fields) {
                if (known.first == field) {
                    fail(tvr_join("field '", field, "' has two reductions"));
                }
            }
            expect(":");
            made.fields.emplace_back(field, reduction_operator());
        } while (accept(","));
    } else {
        made.reduce = reduction_operator();
    }
    expect(")");
}

void tvrk_compiler::check_reduction(const head& made) const {
    const bool given = made.reduce != tvrk_reduce::none || !made.fields.empty();
    const std::string type = tvrk_type_name(made.result);
    if (made.result.is_void()) {
        if (given) fail("a void kernel cannot have a reduction");
        return;
    }
    if (!given) {
        fail_at(
            made.where,
            tvr_join("a kernel that returns a value needs a reduction: 'kernel ", type, " ",
                     made.name, "(...) reduce(+) { ... }' (+, min, max, &, |, ^",
                     made.result.is_struct() ? ", or per field: reduce(a: +, b: max)" : "", ")"));
    }
    if (made.result.is_struct()) return check_field_reductions(made);
    if (!made.fields.empty()) fail("reductions per field ('reduce(a: +)') need a struct result");
    if (!can_reduce(made.reduce, made.result, true)) {
        fail(tvr_join("reduce(", tvrk_reduce_name(made.reduce), ") is not supported for ", type,
                      " (reductions return i32, u32, i64, u64, f32, f64, or bool with &, |, ^)"));
    }
}

void tvrk_compiler::check_field_reductions(const head& made) const {
    const tvrk_struct& record = *made.result.record;
    for (const auto& [name, reduce] : made.fields) {
        if (record.find(name) == nullptr) {
            fail(tvr_join("struct '", record.name, "' has no field '", name, "'"));
        }
    }
    for (const tvrk_field& field : record.fields) {
        const auto given = std::find_if(made.fields.begin(), made.fields.end(),
                                        [&](const auto& f) { return f.first == field.name; });
        if (given == made.fields.end()) {
            fail(tvr_join("field '", field.name, "' of '", record.name, "' has no reduction (add '",
                          field.name, ": +', min, max, &, | or ^)"));
        }
        if (field.count != 0 || !can_reduce(given->second, field.type, false)) {
            fail(tvr_join("reduce(", tvrk_reduce_name(given->second),
                          ") is not supported for field '", field.name, "' (",
                          tvrk_type_name(field.type),
                          "), reduced fields must be i32, u32, i64, u64, f32 or f64 (&, |, ^ only "
                          "for integers)"));
        }
    }
}

void tvrk_compiler::declare_helper() {
    const head made = function_head();
    if (made.reduce != tvrk_reduce::none || !made.fields.empty()) {
        fail("only entry kernels can have a reduction");
    }
    if (!peek().is("{")) fail_found("'{' (the kernel body)");
    auto helper = std::make_shared<tvrk_helper>();
    helper->name = made.name;
    helper->result = made.result;
    helper->params = made.params;
    helper->body = at;
    helper->unit = unit.get();
    unit->helpers.push_back(helper);
    add_symbol(made.where, tvrk_symbol::kind::helper, unit->helpers.size() - 1);
    check_helper_body(*helper, made, helper->body);
}

void tvrk_compiler::declare_kernel() {
    const head made = function_head();
    check_reduction(made);
    for (const tvrk_helper_param& param : made.params) {
        if (param.type.is_struct() || param.type.is_vector()) {
            fail(tvr_join("kernels take structs as pointers ('", tvrk_type_name(param.type), "* ",
                          param.name, "'), struct values are for helpers and local variables"));
        }
    }
    if (!peek().is("{")) fail_found("'{' (the kernel body)");
    add_symbol(made.where, tvrk_symbol::kind::kernel, unit->kernels.size());
    begin_program(made);
    function body;
    body.unit = unit.get();
    body.visible = std::numeric_limits<size_t>::max();
    body.is_entry = true;
    body.result = made.result;
    bind_parameters(made);
    make_accumulators(made);
    compile_body(body, made.params.size());
    finish_program(made);
    unit->kernels.push_back({std::string(made.name), std::move(program)});
}
