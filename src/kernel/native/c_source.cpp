// One C statement or block for each instruction.
//
// The expressions are those of the instruction table, printed with registers in place of x and y.
// Values stay in locals, memory goes through memcpy of constant size, and every test that the
// interpreters make is made here.

#include "kernel/native/c_source.h"

#include <cstdio>
#include <stdexcept>
#include <vector>

#include "base/ascii.h"
#include "base/join.h"
#include "kernel/jit.h"
#include "kernel/ops.h"

namespace {

std::string hex(uint64_t value) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%llxULL", static_cast<unsigned long long>(value));
    return text;
}

std::string reg(uint64_t number) {
    return tvr_join('r', number);
}

class c_function {
public:
    explicit c_function(const tvrk_program& printed) : program(printed) {}

    std::string write(std::string_view head) {
        out = tvr_join(head,
                       "(kreg* regs, const kptr* ptrs, uint64_t gid_begin, uint64_t gid_end, const "
                       "volatile unsigned char* abort, ktrap* trap) {\n");
        write_locals();
        write_loop();
        for (const tvrk_acc& acc : program.accs) {
            out += tvr_join("\tregs[", acc.reg, "] = r", acc.reg, ";\n");
        }
        out += "\treturn 0;\n}\n";
        return std::move(out);
    }

private:
    void write_locals() {
        out += "\tuint64_t gid = gid_begin;\n";
        for (uint32_t r = 0; r < program.num_regs; ++r) {
            out += tvr_join("\tkreg r", r, " = regs[", r, "];\n");
        }
        for (const tvrk_const& constant : program.consts) {
            out += tvr_join("\tr", constant.reg, ".u = ", hex(constant.value.u), ";\n");
        }
        const uint32_t pointers = program.num_ptrs + (program.frame_bytes > 0 ? 1 : 0);
        for (uint32_t p = 0; p < pointers; ++p) {
            out += tvr_join("\tuint8_t* const b", p, " = ptrs[", p, "].base; const uint64_t c", p,
                            " = ptrs[", p, "].count; const uint64_t s", p, " = ptrs[", p,
                            "].stride;\n");
        }
        out += "\tuint32_t k_poll = 0;\n\t(void)abort; (void)ptrs; (void)k_poll;\n";
    }

    void write_loop() {
        const std::string width = reg(program.gsize_x);
        if (program.uses_2d) {
            out += tvr_join("\tuint64_t gw = ", width, ".u ? ", width,
                            ".u : 1;\n\tuint64_t gx = gid_begin % gw, gy = gid_begin / gw;\n");
        }
        out += tvr_join("\tfor (; gid < gid_end; gid++) {\n\t\tr", program.gid, ".u = gid;\n");
        if (program.uses_2d) {
            out += tvr_join("\t\tr", program.gid_x, ".u = gx; r", program.gid_y, ".u = gy;\n");
        }
        std::vector<bool> targets(program.code.size() + 1);
        for (const tvrk_inst& jumper : program.code) {
            if (tvrk_is_jump(jumper.op)) targets[size_t(jumper.imm)] = true;
        }
        for (pc = 0; pc < program.code.size(); ++pc) {
            if (targets[pc]) out += tvr_join("\tL", pc, ":;\n");
            in = &program.code[pc];
            out += "\t\t";
            translate();
            out += '\n';
        }
        out += "\tk_next:;\n";
        if (program.uses_2d) out += "\t\tif (++gx == gw) { gx = 0; gy++; }\n";
        out += "\t}\n";
    }

    // The table's expression with its words replaced.
    std::string text(std::string_view expression, const std::string& x, const std::string& y) {
        std::string made;
        for (size_t i = 0; i < expression.size();) {
            size_t end = i;
            while (end < expression.size() && tvr_is_in_name(expression[end])) ++end;
            if (end == i) {
                made += expression[i++];
                continue;
            }
            const std::string_view word = expression.substr(i, end - i);
            const bool member = i > 0 && expression[i - 1] == '.';
            if (member) {
                made += word;
            } else if (word == "x") {
                made += x;
            } else if (word == "y") {
                made += y;
            } else if (word == "imm") {
                made += hex(uint64_t(in->imm));
            } else if (word == "c") {
                made += tvr_join(in->c, "ULL");
            } else {
                made += word;
            }
            i = end;
        }
        return made;
    }

    void jump() { out += tvr_join("goto L", in->imm, ";"); }

    void branch(std::string_view condition) {
        out += tvr_join("if (", text(condition, reg(in->a), reg(in->b)), ") ");
        jump();
    }

