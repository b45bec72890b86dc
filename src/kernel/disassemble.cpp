// Programs as text, for people and for tests.

#include <cstdio>

#include "base/join.h"
#include "kernel/ops.h"
#include "kernel/program.h"

namespace {

constexpr size_t name_column = 12;

std::string constant_text(const tvrk_const& c) {
    char text[40];
    switch (c.prim) {
    case tvrk_prim::f32: std::snprintf(text, sizeof text, "%.9g", double(c.value.f)); break;
    case tvrk_prim::f64: std::snprintf(text, sizeof text, "%.17g", c.value.d); break;
    case tvrk_prim::u8:
    case tvrk_prim::u16:
    case tvrk_prim::u32:
    case tvrk_prim::u64:
        std::snprintf(text, sizeof text, "%llu", static_cast<unsigned long long>(c.value.u));
        break;
    default: std::snprintf(text, sizeof text, "%lld", static_cast<long long>(c.value.i));
    }
    return text;
}

bool is_math(uint16_t op) {
    return op >= TVRK_MATH1_F32 && op <= TVRK_MATH2_F64;
}

// `field` is a, b, c in turn for letters that take one of them.
std::string operand_text(const tvrk_inst& in, char letter, uint32_t field) {
    switch (letter) {
    case 'P': return tvr_join('p', field);
    case 'J': return tvr_join('@', in.imm);
    case 'K':
    case 'S': return tvr_join('#', uint64_t(in.imm));
    case 'O': return tvr_join(in.imm < 0 ? "" : "+", in.imm);
    case 'I': return tvr_join('r', in.imm & 0xffff);
    case 'T': return is_math(in.op) ? tvrk_math_name(field) : tvrk_prim_name(tvrk_prim(field));
    default: return tvr_join('r', field);
    }
}

void append_operands(std::string& out, const tvrk_inst& in) {
    const uint32_t fields[] = {in.a, in.b, in.c};
    size_t next = 0;
    const char* format = tvrk_op_format(in.op);
    for (const char* letter = format; *letter != 0; ++letter) {
        if (letter != format) out += ", ";
        const bool in_imm = std::string_view("SIOKJ").find(*letter) != std::string_view::npos;
        // The fourth letter of DRRT has no field left and lies in imm.
        const auto field = in_imm ? 0 : next < 3 ? fields[next++] : uint32_t(in.imm);
        out += operand_text(in, *letter, field);
    }
}

void append_accs(std::string& out, const std::vector<tvrk_acc>& accs) {
    if (accs.empty()) return;
    if (accs.size() == 1 && accs[0].name.empty()) {
        tvr_append(out += ", acc: r", accs[0].reg);
        return;
    }
    out += ", acc:";
    for (const tvrk_acc& acc : accs) out += tvr_join(' ', acc.name, "=r", acc.reg);
}

void append_head(std::string& out, const tvrk_program& p) {
    out += tvr_join("kernel ", p.name, '(');
    for (const tvrk_param& param : p.params) {
        if (&param != p.params.data()) out += ", ";
        out += tvr_join(param.type_name, ' ', param.name, param.is_pointer ? " -> p" : " -> r",
                        param.is_pointer ? param.ptr : param.reg);
    }
    out += ')';
    if (p.has_result) out += " -> " + p.result_text;
    out += tvr_join("\n  registers: ", p.num_regs, ", pointers: ", p.num_ptrs, ", gid: r", p.gid,
                    ", gsize: r", p.gsize);
    append_accs(out, p.accs);
    if (p.frame_bytes > 0) {
        out += tvr_join(", frame: p", p.frame_ptr, " (", p.frame_bytes, " bytes)");
    }
    out += '\n';
}

void append_code(std::string& out, const tvrk_program& p, size_t count) {
    char text[32];
    for (size_t i = 0; i < count; ++i) {
        const std::string_view name = tvrk_op_name(p.code[i].op);
        std::snprintf(text, sizeof text, "  %04u  ", unsigned(i));
        out.append(text).append(name);
        if (name.size() < name_column) out.append(name_column - name.size(), ' ');
        append_operands(out, p.code[i]);
        if (i < p.lines.size() && p.lines[i] != 0) tvr_append(out += "; line ", p.lines[i]);
        out += '\n';
    }
}

}  // namespace

std::string tvrk_program::disassemble() const {
    std::string out;
    append_head(out, *this);
    for (const tvrk_const& c : consts) {
        out += tvr_join("  const r", c.reg, " = ", constant_text(c), '\n');
    }
    if (prologue != nullptr) {
        out += "  prologue (once per lane runner):\n";
        append_code(out, *prologue, prologue->code.empty() ? 0 : prologue->code.size() - 1);
    }
    out += "  main:\n";
    append_code(out, *this, code.size());
    return out;
}

std::string tvrk_program::disassemble_code() const {
    std::string out;
    append_code(out, *this, code.size());
    return out;
}
