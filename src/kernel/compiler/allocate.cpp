// Registers get their final places.
//
// Code is structured: the only way back is LOOP, and every variable is written before it is read.
// So a register is needed from its first to its last appearance, and if it comes from before a
// loop and is read inside, until the loop's end. Registers whose spans do not meet share a place
// if they are of one class. Parameters, specials, accumulators, constants and hoisted values keep
// places of their own, for they live on from one invocation to the next.

#include <algorithm>
#include <queue>

#include "kernel/compiler/optimise.h"

namespace {

constexpr uint32_t max_registers = 32767;
constexpr uint32_t no_place = 0xffffffff;

struct span_of_use {
    uint32_t reg = 0;
    size_t begin = 0, end = 0;
};

class allocation {
public:
    allocation(tvrk_draft& allocated, std::vector<tvrk_draft_inst>& hoisted)
        : draft(allocated), prologue(hoisted), place(allocated.classes.size(), no_place) {}

    bool run(const tvrk_program& program) {
        place_fixed(program);
        find_loops();
        place_temporaries(find_spans());
        return count <= max_registers;
    }

    uint32_t count = 0;

    tvrk_draft& draft;
    std::vector<tvrk_draft_inst>& prologue;
    std::vector<uint32_t> place;

private:
    void place_fixed(const tvrk_program& program) {
        std::vector<bool> used(place.size());
        for (uint32_t r = 0; r <= program.gsize_y; ++r) used[r] = true;
        for (const tvrk_param& param : program.params) {
            if (!param.is_pointer && param.type.is_scalar()) used[param.reg] = true;
        }
        for (const tvrk_acc& acc : program.accs) used[acc.reg] = true;
        for (auto* code : {&draft.code, &prologue}) {
            for (tvrk_draft_inst& in : *code) {
                tvrk_each_source(in, [&](uint32_t r) { used[r] = true; });
                if (const uint32_t* made = tvrk_operands_of(in).result) used[*made] = true;
            }
        }
        for (uint32_t r = 0; r < place.size(); ++r) {
            if (draft.fixed[r] && used[r]) place[r] = count++;
        }
    }

    struct loop_span {
        size_t top, end;
    };

    // For each instruction the innermost loop around it, for each loop the one outside.
    void find_loops() {
        std::vector<size_t> ends(draft.code.size(), 0);  // of the loop with this top, plus 1
        for (size_t i = 0; i < draft.code.size(); ++i) {
            if (draft.code[i].op == TVRK_LOOP) ends[size_t(draft.code[i].imm)] = i + 1;
        }
        std::vector<int> open;
        inside.assign(draft.code.size(), -1);
        for (size_t i = 0; i < draft.code.size(); ++i) {
            while (!open.empty() && loops[size_t(open.back())].end < i) open.pop_back();
            if (ends[i] != 0) {
                outer.push_back(open.empty() ? -1 : open.back());
                loops.push_back({i, ends[i] - 1});
                open.push_back(int(loops.size() - 1));
            }
            inside[i] = open.empty() ? -1 : open.back();
        }
    }

    std::vector<span_of_use> find_spans() {
        constexpr size_t unseen = ~size_t(0);
        std::vector<span_of_use> spans(place.size());
        for (span_of_use& s : spans) s.begin = unseen;
        const auto see = [&](uint32_t r, size_t at) {
            if (draft.fixed[r]) return;
            span_of_use& s = spans[r];
            if (s.begin == unseen) s = {r, at, at};
            s.end = at;
        };
        for (size_t i = 0; i < draft.code.size(); ++i) {
            tvrk_each_source(draft.code[i], [&](uint32_t r) { see(r, i); });
            if (const uint32_t* made = tvrk_operands_of(draft.code[i]).result) see(*made, i);
        }
        spans.erase(std::remove_if(spans.begin(), spans.end(),
                                   [](const span_of_use& s) { return s.begin == unseen; }),
                    spans.end());
        for (span_of_use& s : spans) {
            for (int l = inside[s.end]; l >= 0; l = outer[size_t(l)]) {
                const loop_span& around = loops[size_t(l)];
                if (s.begin < around.top) s.end = std::max(s.end, around.end);
            }
        }
        std::stable_sort(spans.begin(), spans.end(),
                         [](const auto& a, const auto& b) { return a.begin < b.begin; });
        return spans;
    }

