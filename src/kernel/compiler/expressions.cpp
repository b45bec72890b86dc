// Expressions: binding strengths, unary and postfix operators, names.

#include "base/join.h"
#include "kernel/compiler/compiler.h"

namespace {

constexpr int strength_of_and = 2;  // || is weaker still, and these two branch

// 0: no binary operator.
int strength_of(const tvrk_token& token) {
    if (token.kind != tvrk_token_kind::symbol) return 0;
    constexpr std::pair<std::string_view, int> table[] = {{"||", 1}, {"&&", strength_of_and},
                                                          {"|", 3},  {"^", 4},
                                                          {"&", 5},  {"==", 6},
                                                          {"!=", 6}, {"<", 7},
                                                          {"<=", 7}, {">", 7},
                                                          {">=", 7}, {"<<", 8},
                                                          {">>", 8}, {"+", 9},
                                                          {"-", 9},  {"*", 10},
                                                          {"/", 10}, {"%", 10}};
    for (const auto& [symbol, strength] : table) {
        if (token.text == symbol) return strength;
    }
    return 0;
}

}  // namespace

tvrk_operand tvrk_compiler::expression() {
    nested level(*this);
    if (peek().is("{")) {
        fail_at(peek(),
                "a {...} list is only allowed to initialize a variable or in a return statement");
    }
    operand left = binary_expression(1);
    if (!peek().is("?")) return left;
    next();
    return conditional(rvalue(left));
}

tvrk_operand tvrk_compiler::binary_expression(int strength) {
    operand left = unary_expression();
    for (;;) {
        const tvrk_token op = peek();
        const int found = strength_of(op);
        if (op.is("++") || op.is("--")) {
            fail_at(op, tvr_join("'", op.text,
                                 "' is only allowed as a statement ('i++;'), not inside an "
                                 "expression"));
        }
        if (found < strength || found == 0) return left;
        next();
        left = rvalue(left);
        if (found <= strength_of_and) {
            left = logical(found == strength_of_and, left, found + 1);
        } else {
            if (left.is(kind::condition)) left = materialise(left);
            const operand right = rvalue(binary_expression(found + 1));
            last = op;
            left = binary(op.text, left, right);
        }
    }
}

tvrk_operand tvrk_compiler::unary_expression() {
    nested level(*this);
    const tvrk_token op = peek();
    if (op.is("++") || op.is("--")) {
        next();
        fail(tvr_join("'", op.text,
                      "' is only allowed as a statement ('i++;'), not inside an expression"));
    }
    if (op.is("-") || op.is("+") || op.is("~") || op.is("!")) {
        next();
        operand x = rvalue(unary_expression());
        last = op;
        return op.text == "!" ? logical_not(x) : unary(op.text, x);
    }
    if (op.is("*")) {
        next();
        const operand x = rvalue(unary_expression());
        last = op;
        if (!x.is(kind::pointer)) {
            fail(tvr_join("'*' needs a pointer but got a ", tvrk_type_name(settle(x).type)));
        }
        return dereference(x);
    }
    if (op.is("&")) {
        next();
        return address_of(unary_expression(), op);
    }
    return postfix_expression();
}

tvrk_operand tvrk_compiler::address_of(const operand& element, const tvrk_token& op) {
    if (!element.is(kind::memory) || element.place.by_address || !element.place.is_element) {
        fail_at(op, "'&' only works on array elements ('&p[i]')");
    }
    operand pointer;
    pointer.what = kind::pointer;
    pointer.type = element.type;
    pointer.type.kind = tvrk_type_kind::pointer;
    pointer.type.is_const = element.place.read_only;
    pointer.place = element.place;
    pointer.place.is_element = false;
    const uint32_t index = element_index(element.place);
    pointer.place.index = index;
    pointer.place.addend = 0;
    // Traps here; every access through the pointer is tested again all the same.
    if (!unchecked) emit(TVRK_ADDR, new_register(tvrk_prim::u64), element.place.ptr, index);
    return pointer;
}