    void loop() {
        out += tvr_join("if (K_UNLIKELY(++k_poll >= 1024u)) { k_poll = 0; if (*abort) K_TRAP(7, ",
                        pc, ", 0, 0); } ");
        jump();
    }

    void set(std::string_view view, std::string_view expression) {
        out +=
            tvr_join(reg(in->a), '.', view, " = ", text(expression, reg(in->b), reg(in->c)), ";");
    }

    void divide(std::string_view view, std::string_view lowest, std::string_view expression) {
        const std::string x = reg(in->b), y = reg(in->c);
        out += tvr_join("{ if (K_UNLIKELY(", y, ".i == 0)) K_TRAP(2, ", pc, ", 0, 0); ");
        if (!lowest.empty()) {
            out += tvr_join("if (K_UNLIKELY(", x, ".i == ", lowest, " && ", y,
                            ".i == -1)) K_TRAP(3, ", pc, ", ", x, ".i, 0); ");
        }
        out += tvr_join(reg(in->a), '.', view, " = ", text(expression, x, y), "; }");
    }

    // floor, ceil, round and trunc are exact and called as they are.
    void math(uint64_t kind, bool narrow, bool two) {
        const char* view = narrow ? ".f" : ".d";
        out += tvr_join(reg(in->a), view, " = ", kind > uint64_t(tvrk_math::trunc) ? "k_" : "",
                        tvrk_math_name(kind), narrow ? "f" : "", '(', reg(in->b), view);
        if (two) out += tvr_join(", ", reg(in->c), view);
        out += ");";
    }

    void to_integer(std::string_view expression) {
        out += tvr_join("{ int64_t o; const double v = ", text(expression, reg(in->b), ""),
                        "; if (K_UNLIKELY(!k_f2i(v, ", in->c, ", &o))) K_TRAPF(4, ", pc, ", v); ",
                        reg(in->a), ".i = o; }");
    }

    std::string test(bool tested) {
        if (!tested) return "";
        return tvr_join("if (K_UNLIKELY(idx >= c", in->b, ")) K_TRAP(1, ", pc, ", idx, c", in->b,
                        "); ");
    }

    void access(bool is_store, std::string_view type, std::string_view view,
                const std::string& address) {
        const std::string cell = tvr_join(reg(in->a), '.', view);
        if (is_store) {
            out += tvr_join("const ", type, " v = (", type, ")", cell, "; memcpy(", address,
                            ", &v, sizeof v); }");
        } else {
            out += tvr_join(type, " v; memcpy(&v, ", address, ", sizeof v); ", cell, " = v; }");
        }
    }

    void element(bool is_store, bool tested, std::string_view type, std::string_view view) {
        out += tvr_join("{ const uint64_t idx = ", reg(in->c), ".u + ", hex(uint64_t(in->imm)),
                        "; ", test(tested));
        access(is_store, type, view, tvr_join("b", in->b, " + idx * sizeof(", type, ")"));
    }

    void field(bool is_store, bool tested, std::string_view type, std::string_view view) {
        out += tvr_join("{ const uint64_t idx = ", reg(in->c), ".u; ", test(tested));
        access(is_store, type, view,
               tvr_join("b", in->b, " + idx * s", in->b, " + ", hex(uint64_t(in->imm))));
    }

    void at_address(bool is_store, std::string_view type, std::string_view view) {
        out += "{ ";
        access(is_store, type, view, tvr_join(reg(in->b), ".p + ", in->imm));
    }

    void address(bool tested) {
        out += tvr_join("{ const uint64_t idx = ", reg(in->c), ".u; ", test(tested), reg(in->a),
                        ".p = b", in->b, " + idx * s", in->b, "; }");
    }

    void atomic(bool by_address, std::string_view type, std::string_view view,
                std::string_view add) {
        const uint64_t value = by_address ? in->c : uint64_t(in->imm) & 0xffff;
        out += "{ ";
        if (by_address) {
            out += tvr_join("uint8_t* const addr = ", reg(in->b), ".p + ", in->imm, "; ");
        } else {
            out += tvr_join("const uint64_t idx = ", reg(in->c), ".u; ", test(true),
                            "uint8_t* const addr = b", in->b, " + idx * s", in->b, "; ");
        }
        const int bytes = add == "k_aadd64" ? 8 : 4;
        out += tvr_join("if (K_UNLIKELY((uintptr_t)addr & ", bytes - 1, ")) K_TRAP(6, ", pc,
                        ", 0, ", bytes, "); ", reg(in->a), '.', view, " = (", type, ")", add,
                        "(addr, ", reg(value), ".u); }");
    }

