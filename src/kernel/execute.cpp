// The scalar interpreter.
//
// Direct threading: every handler ends with its own fetch and jump through the table of labels, so
// the processor learns the successors of each instruction by themselves.

#include "kernel/execute.h"

#include <cmath>
#include <cstring>

#include "kernel/arithmetic.h"
#include "kernel/ops.h"

#pragma GCC diagnostic ignored "-Wpedantic"  // labels as values

namespace {

// What a trap leaves behind; the handler knows only the cause.
struct trap_site {
    const tvrk_program& program;
    const tvrk_reg* regs;
    tvrk_trap* trap;

    [[gnu::noinline, gnu::cold]] uint32_t stop(uint32_t code, const tvrk_inst* in, uint64_t value,
                                               uint64_t limit, double fvalue = 0) const {
        trap->code = code;
        trap->pc = uint32_t(in - program.code.data());
        trap->gid = regs[program.gid].u;
        trap->value = int64_t(value);
        trap->limit = limit;
        trap->fvalue = fvalue;
        return code;
    }
};

void place_2d(const tvrk_program& program, tvrk_reg* regs, uint64_t gid) {
    const uint64_t width = regs[program.gsize_x].u != 0 ? regs[program.gsize_x].u : 1;
    regs[program.gid_x].u = gid % width;
    regs[program.gid_y].u = gid / width;
}

void step_2d(const tvrk_program& program, tvrk_reg* regs) {
    if (++regs[program.gid_x].u < regs[program.gsize_x].u) return;
    regs[program.gid_x].u = 0;
    ++regs[program.gid_y].u;
}

}  // namespace

// What follows is the table turned into code.
// NOLINTBEGIN(bugprone-macro-parentheses,bugprone-signed-char-misuse,readability-function-size)

// Operands of the table's expressions. Formats without a second source leave y unused.
#define TVRK_XY(first, second)                             \
    [[maybe_unused]] const tvrk_reg& x = regs[in->first];  \
    [[maybe_unused]] const tvrk_reg& y = regs[in->second]; \
    [[maybe_unused]] const auto imm = uint64_t(in->imm);

#define TVRK_NEXT goto* labels[(++in)->op]
#define TVRK_GOTO goto* labels[(in = code + in->imm)->op]
#define TVRK_STOP(...) return site.stop(__VA_ARGS__)

#define TVRK_DO_NOP(unused) TVRK_NEXT;
#define TVRK_DO_END(unused)                      \
    if (++gid >= gid_end) return TVRK_TRAP_NONE; \
    regs[program.gid].u = gid;                   \
    if (program.uses_2d) step_2d(program, regs); \
    goto* labels[(in = code)->op];
#define TVRK_DO_MOVE(unused)       \
    regs[in->a].u = regs[in->b].u; \
    TVRK_NEXT;
#define TVRK_DO_JUMP(unused) TVRK_GOTO;
#define TVRK_DO_LOOP(unused)                                        \
    if (abort != nullptr && abort->load(std::memory_order_relaxed)) \
        TVRK_STOP(TVRK_TRAP_ABORT, in, 0, 0);                       \
    TVRK_GOTO;
#define TVRK_DO_BRANCH(...)         \
    {                               \
        TVRK_XY(a, b)               \
        if (__VA_ARGS__) TVRK_GOTO; \
        TVRK_NEXT;                  \
    }
#define TVRK_DO_BRANCH_F TVRK_DO_BRANCH
#define TVRK_DO_SET(view, ...)          \
    {                                   \
        TVRK_XY(b, c)                   \
        regs[in->a].view = __VA_ARGS__; \
        TVRK_NEXT;                      \
    }
#define TVRK_DO_SET_F(...) TVRK_DO_SET(f, __VA_ARGS__)
#define TVRK_DO_COMPARE_F(...) TVRK_DO_SET(i, __VA_ARGS__)
#define TVRK_DO_SET_K(view, ...)                   \
    {                                              \
        TVRK_XY(b, b)                              \
        [[maybe_unused]] const uint64_t c = in->c; \
        regs[in->a].view = __VA_ARGS__;            \
        TVRK_NEXT;                                 \
    }