tvrk_operand tvrk_compiler::postfix_expression() {
    operand x = primary_expression();
    for (;;) {
        const tvrk_token op = peek();
        if (op.is("[")) {
            next();
            if (!x.is(kind::memory)) x = rvalue(x);
            const operand index = rvalue(expression());
            expect("]");
            last = op;
            x = index_into(x, index);
        } else if (op.is(".") || op.is("->")) {
            next();
            if (peek().kind != tvrk_token_kind::word) fail_found("a field name");
            x = field_of(x, next(), op.text == "->");
        } else if (op.is("(")) {
            next();
            fail("only named functions can be called");
        } else {
            return x;
        }
    }
}

tvrk_operand tvrk_compiler::parenthesis() {
    if (at_type() && (peek(1).is(")") || (peek(1).is("*") && peek(2).is(")")))) {
        const std::string name(peek().text);
        fail_at(peek(), tvr_join("C style casts are not supported, write ", name, "(value)"));
    }
    if (peek().is("const")) {
        fail_at(peek(),
                tvr_join("C style casts are not supported, write ", peek(1).text, "(value)"));
    }
    operand x = expression();
    expect(")");
    x.from_call = false;
    return x;
}

tvrk_operand tvrk_compiler::number_literal(const tvrk_token& token) {
    operand x;
    x.what = kind::literal;
    x.number.is_float = token.kind == tvrk_token_kind::floating;
    x.number.is_unsigned = token.is_unsigned;
    x.number.is_f32 = token.is_f32;
    x.number.integer = token.integer;
    x.number.number = token.number;
    if (token.is_f32) {
        x.number.number = double(float(token.number));
        if (!(x.number.number <= 3.4028234663852886e38)) {
            fail("float literal does not fit into f32");
        }
    }
    return x;
}

tvrk_operand tvrk_compiler::primary_expression() {
    const tvrk_token& token = peek();
    if (token.kind == tvrk_token_kind::integer || token.kind == tvrk_token_kind::floating) {
        return number_literal(next());
    }
    if (token.kind == tvrk_token_kind::word) return name_expression(next());
    if (accept("(")) return parenthesis();
    if (token.is("{")) {
        fail_at(token,
                "a {...} list is only allowed to initialize a variable or in a return statement");
    }
    fail_found("an expression");
}

tvrk_operand tvrk_compiler::name_expression(const tvrk_token& name) {
    if (name.text == "true" || name.text == "false") {
        return constant(tvrk_prim::boolean, name.text == "true");
    }
    if (name.text == "sizeof") return size_of();
    if (name.text.starts_with('g') && tvrk_is_reserved(name.text)) return special(name);
    if (tvrk_is_reserved(name.text)) {
        fail_at(name, tvr_join("expected an expression but found ", describe(name)));
    }
    int64_t index = -1;
    if (const variable* found = find_variable(name.text, &index)) {
        if (peek().is("(")) fail("only named functions can be called");
        operand x = found->value;
        x.variable = index;
        return x;
    }
    if (peek().is("(")) return function_call(name);
    return global_name(name);
}

bool tvrk_compiler::at_change() const {
    return tvrk_is_assignment(peek()) || peek().is("++") || peek().is("--");
}

tvrk_operand tvrk_compiler::special(const tvrk_token& name) {
    if (current == nullptr || constants_only) {
        fail_at(name, tvr_join("unknown name '", name.text, "'"));
    }
    uint16_t where = program->gid;
    if (name.text == "gsize") where = program->gsize;
    if (name.text == "gid_x") where = program->gid_x;
    if (name.text == "gid_y") where = program->gid_y;
    if (name.text == "gsize_x") where = program->gsize_x;
    if (name.text == "gsize_y") where = program->gsize_y;
    if (name.text == "gid_x" || name.text == "gid_y") program->uses_2d = true;
    if (at_change()) fail_at(name, tvr_join("'", name.text, "' is read only"));
    return value_in(where, tvrk_prim::u64);
}

