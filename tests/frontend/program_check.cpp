#include "program_check.h"

#include <vector>

#include "base/join.h"
#include "frontend/program/instruction.h"
#include "frontend/program/program_block.h"

namespace {

using block = tvr_program_block_routine;

bool is_jump(uint8_t opcode) {
    return opcode == tvr_op_jmp || opcode == tvr_op_jmp_if_false || opcode == tvr_op_jmp_if_true;
}

bool ends_way(uint8_t opcode) {
    return opcode == tvr_op_jmp || opcode == tvr_op_end_return || opcode == tvr_op_end_break ||
           opcode == tvr_op_end_continue || opcode == tvr_op_call_class_create;
}

class checker {
public:
    checker(const tvr_program_block_root& of, const block& in) : root(of), routine(in) {}

    std::string run() {
        starts.assign(routine.code.size(), no_place);
        for (uint32_t at = 0; at < routine.code.size(); at += info(at).size) {
            if (info(at).size == 0) return at_offset(at, "unknown instruction");
            if (at + info(at).size > routine.code.size()) return at_offset(at, "cut");
            starts[at] = unknown;
        }
        if (routine.kind == tvr_block_kind::loop && !is_place(routine.continue_offset))
            return "continue_offset is inside an instruction";
        reach(0, 0);
        if (routine.kind == tvr_block_kind::loop) reach(routine.continue_offset, 0);
        while (fault.empty() && !waiting.empty()) {
            const uint32_t at = waiting.back();
            waiting.pop_back();
            follow(at);
        }
        return fault;
    }

private:
    static constexpr int unknown = -1, no_place = -2;

    const tvr_instruction_info& info(uint32_t at) const {
        return tvr_instruction(routine.code[at]);
    }
    std::string at_offset(uint32_t at, const std::string& what) const {
        return tvr_join(routine.name, " at ", at, " (", info(at).name, "): ", what);
    }
    bool is_place(uint32_t at) const {
        return at == routine.code.size() || (at < starts.size() && starts[at] != no_place);
    }

    // One way leads here with this depth.
    void reach(uint32_t at, int depth) {
        if (at == routine.code.size()) {
            if (depth != 0) fault = tvr_join(routine.name, " ends with depth ", depth);
        } else if (!is_place(at)) {
            fault = tvr_join(routine.name, ": a jump to ", at);
        } else if (starts[at] == unknown) {
            starts[at] = depth;
            waiting.push_back(at);
        } else if (starts[at] != depth) {
            fault = at_offset(at, tvr_join("depths ", starts[at], " and ", depth));
        }
    }

    void follow(uint32_t at) {
        const uint8_t opcode = routine.code[at];
        const int depth = starts[at];
        const auto [pops, pushes] = effect(at);
        if (depth < pops) {
            fault = at_offset(at, tvr_join("needs ", pops, " slots, has ", depth));
            return;
        }
        if (const std::string wrong = wrong_name(at); !wrong.empty()) {
            fault = at_offset(at, wrong);
            return;
        }
        const int after = depth - pops + pushes;
        if (is_jump(opcode)) reach(at + uint32_t(field<int32_t>(at, 4)), after);
        if (fault.empty() && !ends_way(opcode)) reach(at + info(at).size, after);
    }

    template <typename T>
    T field(uint32_t at, size_t position) const {
        return tvr_read_field<T>(&routine.code[at], position);
    }

    struct slots {
        int pops, pushes;
    };

