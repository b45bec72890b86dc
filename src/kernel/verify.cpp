// What the engines take for granted, tested once.

#include <string_view>

#include "base/join.h"
#include "kernel/ops.h"
#include "kernel/program.h"

namespace {

class verifier {
public:
    explicit verifier(const tvrk_program& checked) : p(checked) {}

    std::string run() const {
        if (p.code.empty()) return "no code";
        for (size_t at = 0; at < p.code.size(); ++at) {
            const std::string wrong = check(at);
            if (!wrong.empty()) return tvr_join("instruction ", at, ": ", wrong);
        }
        const uint16_t last = p.code.back().op;
        if (last != TVRK_END && last != TVRK_JMP && last != TVRK_LOOP) return "no END";
        return check_registers();
    }

private:
    std::string check_registers() const {
        for (const uint16_t special :
             {p.gid, p.gsize, p.linear_gid, p.gid_x, p.gid_y, p.gsize_x, p.gsize_y}) {
            if (special >= p.num_regs) return "a special register lies beyond the table";
        }
        for (const tvrk_acc& acc : p.accs) {
            if (acc.reg >= p.num_regs) return "an accumulator lies beyond the table";
        }
        for (const tvrk_const& constant : p.consts) {
            if (constant.reg >= p.num_regs) return "a constant lies beyond the table";
        }
        return "";
    }

    // The batch interpreter knows without looking that the lanes' numbers follow each other.
    bool is_special(uint16_t reg) const {
        return reg == p.gid || reg == p.gid_x || reg == p.gid_y || reg == p.gsize_x;
    }

    std::string check(size_t at) const {
        const tvrk_inst& in = p.code[at];
        if (in.op >= TVRK_OP_COUNT) return "unknown instruction";
        const uint16_t fields[] = {in.a, in.b, in.c};
        size_t next = 0;
        for (const char letter : std::string_view(tvrk_op_format(in.op))) {
            if (letter == 'D' && is_special(in.a)) return "writes a special register";
            if (letter == 'D' || letter == 'R') {
                if (fields[next++] >= p.num_regs) return "register beyond the table";
            } else if (letter == 'P') {
                if (fields[next++] >= pointers()) return "pointer beyond the table";
            } else if (letter == 'I' && (in.imm & 0xffff) >= p.num_regs) {
                return "register beyond the table";
            }
        }
        if (tvrk_is_jump(in.op)) return check_jump(in, at);
        return check_math(in);
    }

    std::string check_jump(const tvrk_inst& in, size_t at) const {
        if (in.imm < 0 || uint64_t(in.imm) >= p.code.size()) return "jump out of the code";
        if (in.op != TVRK_LOOP && uint64_t(in.imm) <= at) return "backward jump without a poll";
        return "";
    }

    static std::string check_math(const tvrk_inst& in) {
        const bool unary = in.op == TVRK_MATH1_F32 || in.op == TVRK_MATH1_F64;
        const bool binary = in.op == TVRK_MATH2_F32 || in.op == TVRK_MATH2_F64;
        if (unary && in.c >= tvrk_unary_math_count) return "unknown function";
        if (binary && in.imm != int64_t(tvrk_math::pow) && in.imm != int64_t(tvrk_math::atan2)) {
            return "unknown function";
        }
        return "";
    }

    size_t pointers() const { return p.num_ptrs + (p.frame_bytes > 0 ? 1 : 0); }

    const tvrk_program& p;
};

}  // namespace

std::string tvrk_verify(const tvrk_program& program) {
    return verifier(program).run();
}
