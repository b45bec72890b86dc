// Local value numbering.
//
// Every write gives a register a new version, and a value is known by its instruction, operands and
// their versions. So a redefinition of an operand or of the result outdates an entry by itself.
// Tables end where a jump comes in: the block's number is part of every key. Loads also know the
// version of memory, which every store raises.

#include <unordered_map>

#include "kernel/compiler/optimise.h"

namespace {

bool is_load(uint16_t op) {
    switch (tvrk_family_of(op)) {
    case tvrk_op_family::LOAD:
    case tvrk_op_family::LOAD_U:
    case tvrk_op_family::LOAD_FIELD:
    case tvrk_op_family::LOAD_FIELD_U:
    case tvrk_op_family::LOAD_AT: return true;
    default: return false;
    }
}

bool writes_memory(uint16_t op) {
    switch (tvrk_family_of(op)) {
    case tvrk_op_family::STORE:
    case tvrk_op_family::STORE_U:
    case tvrk_op_family::STORE_FIELD:
    case tvrk_op_family::STORE_FIELD_U:
    case tvrk_op_family::STORE_AT:
    case tvrk_op_family::COPY:
    case tvrk_op_family::ZERO:
    case tvrk_op_family::ATOMIC_ADD:
    case tvrk_op_family::ATOMIC_ADD_AT: return true;
    default: return false;
    }
}

struct value_key {
    uint16_t op;
    uint32_t b, c;
    int64_t imm;
    uint32_t versions[2];
    uint32_t block, memory;

    bool operator==(const value_key&) const = default;
};

struct value_hash {
    size_t operator()(const value_key& key) const {
        uint64_t h = key.op;
        for (const uint64_t part :
             {uint64_t(key.b), uint64_t(key.c), uint64_t(key.imm), uint64_t(key.versions[0]),
              uint64_t(key.versions[1]), uint64_t(key.block), uint64_t(key.memory)}) {
            h = (h ^ part) * 0x9e3779b97f4a7c15;
            h ^= h >> 32;
        }
        return size_t(h);
    }
};

struct held_value {
    uint32_t reg = 0, version = 0, block = 0;
};

class numbering {
public:
    explicit numbering(tvrk_draft& numbered)
        : draft(numbered),
          versions(numbered.classes.size(), 0),
          copies(numbered.classes.size()),
          is_target(numbered.code.size() + 1, false) {
        for (const tvrk_draft_inst& in : draft.code) {
            if (tvrk_is_jump(in.op)) is_target[size_t(in.imm)] = true;
        }
    }

    void run() {
        for (size_t i = 0; i < draft.code.size(); ++i) {
            if (is_target[i]) ++block;
            visit(draft.code[i]);
        }
    }

private:
    void visit(tvrk_draft_inst& in) {
        tvrk_each_source(in, [this](uint32_t& r) {
            const held_value& from = copies[r];
            if (from.block == block && versions[from.reg] == from.version) r = from.reg;
        });
        if (writes_memory(in.op)) ++memory;
        const uint32_t* made = tvrk_operands_of(in).result;
        if (made == nullptr) return;
        const uint32_t result = *made;
        if (in.op != TVRK_MOV && (tvrk_is_pure(in.op) || is_load(in.op))) reuse(in);
        if (in.op == TVRK_MOV && in.b == result) {
            in.op = TVRK_NOP;
            return;
        }
        ++versions[result];
        copies[result].block = 0;
        if (in.op == TVRK_MOV) {
            copies[result] = {in.b, versions[in.b], block};
        } else if (pending != nullptr) {
            *pending = {result, versions[result], block};
        }
        pending = nullptr;
    }

    void reuse(tvrk_draft_inst& in) {
        value_key key{in.op, in.b, in.c, in.imm, {0, 0}, block, is_load(in.op) ? memory : 0};
        size_t at = 0;
        tvrk_each_source(in, [&](uint32_t r) { key.versions[at++ & 1] = versions[r]; });
        held_value& known = values[key];
        if (known.block == block && versions[known.reg] == known.version) {
            in.op = TVRK_MOV;
            in.b = known.reg;
            in.c = 0;
            in.imm = 0;
        } else {
            pending = &known;
        }
    }

    tvrk_draft& draft;
    std::vector<uint32_t> versions;
    std::vector<held_value> copies;  // what each register is a copy of
    std::vector<bool> is_target;
    std::unordered_map<value_key, held_value, value_hash> values;
    held_value* pending = nullptr;  // the entry that the current instruction fills
    uint32_t block = 1;             // 0: no entry
    uint32_t memory = 0;
};

}  // namespace

void tvrk_number_values(tvrk_draft& draft) {
    numbering(draft).run();
}
