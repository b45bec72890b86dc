#include "kernel/compiler/optimise.h"

#include <iterator>

#include "kernel/jit.h"

tvrk_usage tvrk_count_usage(tvrk_draft& draft) {
    tvrk_usage usage;
    usage.writes.assign(draft.classes.size(), 0);
    usage.reads.assign(draft.classes.size(), 0);
    for (tvrk_draft_inst& in : draft.code) {
        tvrk_each_source(in, [&](uint32_t r) { ++usage.reads[r]; });
        if (const uint32_t* made = tvrk_operands_of(in).result) ++usage.writes[*made];
    }
    return usage;
}

namespace {

// A variable that is set once, to a constant or a parameter, is that constant or parameter.
void replace_aliases(tvrk_draft& draft) {
    const tvrk_usage usage = tvrk_count_usage(draft);
    std::vector<uint32_t> alias(draft.classes.size());
    for (uint32_t r = 0; r < alias.size(); ++r) alias[r] = r;
    for (const tvrk_draft_inst& in : draft.code) {
        const bool once = in.op == TVRK_MOV && usage.writes[in.a] == 1 && !draft.fixed[in.a];
        const uint32_t from = in.op == TVRK_MOV ? alias[in.b] : 0;
        if (once && draft.fixed[from] && usage.writes[from] == 0) alias[in.a] = from;
    }
    for (tvrk_draft_inst& in : draft.code) {
        tvrk_each_source(in, [&](uint32_t& r) { r = alias[r]; });
    }
}

}  // namespace

bool tvrk_optimise(tvrk_draft& draft, tvrk_program& program) {
    tvrk_tidy_code(draft);
    replace_aliases(draft);
    tvrk_number_values(draft);
    tvrk_tidy_code(draft);
    const uint32_t varying[] = {program.gid, program.gid_x, program.gid_y};
    std::vector<bool> changes(draft.classes.size());
    for (const uint32_t special : varying) changes[special] = true;
    std::vector<tvrk_draft_inst> prologue = tvrk_hoist(draft, changes);
    replace_aliases(draft);
    tvrk_number_values(draft);
    tvrk_tidy_code(draft);
    if (!tvrk_allocate(draft, prologue, program)) return false;
    program.jit = std::make_shared<tvrk_jit_slot>();
    return true;
}
