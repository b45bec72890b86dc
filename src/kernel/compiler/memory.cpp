// Places in memory, and pointers: pairs of a parameter and an element index, so that every access
// through them is tested against the parameter's bounds.

#include "base/join.h"
#include "kernel/compiler/compiler.h"

namespace {

// Distances in the table of instructions from an element type's LD_.
enum memory_form : uint16_t { plain = 0, field = 2, by_address = 4, stores = 5 };

uint16_t memory_op(tvrk_prim prim, unsigned form) {
    constexpr uint16_t ops_of_a_type = TVRK_LD_U8 - TVRK_LD_I8;
    const unsigned row = prim == tvrk_prim::boolean ? 1 : unsigned(prim) - unsigned(tvrk_prim::i8);
    return uint16_t(TVRK_LD_I8 + row * ops_of_a_type + form);
}

bool add_overflows(int64_t a, int64_t b, int64_t* sum) {
    return __builtin_add_overflow(a, b, sum);
}

}  // namespace

tvrk_operand tvrk_compiler::rvalue(const operand& x) {
    if (!x.is(kind::memory)) return x;
    if (x.type.is_array()) {
        fail(tvr_join("an array (", tvrk_type_name(x.type),
                      ") cannot be used as a value, index it"));
    }
    if (x.type.is_struct()) {
        fail(tvr_join("a struct (", tvrk_type_name(x.type),
                      ") cannot be used as a value, access a field or copy it with '='"));
    }
    return load(x);
}

tvrk_operand tvrk_compiler::load(const operand& x) {
    if (!x.type.is_vector()) return load_scalar(x.place, x.type.prim, !unchecked);
    operand made;
    made.what = kind::value;
    made.type = x.type;
    const auto bytes = int64_t(tvrk_prim_size(x.type.prim));
    tvrk_place part = x.place;
    if (!part.by_address) {
        part.index = element_index(part);
        part.addend = 0;
    }
    for (size_t lane = 0; lane < x.type.lanes; ++lane) {
        part.offset = x.place.offset + int64_t(lane) * bytes;
        // The first component's test is the test of all.
        made.regs[lane] = load_scalar(part, x.type.prim, lane == 0 && !unchecked).regs[0];
    }
    return made;
}

tvrk_operand tvrk_compiler::load_scalar(const tvrk_place& from, tvrk_prim prim, bool tested) {
    const uint32_t made = new_register(prim);
    if (from.by_address) {
        emit(memory_op(prim, by_address), made, from.index, 0, from.offset);
    } else if (from.in_record) {
        emit(memory_op(prim, field + (tested ? 0u : 1u)), made, from.ptr, element_index(from),
             from.offset);
    } else {
        const uint32_t index = from.index == tvrk_no_reg ? zero_index() : from.index;
        emit(memory_op(prim, plain + (tested ? 0u : 1u)), made, from.ptr, index, from.addend);
    }
    return value_in(made, prim);
}

void tvrk_compiler::store_scalar(const tvrk_place& to, tvrk_prim prim, uint32_t value,
                                 bool tested) {
    const unsigned unchecked_form = tested ? 0 : 1;
    if (to.by_address) {
        emit(memory_op(prim, stores + by_address), value, to.index, 0, to.offset);
    } else if (to.in_record) {
        emit(memory_op(prim, stores + field + unchecked_form), value, to.ptr, element_index(to),
             to.offset);
    } else {
        const uint32_t index = to.index == tvrk_no_reg ? zero_index() : to.index;
        emit(memory_op(prim, stores + plain + unchecked_form), value, to.ptr, index, to.addend);
    }
}

uint32_t tvrk_compiler::element_index(const tvrk_place& of) {
    if (of.index == tvrk_no_reg) return constant_register(tvrk_prim::i64, uint64_t(of.addend));
    if (of.addend == 0) return of.index;
    const uint32_t sum = new_register(tvrk_prim::i64);
    emit(TVRK_ADDI_X64, sum, of.index, 0, of.addend);
    return sum;
}

uint32_t tvrk_compiler::address(const tvrk_place& of) {
    uint32_t base = of.index;
    if (!of.by_address) {
        base = new_register(tvrk_prim::u64);
        const uint32_t index = element_index(of);
        emit(unchecked ? TVRK_ADDRU : TVRK_ADDR, base, of.ptr, index);
    }
    if (of.offset == 0) return base;
    const uint32_t sum = new_register(tvrk_prim::u64);
    emit(TVRK_ADDI_X64, sum, base, 0, of.offset);
    return sum;
}

void tvrk_compiler::copy_record(const operand& target, const operand& source) {
    const uint32_t from = address(source.place);
    const uint32_t to = address(target.place);
    emit(TVRK_COPY, to, from, 0, int64_t(target.type.size()));
}