#define TVRK_DO_DIVIDE_S(lowest, ...)                                              \
    {                                                                              \
        TVRK_XY(b, c)                                                              \
        if (y.i == 0) TVRK_STOP(TVRK_TRAP_ZERO_DIVISOR, in, 0, 0);                 \
        if (x.i == lowest && y.i == -1) TVRK_STOP(TVRK_TRAP_OVERFLOW, in, x.u, 0); \
        regs[in->a].i = __VA_ARGS__;                                               \
        TVRK_NEXT;                                                                 \
    }
#define TVRK_DO_DIVIDE_U(...)                                      \
    {                                                              \
        TVRK_XY(b, c)                                              \
        if (y.u == 0) TVRK_STOP(TVRK_TRAP_ZERO_DIVISOR, in, 0, 0); \
        regs[in->a].u = __VA_ARGS__;                               \
        TVRK_NEXT;                                                 \
    }
#define TVRK_DO_MATH1_F(unused) TVRK_DO_SET(f, k_math1_f32(tvrk_math(in->c), x.f))
#define TVRK_DO_MATH1_D(unused) TVRK_DO_SET(d, k_math1_f64(tvrk_math(in->c), x.d))
#define TVRK_DO_MATH2_F(unused) TVRK_DO_SET(f, k_math2_f32(tvrk_math(imm), x.f, y.f))
#define TVRK_DO_MATH2_D(unused) TVRK_DO_SET(d, k_math2_f64(tvrk_math(imm), x.d, y.d))
#define TVRK_DO_TO_INT(...)                                                           \
    {                                                                                 \
        TVRK_XY(b, b)                                                                 \
        const double v = __VA_ARGS__;                                                 \
        int64_t whole;                                                                \
        if (!k_f2i(v, in->c, &whole)) TVRK_STOP(TVRK_TRAP_FLOAT_TO_INT, in, 0, 0, v); \
        regs[in->a].i = whole;                                                        \
        TVRK_NEXT;                                                                    \
    }

// Memory: `ptr` is the binding, `index` the element.
#define TVRK_TEST(ptr, index)            \
    if (index >= ptr.count) [[unlikely]] \
        TVRK_STOP(TVRK_TRAP_BOUNDS, in, index, ptr.count);
#define TVRK_NO_TEST(ptr, index)
#define TVRK_READ(type, view, address)  \
    type v;                             \
    std::memcpy(&v, address, sizeof v); \
    regs[in->a].view = v;               \
    TVRK_NEXT;
#define TVRK_WRITE(type, view, address)    \
    const auto v = type(regs[in->a].view); \
    std::memcpy(address, &v, sizeof v);    \
    TVRK_NEXT;
#define TVRK_ELEMENT(test, access, type, view)                               \
    {                                                                        \
        const tvrk_ptr& ptr = ptrs[in->b];                                   \
        const uint64_t index = regs[in->c].u + uint64_t(in->imm);            \
        test(ptr, index) access(type, view, ptr.base + index * sizeof(type)) \
    }
#define TVRK_FIELD(test, access, type, view)                                                   \
    {                                                                                          \
        const tvrk_ptr& ptr = ptrs[in->b];                                                     \
        const uint64_t index = regs[in->c].u;                                                  \
        test(ptr, index) access(type, view, ptr.base + index * ptr.stride + uint64_t(in->imm)) \
    }
#define TVRK_DO_LOAD(type, view) TVRK_ELEMENT(TVRK_TEST, TVRK_READ, type, view)
#define TVRK_DO_LOAD_U(type, view) TVRK_ELEMENT(TVRK_NO_TEST, TVRK_READ, type, view)
#define TVRK_DO_LOAD_FIELD(type, view) TVRK_FIELD(TVRK_TEST, TVRK_READ, type, view)
#define TVRK_DO_LOAD_FIELD_U(type, view) TVRK_FIELD(TVRK_NO_TEST, TVRK_READ, type, view)
#define TVRK_DO_LOAD_AT(type, view) \
    { TVRK_READ(type, view, regs[in->b].p + in->imm) }
