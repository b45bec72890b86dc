// What no invocation can change is computed once for each lane runner.

#include "kernel/compiler/optimise.h"

namespace {

constexpr size_t max_hoisted = 4096;  // each keeps a register of its own

}  // namespace

std::vector<tvrk_draft_inst> tvrk_hoist(tvrk_draft& draft, const std::vector<bool>& changes) {
    const tvrk_usage usage = tvrk_count_usage(draft);
    std::vector<bool> steady(draft.classes.size());
    for (uint32_t r = 0; r < steady.size(); ++r) {
        steady[r] = draft.fixed[r] && usage.writes[r] == 0 && !changes[r];
    }
    std::vector<tvrk_draft_inst> prologue;
    for (tvrk_draft_inst& in : draft.code) {
        if (prologue.size() == max_hoisted) break;
        const uint32_t* made = tvrk_operands_of(in).result;
        if (made == nullptr || !tvrk_is_pure(in.op) || draft.fixed[*made]) continue;
        bool all_steady = usage.writes[*made] == 1;
        tvrk_each_source(in, [&](uint32_t r) { all_steady = all_steady && steady[r]; });
        if (!all_steady) continue;
        steady[*made] = true;
        draft.fixed[*made] = true;
        prologue.push_back(in);
        in.op = TVRK_NOP;
    }
    return prologue;
}