// parts --------------------------------------------------------------------------------------

tvrk_operand tvrk_compiler::part_of(const operand& memory, const tvrk_type& type,
                                    int64_t offset) const {
    operand made = memory;  // a parameter of struct type stays read only in its parts
    made.type = type;
    made.place.is_element = false;
    made.from_call = false;
    if (add_overflows(made.place.offset, offset, &made.place.offset)) {
        fail("pointer offset out of range");
    }
    return made;
}

tvrk_operand tvrk_compiler::vector_component(const operand& vector, size_t lane) const {
    operand made = vector;
    made.type = tvrk_scalar(vector.type.prim);
    made.regs[0] = vector.regs[lane];
    made.from_call = false;
    return made;
}

tvrk_operand tvrk_compiler::field_of(const operand& base, const tvrk_token& name,
                                     bool through_pointer) {
    operand whole = base;
    if (through_pointer) {
        const bool has_fields = base.is(kind::pointer) && (base.type.record || base.type.lanes);
        if (!has_fields) fail("'->' needs a pointer to a struct");
        whole = dereference(base);
    } else if (base.is(kind::pointer)) {
        fail(tvr_join("use '->' to access a field through a pointer ('p->", name.text,
                      "' or 'p[i].", name.text, "')"));
    }
    if (whole.is_number_text() || whole.is(kind::nothing) || whole.type.is_array() ||
        (!whole.type.is_vector() && !whole.type.is_struct())) {
        fail(tvr_join("'.", name.text, "' needs a struct"));
    }
    const std::string type = tvrk_type_name(whole.type);
    if (whole.type.is_vector()) {
        const size_t lane = tvrk_lane_names.find(name.text);
        if (name.text.size() != 1 || lane >= whole.type.lanes) {
            fail(tvr_join("struct '", type, "' has no field '", name.text, "'"));
        }
        if (!whole.is(kind::memory)) return vector_component(whole, lane);
        const tvrk_prim prim = whole.type.prim;
        return part_of(whole, tvrk_scalar(prim), int64_t(lane * tvrk_prim_size(prim)));
    }
    const tvrk_field* field = whole.type.record->find(name.text);
    if (field == nullptr) {
        fail(tvr_join("struct '", type, "' has no field '", name.text, "'"));
    }
    return part_of(whole, field->whole_type(), field->offset);
}

// indices ------------------------------------------------------------------------------------

// An integer literal is an i64 here, whatever it would be elsewhere.
tvrk_operand tvrk_compiler::as_distance(const operand& x, const char* too_far) const {
    if (!x.is(kind::literal) || x.number.is_float) return x;
    if (x.number.integer > tvrk_wide(INT64_MAX) || x.number.integer < tvrk_wide(INT64_MIN)) {
        fail(too_far);
    }
    return constant(tvrk_prim::i64, uint64_t(x.number.integer));
}

tvrk_operand tvrk_compiler::index_into(const operand& base, const operand& index) {
    const bool is_array = base.is(kind::memory) && base.type.is_array();
    if (!base.is(kind::pointer) && !is_array) {
        if (base.is(kind::memory) && base.type.is_struct()) rvalue(base);
        const std::string type =
            base.is(kind::nothing) ? "void" : tvrk_type_name(settle(base).type);
        fail(tvr_join("only pointers and array fields can be indexed, not a ", type));
    }
    if (index.is(kind::pointer)) fail("an index must be an integer but got a pointer");
    operand typed = settle(as_distance(index, "index out of range"));
    if (typed.is(kind::condition)) typed = materialise(typed);
    if (!typed.type.is_scalar() || !tvrk_is_integer(typed.type.prim)) {
        fail(tvr_join("an index must be an integer but got a ", tvrk_type_name(typed.type)));
    }
    return is_array ? index_array(base, typed) : index_pointer(base, typed);
}

tvrk_operand tvrk_compiler::index_pointer(const operand& base, const operand& index) {
    return dereference(move_pointer(base, index, false));
}

tvrk_operand tvrk_compiler::dereference(const operand& pointer) const {
    operand made;
    made.what = kind::memory;
    made.type = pointer.type.element();
    made.place = pointer.place;
    made.place.is_element = true;
    made.place.in_record = pointer.type.record != nullptr || pointer.type.lanes != 0;
    made.place.read_only = pointer.type.is_const;
    return made;
}