    void translate();

    const tvrk_program& program;
    std::string out;
    const tvrk_inst* in = nullptr;
    size_t pc = 0;
};

// Each family of the instruction table; a row of a family that is missing here does not compile.
#define TVRK_C_NOP(unused) out += ';'
#define TVRK_C_END(unused) out += "goto k_next;"
#define TVRK_C_MOVE(unused) out += tvr_join(reg(in->a), " = ", reg(in->b), ";")
#define TVRK_C_JUMP(unused) jump()
#define TVRK_C_LOOP(unused) loop()
#define TVRK_C_BRANCH(...) branch(#__VA_ARGS__)
#define TVRK_C_BRANCH_F(...) branch(#__VA_ARGS__)
#define TVRK_C_SET(view, ...) set(#view, #__VA_ARGS__)
#define TVRK_C_SET_K(view, ...) set(#view, #__VA_ARGS__)
#define TVRK_C_SET_F(...) set("f", #__VA_ARGS__)
#define TVRK_C_COMPARE_F(...) set("i", #__VA_ARGS__)
#define TVRK_C_DIVIDE_S(lowest, ...) divide("i", #lowest, #__VA_ARGS__)
#define TVRK_C_DIVIDE_U(...) divide("u", "", #__VA_ARGS__)
#define TVRK_C_MATH1_F(unused) math(in->c, true, false)
#define TVRK_C_MATH1_D(unused) math(in->c, false, false)
#define TVRK_C_MATH2_F(unused) math(uint64_t(in->imm), true, true)
#define TVRK_C_MATH2_D(unused) math(uint64_t(in->imm), false, true)
#define TVRK_C_TO_INT(...) to_integer(#__VA_ARGS__)
#define TVRK_C_LOAD(type, view) element(false, true, #type, #view)
#define TVRK_C_LOAD_U(type, view) element(false, false, #type, #view)
#define TVRK_C_LOAD_FIELD(type, view) field(false, true, #type, #view)
#define TVRK_C_LOAD_FIELD_U(type, view) field(false, false, #type, #view)
#define TVRK_C_LOAD_AT(type, view) at_address(false, #type, #view)
#define TVRK_C_STORE(type, view) element(true, true, #type, #view)
#define TVRK_C_STORE_U(type, view) element(true, false, #type, #view)
#define TVRK_C_STORE_FIELD(type, view) field(true, true, #type, #view)
#define TVRK_C_STORE_FIELD_U(type, view) field(true, false, #type, #view)
#define TVRK_C_STORE_AT(type, view) at_address(true, #type, #view)
#define TVRK_C_ADDRESS(unused) address(true)
#define TVRK_C_ADDRESS_U(unused) address(false)
#define TVRK_C_COPY(unused) \
    out += tvr_join("memmove(", reg(in->a), ".p, ", reg(in->b), ".p, ", in->imm, ");")
#define TVRK_C_ZERO(unused) out += tvr_join("memset(", reg(in->a), ".p, 0, ", in->imm, ");")
#define TVRK_C_ATOMIC_ADD(type, view, add) atomic(false, #type, #view, #add)
#define TVRK_C_ATOMIC_ADD_AT(type, view, add) atomic(true, #type, #view, #add)
#define TVRK_C_CHECK_INDEX(unused)                                                   \
    out += tvr_join("if (K_UNLIKELY(", reg(in->a), ".u >= ", hex(uint64_t(in->imm)), \
                    ")) K_TRAP(5, ", pc, ", ", reg(in->a), ".u, ", hex(uint64_t(in->imm)), ");")

// One case for each row of the table.
// NOLINTNEXTLINE(readability-function-size)
void c_function::translate() {
    switch (in->op) {
#define TVRK_ROW(name, format, family, ...) \
    case TVRK_##name: TVRK_C_##family(__VA_ARGS__); break;
        TVRK_OPS(TVRK_ROW)
#undef TVRK_ROW
    default:
        throw std::runtime_error(tvr_join("tvrk_jit: no C translation for ", tvrk_op_name(in->op)));
    }
}

}  // namespace

std::string tvrk_c_function(const tvrk_program& program, std::string_view head) {
    return c_function(program).write(head);
}

std::string tvrk_jit_source(const tvrk_program& program) {
    return std::string(tvrk_c_prelude()) + tvrk_c_function(program, "K_EXPORT int tvrk_jit_entry");
}