#define TVRK_DO_STORE(type, view) TVRK_ELEMENT(TVRK_TEST, TVRK_WRITE, type, view)
#define TVRK_DO_STORE_U(type, view) TVRK_ELEMENT(TVRK_NO_TEST, TVRK_WRITE, type, view)
#define TVRK_DO_STORE_FIELD(type, view) TVRK_FIELD(TVRK_TEST, TVRK_WRITE, type, view)
#define TVRK_DO_STORE_FIELD_U(type, view) TVRK_FIELD(TVRK_NO_TEST, TVRK_WRITE, type, view)
#define TVRK_DO_STORE_AT(type, view) \
    { TVRK_WRITE(type, view, regs[in->b].p + in->imm) }
#define TVRK_ADDRESS_OF(test)                                           \
    {                                                                   \
        const tvrk_ptr& ptr = ptrs[in->b];                              \
        const uint64_t index = regs[in->c].u;                           \
        test(ptr, index) regs[in->a].p = ptr.base + index * ptr.stride; \
        TVRK_NEXT;                                                      \
    }
#define TVRK_DO_ADDRESS(unused) TVRK_ADDRESS_OF(TVRK_TEST)
#define TVRK_DO_ADDRESS_U(unused) TVRK_ADDRESS_OF(TVRK_NO_TEST)
#define TVRK_DO_COPY(unused)                                     \
    std::memmove(regs[in->a].p, regs[in->b].p, size_t(in->imm)); \
    TVRK_NEXT;
#define TVRK_DO_ZERO(unused)                        \
    std::memset(regs[in->a].p, 0, size_t(in->imm)); \
    TVRK_NEXT;
#define TVRK_ADD_AT(type, view, add, address, value)                 \
    uint8_t* const at = address;                                     \
    if ((reinterpret_cast<uintptr_t>(at) & (sizeof(type) - 1)) != 0) \
        TVRK_STOP(TVRK_TRAP_ALIGNMENT, in, 0, sizeof(type));         \
    regs[in->a].view = type(add(at, regs[value].u));                 \
    TVRK_NEXT;
#define TVRK_DO_ATOMIC_ADD(type, view, add)                                            \
    {                                                                                  \
        const tvrk_ptr& ptr = ptrs[in->b];                                             \
        const uint64_t index = regs[in->c].u;                                          \
        TVRK_TEST(ptr, index)                                                          \
        TVRK_ADD_AT(type, view, add, ptr.base + index * ptr.stride, uint16_t(in->imm)) \
    }
#define TVRK_DO_ATOMIC_ADD_AT(type, view, add) \
    { TVRK_ADD_AT(type, view, add, regs[in->b].p + in->imm, in->c) }
#define TVRK_DO_CHECK_INDEX(unused)                                             \
    if (regs[in->a].u >= uint64_t(in->imm)) [[unlikely]]                        \
        TVRK_STOP(TVRK_TRAP_ARRAY_INDEX, in, regs[in->a].u, uint64_t(in->imm)); \
    TVRK_NEXT;

uint32_t tvrk_execute(const tvrk_program& program, tvrk_reg* regs, const tvrk_ptr* ptrs,
                      uint64_t gid_begin, uint64_t gid_end, const std::atomic<bool>* abort,
                      tvrk_trap* trap, uint64_t start_pc) {
    static const void* const labels[] = {
#define TVRK_ROW(name, ...) &&do_##name,
        TVRK_OPS(TVRK_ROW)
#undef TVRK_ROW
    };
    if (gid_begin >= gid_end || program.code.empty()) return TVRK_TRAP_NONE;
    const tvrk_inst* const code = program.code.data();
    const trap_site site{program, regs, trap};
    uint64_t gid = gid_begin;
    regs[program.gid].u = gid;
    if (program.uses_2d) place_2d(program, regs, gid);
    const tvrk_inst* in = code + start_pc;
    goto* labels[in->op];

#define TVRK_ROW(name, format, family, ...) do_##name : TVRK_DO_##family(__VA_ARGS__)
    TVRK_OPS(TVRK_ROW)
#undef TVRK_ROW
}

// NOLINTEND(bugprone-macro-parentheses,bugprone-signed-char-misuse,readability-function-size)
