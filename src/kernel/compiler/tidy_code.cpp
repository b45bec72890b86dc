// Moves that need not be, values that nobody reads, jumps that lead nowhere.

#include <algorithm>

#include "kernel/compiler/optimise.h"

namespace {

std::vector<bool> find_targets(const std::vector<tvrk_draft_inst>& code) {
    std::vector<bool> targets(code.size() + 1);
    for (const tvrk_draft_inst& in : code) {
        if (tvrk_is_jump(in.op)) targets[size_t(in.imm)] = true;
    }
    return targets;
}

// Drops NOPs; a jump to one goes to what follows it.
void compact(std::vector<tvrk_draft_inst>& code) {
    std::vector<int64_t> moved(code.size() + 1);
    int64_t kept = 0;
    for (size_t i = 0; i < code.size(); ++i) {
        moved[i] = kept;
        if (code[i].op != TVRK_NOP) ++kept;
    }
    moved[code.size()] = kept;
    for (tvrk_draft_inst& in : code) {
        if (tvrk_is_jump(in.op)) in.imm = moved[size_t(in.imm)];
    }
    code.erase(std::remove_if(code.begin(), code.end(),
                              [](const tvrk_draft_inst& in) { return in.op == TVRK_NOP; }),
               code.end());
}

// The same branch with the opposite sense.
uint16_t opposite(uint16_t op) {
    if (op == TVRK_JT) return TVRK_JF;
    if (op == TVRK_JF) return TVRK_JT;
    if (op < TVRK_CMPLT_S) {  // JTEQ, JTNE, JFEQ, JFNE for each view
        return uint16_t((op - TVRK_JTEQ_X) % 4 < 2 ? op + 2 : op - 2);
    }
    constexpr uint16_t group = 12, jumps_if_false = 8;
    return uint16_t((op - TVRK_CMPLT_S) % group < jumps_if_false ? op + 4 : op - 4);
}

bool is_branch(uint16_t op) {
    const tvrk_op_family family = tvrk_family_of(op);
    return family == tvrk_op_family::BRANCH || family == tvrk_op_family::BRANCH_F;
}

// True if something was dropped.
bool tidy_jumps(std::vector<tvrk_draft_inst>& code) {
    const std::vector<bool> targets = find_targets(code);
    bool changed = false;
    const auto drop = [&changed](tvrk_draft_inst& in) {
        in.op = TVRK_NOP;
        changed = true;
    };
    bool reachable = true;
    for (size_t i = 0; i < code.size(); ++i) {
        reachable = reachable || targets[i];
        tvrk_draft_inst& in = code[i];
        const bool last = i + 1 == code.size();
        if (!reachable && !last) {
            drop(in);
            continue;
        }
        const bool leaves = in.op == TVRK_JMP || in.op == TVRK_LOOP || in.op == TVRK_END;
        if (in.op == TVRK_JMP && size_t(in.imm) == i + 1) {
            drop(in);
        } else if (is_branch(in.op) && size_t(in.imm) == i + 2 && code[i + 1].op == TVRK_JMP &&
                   !targets[i + 1]) {
            // Around a jump: `if (c) break;`
            in.op = opposite(in.op);
            in.imm = code[i + 1].imm;
            drop(code[i + 1]);
        }
        if (leaves) reachable = false;
        if (leaves && in.op == TVRK_NOP) reachable = true;
    }
    if (changed) compact(code);
    return changed;
}

// t = ...; v = t; becomes v = ... if nobody looks at v in between and nobody else at t.
void merge_moves(tvrk_draft& draft) {
    const tvrk_usage usage = tvrk_count_usage(draft);
    const std::vector<bool> targets = find_targets(draft.code);
    constexpr size_t never = ~size_t(0);
    std::vector<size_t> made_at(draft.classes.size(), never);
    std::vector<size_t> touched_at(draft.classes.size(), 0);  // last read or write, plus 1
    size_t block_begin = 0;
    for (size_t i = 0; i < draft.code.size(); ++i) {
        tvrk_draft_inst& in = draft.code[i];
        if (targets[i]) block_begin = i;
        const bool temporary = in.op == TVRK_MOV && !draft.fixed[in.b] && usage.writes[in.b] == 1 &&
                               usage.reads[in.b] == 1;
        const size_t origin = temporary ? made_at[in.b] : never;
        // The making instruction may itself read v; it may not be followed by another look.
        if (origin != never && origin >= block_begin && touched_at[in.a] <= origin + 1) {
            *tvrk_operands_of(draft.code[origin]).result = in.a;
            touched_at[in.a] = i + 1;
            made_at[in.a] = origin;
            in.op = TVRK_NOP;
            continue;
        }
        tvrk_each_source(in, [&](uint32_t r) { touched_at[r] = i + 1; });
        if (const uint32_t* made = tvrk_operands_of(in).result) {
            made_at[*made] = i;
            touched_at[*made] = i + 1;
        }
        if (tvrk_is_jump(in.op)) block_begin = i + 1;
    }
}

void drop_unread(tvrk_draft& draft) {
    tvrk_usage usage = tvrk_count_usage(draft);
    for (size_t i = draft.code.size(); i-- > 0;) {
        tvrk_draft_inst& in = draft.code[i];
        const uint32_t* made = tvrk_operands_of(in).result;
        if (made == nullptr || !tvrk_is_pure(in.op)) continue;
        if (draft.fixed[*made] || usage.reads[*made] != 0) continue;
        tvrk_each_source(in, [&](uint32_t r) { --usage.reads[r]; });
        in.op = TVRK_NOP;
    }
}

}  // namespace

void tvrk_tidy_code(tvrk_draft& draft) {
    compact(draft.code);
    constexpr int rounds = 8;  // each can only open what the one before closed
    for (int round = 0; round < rounds && tidy_jumps(draft.code); ++round) continue;
    drop_unread(draft);
    merge_moves(draft);
    compact(draft.code);
}
