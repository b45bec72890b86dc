// Tokens in, instructions out: the two ends of the compiler.

#include <cassert>

#include "base/join.h"
#include "kernel/compiler/compiler.h"
#include "kernel/execute.h"

// tokens -------------------------------------------------------------------------------------

const tvrk_token& tvrk_compiler::peek(size_t ahead) const {
    const size_t where = at + ahead;
    return where < tokens->list.size() ? tokens->list[where] : tokens->list.back();
}

tvrk_token tvrk_compiler::next() {
    // First, lest an error is placed by another source's token: a helper's tokens may have begun.
    last = peek();
    if (++tokens_read > max_tokens_read) fail("kernel is too large (too many inlined calls)");
    if (at + 1 < tokens->list.size()) ++at;
    return last;
}

bool tvrk_compiler::accept(std::string_view text) {
    if (!peek().is(text)) return false;
    next();
    return true;
}

tvrk_token tvrk_compiler::expect(std::string_view text) {
    if (!peek().is(text)) fail_found(tvr_join("'", text, "'"));
    return next();
}

tvrk_token tvrk_compiler::expect_name() {
    if (peek().kind != tvrk_token_kind::word) fail_found("a name");
    const tvrk_token name = next();
    if (tvrk_is_reserved(name.text)) fail(tvr_join("'", name.text, "' is a reserved word"));
    if (tvrk_prim_from_name(name.text) != tvrk_prim::void_type || name.text == "void" ||
        vector_type(name.text)) {
        fail(tvr_join("'", name.text, "' is a reserved word"));
    }
    return name;
}

void tvrk_compiler::fail_at(const tvrk_token& where, const std::string& message) const {
    throw tvrk_compile_failure{{tokens->files[where.file], where.line, where.column, message}};
}

void tvrk_compiler::fail(const std::string& message) const {
    fail_at(last.line != 0 ? last : peek(), message);
}

std::string tvrk_compiler::describe(const tvrk_token& token) {
    if (token.kind == tvrk_token_kind::end) return "the end of the kernel source";
    return tvr_join("'", token.text, "'");
}

void tvrk_compiler::fail_found(const std::string& expected) const {
    fail_at(peek(), tvr_join("expected ", expected, " but found ", describe(peek())));
}

// instructions -------------------------------------------------------------------------------

uint16_t tvrk_compiler::program_file(uint16_t token_file) {
    if (file_tokens != tokens) {
        file_tokens = tokens;
        file_map.assign(tokens->files.size(), -1);
    }
    int32_t& mapped = file_map[token_file];
    if (mapped >= 0) return uint16_t(mapped);
    const auto [found, added] =
        file_index.try_emplace(tokens->files[token_file], uint16_t(program->files.size()));
    if (added) program->files.push_back(found->first);
    mapped = found->second;
    return found->second;
}

size_t tvrk_compiler::emit(uint16_t op, uint32_t a, uint32_t b, uint32_t c, int64_t imm) {
    if (constants_only) fail("expected a constant expression");
    if (draft.code.size() >= max_instructions) {
        fail("kernel is too large (too many instructions)");
    }
    tvrk_draft_inst in;
    in.op = op;
    in.a = a;
    in.b = b;
    in.c = c;
    in.imm = imm;
    in.line = last.line;
    in.file = program_file(last.file);
    draft.code.push_back(in);
    return draft.code.size() - 1;
}

uint32_t tvrk_compiler::new_register(tvrk_prim prim) {
    return draft.new_register(tvrk_class_of(prim));
}

tvrk_operand tvrk_compiler::value_in(uint32_t where, tvrk_prim prim) const {
    operand x;
    x.what = kind::value;
    x.type = tvrk_scalar(prim);
    x.regs[0] = where;
    return x;
}

uint32_t tvrk_compiler::constant_register(tvrk_prim prim, uint64_t bits) {
    if (constants_only) fail("expected a constant expression");
    const auto [found, added] = draft.constants.try_emplace({prim, bits}, 0);
    if (!added) return found->second;
    if (draft.constants.size() > max_constants) {
        fail("kernel is too large (too many constants)");
    }
    found->second = draft.new_register(tvrk_class_of(prim), true);
    tvrk_const made;
    made.prim = prim;
    made.value.u = bits;
    draft.constant_list.emplace_back(found->second, made);
    return found->second;
}