tvrk_operand tvrk_compiler::global_name(const tvrk_token& name) {
    const auto type = named_type(name.text);
    if (type && type->is_struct()) {
        fail_at(name, tvr_join("'", name.text, "' is a struct type, not a value"));
    }
    if (type) {
        fail_at(name, tvr_join("'", name.text, "' is a type, convert values with '", name.text,
                               "(value)'"));
    }
    const found_symbol found = find_symbol(name.text);
    if (found.symbol == nullptr && !is_builtin(name.text)) {
        fail_at(name, tvr_join("unknown name '", name.text, "'"));
    }
    if (found.symbol == nullptr || found.symbol->what != tvrk_symbol::kind::constant) {
        fail_at(name, tvr_join("'", name.text, "' is a kernel function, call it with '", name.text,
                               "(...)'"));
    }
    if (at_change()) fail_at(name, tvr_join("'", name.text, "' is a constant"));
    const tvrk_constant& held = found.unit->constants[found.symbol->index];
    return constant(held.prim, held.value.u);
}

tvrk_operand tvrk_compiler::function_call(const tvrk_token& name) {
    if (const auto type = named_type(name.text)) return conversion_call(*type, name);
    const found_symbol found = find_symbol(name.text);
    if (found.symbol != nullptr && found.symbol->what == tvrk_symbol::kind::helper) {
        return call_helper(*found.unit->helpers[found.symbol->index], name);
    }
    if (found.symbol != nullptr && found.symbol->what == tvrk_symbol::kind::kernel) {
        fail_at(name, tvr_join("'", name.text,
                               "' is an entry kernel and cannot be called from kernel code "
                               "(declare helpers with 'kernel inline')"));
    }
    if (found.symbol == nullptr && is_builtin(name.text)) {
        operand x = builtin_call(name);
        x.from_call = true;
        return x;
    }
    fail_at(name, tvr_join("unknown function '", name.text, "'"));
}

tvrk_operand tvrk_compiler::size_of() {
    const tvrk_token word = last;
    expect("(");
    if (!at_type()) fail_at(peek(), "sizeof expects a type");
    const tvrk_type held = value_type();
    if (held.is_void()) fail_at(word, "sizeof(void) is not defined");
    expect(")");
    operand x;
    x.what = kind::literal;
    x.number.integer = tvrk_wide(held.size());
    return x;
}

// T(value): one number, or the components of a vector.
tvrk_operand tvrk_compiler::conversion_call(const tvrk_type& to, const tvrk_token& name) {
    if (to.is_struct()) {
        fail_at(name, tvr_join("structs have no constructor, write '", name.text, " v = {...};'"));
    }
    if (to.is_void()) fail_at(name, tvr_join("unknown function '", name.text, "'"));
    if (to.is_scalar()) {
        operand x = arguments(name, 1)[0];
        last = name;
        return convert_explicit(rvalue(x), to);
    }
    if (to.prim == tvrk_prim::boolean) {
        fail_at(name, "vectors of bool are not supported (compare the components one by one)");
    }
    note_vector(to);
    return vector_of(to, components(to, name));
}

std::vector<tvrk_operand> tvrk_compiler::components(const tvrk_type& to, const tvrk_token& name) {
    expect("(");
    std::vector<operand> given;
    if (!accept(")")) {
        do {
            given.push_back(rvalue(expression()));
            if (given.back().is(kind::condition)) given.back() = materialise(given.back());
        } while (accept(","));
        expect(")");
    }
    last = name;
    if (given.size() != 1 && given.size() != to.lanes) {
        fail_at(name, tvr_join("'", name.text, "' expects 1 or ", size_t(to.lanes),
                               " values but got ", given.size()));
    }
    return given;
}

// A single value stands for all components, if it is no vector itself.
tvrk_operand tvrk_compiler::vector_of(const tvrk_type& to, const std::vector<operand>& given) {
    operand made;
    made.what = kind::value;
    made.type = to;
    const tvrk_type component = tvrk_scalar(to.prim);
    const bool single = given.size() == 1, spread = single && !given[0].type.is_vector();
    for (size_t lane = 0; lane < to.lanes; ++lane) {
        operand x = given[single ? 0 : lane];
        if (x.is(kind::value) && x.type.is_vector()) {
            if (!single || x.type.lanes != to.lanes) refuse(x, component);
            x = vector_component(x, lane);
        }
        made.regs[lane] = lane > 0 && spread ? made.regs[0] : reg(convert_explicit(x, component));
    }
    return made;
}