tvrk_operand tvrk_compiler::index_array(const operand& base, const operand& index) {
    const tvrk_type element = base.type.element();
    const auto bytes = int64_t(element.size());
    if (index.is(kind::constant)) {
        if (index.bits >= base.type.count) {
            fail(tvr_join("array index ", int64_t(index.bits), " is out of bounds (array size ",
                          base.type.count, ")"));
        }
        return part_of(base, element, int64_t(index.bits) * bytes);
    }
    const uint32_t where = reg(index);
    emit(TVRK_CHKIDX, where, 0, 0, base.type.count);
    uint32_t distance = where;
    if (bytes != 1) {
        distance = new_register(tvrk_prim::i64);
        emit(TVRK_MUL_X64, distance, where, constant_register(tvrk_prim::i64, uint64_t(bytes)));
    }
    tvrk_place start = base.place;
    const int64_t offset = std::exchange(start.offset, 0);
    operand made = part_of(base, element, 0);
    made.place.by_address = true;
    made.place.index = new_register(tvrk_prim::u64);
    made.place.offset = offset;
    emit(TVRK_ADD_X64, made.place.index, address(start), distance);
    return made;
}

// pointers -----------------------------------------------------------------------------------

std::string tvrk_compiler::pointer_name(const operand& pointer) const {
    for (const tvrk_param& param : program->params) {
        if (param.is_pointer && param.ptr == pointer.place.ptr) return param.name;
    }
    return "?";
}

tvrk_operand tvrk_compiler::move_pointer(const operand& pointer, const operand& by, bool back) {
    const char* too_far = "pointer offset out of range";
    const operand amount = settle(as_distance(by, too_far));
    if (!amount.type.is_scalar() || !tvrk_is_integer(amount.type.prim)) {
        fail(tvr_join("pointer arithmetic needs an integer offset but got a ",
                      tvrk_type_name(amount.type)));
    }
    operand made = pointer;
    made.variable = -1;
    made.from_call = false;
    if (!amount.is(kind::constant)) {
        move_place(made.place, amount, back);
        return made;
    }
    const uint64_t step = back ? 0 - amount.bits : amount.bits;
    const auto element = int64_t(pointer.type.element().size());
    int64_t bytes = 0;
    if (add_overflows(pointer.place.addend, int64_t(step), &made.place.addend) ||
        __builtin_mul_overflow(made.place.addend, element, &bytes)) {
        fail(too_far);
    }
    return made;
}

// By what only the run will tell. The constant part of both stays one.
void tvrk_compiler::move_place(tvrk_place& place, const operand& amount, bool back) {
    const uint64_t addend = uint64_t(amount.addend);
    place.addend = int64_t(uint64_t(place.addend) + (back ? 0 - addend : addend));
    if (place.index == tvrk_no_reg && !back) {
        place.index = amount.regs[0];
        return;
    }
    const uint32_t from = place.index == tvrk_no_reg ? zero_index() : place.index;
    place.index = new_register(tvrk_prim::i64);
    emit(back ? TVRK_SUB_X64 : TVRK_ADD_X64, place.index, from, amount.regs[0]);
}

tvrk_operand tvrk_compiler::pointer_binary(std::string_view op, const operand& x,
                                           const operand& y) {
    const bool both = x.is(kind::pointer) && y.is(kind::pointer);
    if (!both) {
        if ((op != "+" && op != "-") || y.is(kind::pointer)) {
            fail("only 'pointer + integer' and 'pointer - integer' are defined");
        }
        return move_pointer(x, y.is(kind::condition) ? materialise(y) : y, op == "-");
    }
    const bool orders =
        op == "==" || op == "!=" || op == "<" || op == "<=" || op == ">" || op == ">=";
    if (op != "-" && !orders) fail(tvr_join("'", op, "' is not defined for two pointers"));
    if (x.place.ptr != y.place.ptr) {
        fail("pointers into different parameters cannot be compared or subtracted");
    }
    const operand a = value_in(element_index(x.place), tvrk_prim::i64);
    const operand b = value_in(element_index(y.place), tvrk_prim::i64);
    if (orders) return compare(op, a, b);
    return compute(TVRK_SUB_X64, tvrk_prim::i64, a, &b);
}

// A pointer where a pointer is wanted: as an argument, an initialiser or an assigned value.
tvrk_operand tvrk_compiler::pointer_argument(const operand& x, const tvrk_type& to) const {
    const std::string wanted = tvrk_type_name(to);
    if (!x.is(kind::pointer)) {
        const std::string given = x.is(kind::nothing)  ? "void"
                                  : x.is_number_text() ? tvrk_prim_name(default_prim(x.number))
                                                       : tvrk_type_name(x.type);
        fail(tvr_join("expected a pointer (", wanted, ") but got a ", given));
    }
    if (x.type.element() != to.element()) {
        fail(tvr_join("pointer types do not match: expected ", wanted, " but got ",
                      tvrk_type_name(x.type)));
    }
    if (x.type.is_const && !to.is_const) {
        fail(tvr_join("cannot pass a const pointer as a writable pointer (", wanted, ")"));
    }
    operand made = x;
    made.type = to;
    made.variable = -1;
    made.from_call = false;
    return made;
}