    slots effect(uint32_t at) const {
        const uint8_t* from = &routine.code[at];
        switch (*from) {
        case tvr_op_push_stack: return {0, 1};
        case tvr_op_push_stack_copy: return {1, 2};
        case tvr_op_pop_stack: return {int(field<uint32_t>(at, 4)), 0};
        case tvr_op_call_subroutine:
        case tvr_op_call_subroutine_default_arg:
        case tvr_op_call_class_top_constructor:
        case tvr_op_call_class_create:
        case tvr_op_jmp:
        case tvr_op_end_break:
        case tvr_op_end_continue: return {0, 0};
        case tvr_op_end_return: return {1, 0};
        case tvr_op_set_and_pop_stack:
        case tvr_op_json_list_add:
        case tvr_op_json_expression:
        case tvr_op_cmp_equal:
        case tvr_op_cmp_bigger:
        case tvr_op_cmp_smaller: return {2, 1};
        case tvr_op_json_expression_set: return {3, 1};
        case tvr_op_json_expression_peek: return {2, 3};
        case tvr_op_set_lambda: return from[1] == 0 ? slots{2, 1} : slots{1, 1};
        case tvr_op_call_method: return {from[1] + 1, 1};
        default: break;
        }
        const bool binary = (*from >= tvr_op_add && *from <= tvr_op_bxor) || *from == tvr_op_mod;
        return binary ? slots{2, 1} : slots{1, 1};
    }

    // What the fields name must exist.
    std::string wrong_name(uint32_t at) const {
        const uint8_t* from = &routine.code[at];
        switch (*from) {
        case tvr_op_return_local_var: return wrong_variable(&routine, field<uint32_t>(at, 4));
        case tvr_op_return_parent_var:
            return wrong_variable(inner_parent(field<uint32_t>(at, 4)), field<uint32_t>(at, 8));
        case tvr_op_return_global_var: return wrong_variable(&root, field<uint32_t>(at, 4));
        case tvr_op_call_subroutine: return wrong_block(&routine, field<uint32_t>(at, 4), true);
        case tvr_op_return_function:
            return wrong_block(parent(from[1]), field<uint32_t>(at, 4), false);
        case tvr_op_return_string:
        case tvr_op_json_literal: return wrong_string(field<uint32_t>(at, 4));
        case tvr_op_call_method: return wrong_string(field<uint32_t>(at, 8));
        case tvr_op_call_subroutine_default_arg:
            return from[1] < routine.num_params &&
                           routine.default_blocks[from[1]] < routine.sub_blocks.size()
                       ? ""
                       : "no such default";
        default: return "";
        }
    }

    const block* parent(uint32_t levels) const {
        const block* found = &routine;
        for (; levels > 0 && found != nullptr; --levels)
            found = static_cast<const block*>(found->parent.get());
        return found;
    }
    // The same without leaving the function.
    const block* inner_parent(uint32_t levels) const {
        const block* found = &routine;
        for (; levels > 0 && found != nullptr; --levels) {
            const bool inside =
                found->kind == tvr_block_kind::loop || found->kind == tvr_block_kind::scoped;
            found = inside ? static_cast<const block*>(found->parent.get()) : nullptr;
        }
        return found;
    }
    static std::string wrong_variable(const block* of, uint32_t index) {
        return of != nullptr && index < of->variables.size() ? "" : "no such variable";
    }
    static std::string wrong_block(const block* of, uint32_t index, bool inner) {
        if (of == nullptr || index >= of->sub_blocks.size()) return "no such block";
        const tvr_block_kind kind = of->sub_blocks[index]->kind;
        return inner == (kind == tvr_block_kind::function) ? "a block of the wrong kind" : "";
    }
    std::string wrong_string(uint32_t index) const {
        return index < root.strings.size() ? "" : "no such string";
    }

    const tvr_program_block_root& root;
    const block& routine;
    std::vector<int> starts;  // by offset: depth in front of the instruction there
    std::vector<uint32_t> waiting;
    std::string fault;
};

}  // namespace

std::string fault_of(const tvr_program_block_root& program) {
    std::vector<const block*> waiting{&program};
    while (!waiting.empty()) {
        const block& next = *waiting.back();
        waiting.pop_back();
        if (std::string fault = checker(program, next).run(); !fault.empty()) return fault;
        if (next.catch_block) waiting.push_back(next.catch_block.get());
        for (const auto& sub : next.sub_blocks)
            waiting.push_back(static_cast<const block*>(sub.get()));
    }
    return {};
}