    void place_temporaries(const std::vector<span_of_use>& spans) {
        const auto later = [](const span_of_use& a, const span_of_use& b) { return a.end > b.end; };
        std::priority_queue<span_of_use, std::vector<span_of_use>, decltype(later)> live(later);
        std::vector<uint32_t> free_places[3];
        for (const span_of_use& s : spans) {
            // A result may take the place of a source that is read for the last time.
            while (!live.empty() && live.top().end <= s.begin) {
                const uint32_t ended = live.top().reg;
                // A span of one instruction is a result that nobody reads.
                free_places[size_t(draft.classes[ended])].push_back(place[ended]);
                live.pop();
            }
            auto& candidates = free_places[size_t(draft.classes[s.reg])];
            if (candidates.empty()) {
                place[s.reg] = count++;
            } else {
                place[s.reg] = candidates.back();
                candidates.pop_back();
            }
            live.push(s);
        }
    }

    std::vector<loop_span> loops;
    std::vector<int> inside, outer;
};

class finished_code {
public:
    finished_code(const allocation& places, tvrk_program& made) : from(places), program(made) {}

    void write(std::vector<tvrk_draft_inst>& code, tvrk_program& into) const {
        for (tvrk_draft_inst& in : code) {
            tvrk_each_source(in, [this](uint32_t& r) { r = from.place[r]; });
            if (uint32_t* made = tvrk_operands_of(in).result) *made = from.place[*made];
            into.code.push_back({in.op, uint16_t(in.a), uint16_t(in.b), uint16_t(in.c), in.imm});
            into.lines.push_back(in.line);
            into.line_files.push_back(in.file);
        }
    }

    void write_tables() const {
        for (tvrk_param& param : program.params) {
            if (!param.is_pointer && param.type.is_scalar()) renumber(param.reg);
        }
        for (tvrk_acc& acc : program.accs) renumber(acc.reg);
        for (auto [reg, constant] : from.draft.constant_list) {
            if (from.place[reg] == no_place) continue;
            constant.reg = uint16_t(from.place[reg]);
            program.consts.push_back(constant);
        }
        program.num_regs = from.count;
    }

    void write_prologue(std::vector<tvrk_draft_inst>& code) const {
        if (code.empty()) return;
        tvrk_draft_inst end;
        end.op = TVRK_END;
        code.push_back(end);
        auto made = std::make_shared<tvrk_program>();
        made->name = program.name + " (prologue)";
        made->file = program.file;
        made->line = program.line;
        made->num_regs = program.num_regs;
        made->num_ptrs = program.num_ptrs;
        made->frame_ptr = program.frame_ptr;
        made->frame_bytes = program.frame_bytes;
        made->files = program.files;
        for (uint16_t tvrk_program::*special :
             {&tvrk_program::gid, &tvrk_program::gsize, &tvrk_program::linear_gid,
              &tvrk_program::gid_x, &tvrk_program::gid_y, &tvrk_program::gsize_x,
              &tvrk_program::gsize_y}) {
            (*made).*special = program.*special;
        }
        write(code, *made);
        program.prologue = std::move(made);
    }

private:
    void renumber(uint16_t& reg) const { reg = uint16_t(from.place[reg]); }

    const allocation& from;
    tvrk_program& program;
};

}  // namespace

bool tvrk_allocate(tvrk_draft& draft, std::vector<tvrk_draft_inst>& prologue,
                   tvrk_program& program) {
    allocation places(draft, prologue);
    if (!places.run(program)) return false;
    const finished_code out(places, program);
    out.write_tables();
    out.write(draft.code, program);
    out.write_prologue(prologue);
    return true;
}