uint32_t tvrk_compiler::zero_index() {
    return constant_register(tvrk_prim::u64, 0);
}

uint32_t tvrk_compiler::reg(const operand& x) {
    switch (x.what) {
    case kind::constant: return constant_register(x.type.prim, x.bits);
    case kind::condition: return materialise(x).regs[0];
    case kind::literal:
    case kind::choice: return reg(settle(x));
    default: break;
    }
    assert(x.is(kind::value) && x.type.is_scalar());  // loaded, and one component
    if (x.addend == 0) return x.regs[0];
    const uint32_t sum = new_register(x.type.prim);
    emit(TVRK_ADDI_X64, sum, x.regs[0], 0, x.addend);
    return sum;
}

// What the interpreter makes of it, so that folding cannot differ from running. Nothing if it
// would trap.
std::optional<uint64_t> tvrk_compiler::fold(const tvrk_draft_inst& in, uint64_t x,
                                            uint64_t y) const {
    tvrk_program once;
    once.gid = 3;  // beyond the operands
    once.code = {{in.op, 0, 1, uint16_t(in.c == tvrk_no_reg ? 2 : in.c), in.imm},
                 {TVRK_END, 0, 0, 0, 0}};
    tvrk_reg regs[4] = {};
    regs[1].u = x;
    regs[2].u = y;
    tvrk_trap trap;
    if (tvrk_execute(once, regs, nullptr, 0, 1, nullptr, &trap, 0) != TVRK_TRAP_NONE) return {};
    return regs[0].u;
}

tvrk_operand tvrk_compiler::compute(uint16_t op, tvrk_prim result, const operand& x,
                                    const operand* y, uint32_t c, int64_t imm) {
    const bool is_math = op >= TVRK_MATH1_F32 && op <= TVRK_MATH2_F64;
    const bool known = x.is(kind::constant) && (y == nullptr || y->is(kind::constant));
    if (known && (constants_only || !is_math)) {
        tvrk_draft_inst in;
        in.op = op;
        in.c = y != nullptr ? tvrk_no_reg : c;
        in.imm = imm;
        if (const auto bits = fold(in, x.bits, y != nullptr ? y->bits : 0)) {
            return constant(result, result == tvrk_prim::f32 ? uint32_t(*bits) : *bits);
        }
        if (constants_only && tvrk_family_of(op) == tvrk_op_family::TO_INT) {
            fail(tvr_join("float literal does not fit into ", tvrk_prim_name(result)));
        }
        if (constants_only) {
            const bool modulo = tvrk_op_name(op)[0] == 'M';
            fail(tvr_join("constant expression: ", modulo ? "modulo by zero" : "division by zero"));
        }
    }
    const uint32_t source = reg(x);
    const uint32_t second = y != nullptr ? reg(*y) : c;
    const uint32_t made = new_register(result);
    emit(op, made, source, second, imm);
    return value_in(made, result);
}

void tvrk_compiler::move(uint32_t to, const operand& value) {
    // A pending addend goes straight into the target.
    if (value.is(kind::value) && value.addend != 0) {
        emit(TVRK_ADDI_X64, to, value.regs[0], 0, value.addend);
    } else {
        emit(TVRK_MOV, to, reg(value));
    }
}

void tvrk_compiler::patch(const std::vector<size_t>& jumps) {
    patch(jumps, draft.code.size());
}

void tvrk_compiler::patch(const std::vector<size_t>& jumps, size_t target) {
    for (const size_t jump : jumps) draft.code[jump].imm = int64_t(target);
}

// The frame's address; the place for its instruction was kept at the head of the code.
uint32_t tvrk_compiler::frame_base() {
    tvrk_draft_inst& in = draft.code[0];
    if (in.op == TVRK_NOP) {
        const uint32_t index = zero_index();
        frame_reg = new_register(tvrk_prim::u64);
        in.op = TVRK_ADDRU;
        in.a = frame_reg;
        in.b = program->num_ptrs;
        in.c = index;
    }
    return frame_reg;
}
