// Blocks inside a function while it is lowered: their variables and ways out.

#include <algorithm>

#include "runtime/vm/lowering.h"

namespace {

tvr_program_block_routine* sub_routine(const tvr_program_block_routine& routine, uint32_t index) {
    return static_cast<tvr_program_block_routine*>(routine.sub_blocks[index].get());
}

}  // namespace

// Registers for the variables of a block and of those inside it. Blocks beside each other share.
int tvr_lowering::count_variables(tvr_program_block_routine& routine) const {
    int inside = 0;
    const std::vector<uint8_t>& bytes = routine.code;
    for (size_t at = 0; at < bytes.size(); at += tvr_instruction(bytes[at]).size) {
        if (tvr_instruction(bytes[at]).size == 0) break;
        if (bytes[at] != tvr_op_call_subroutine) continue;
        tvr_program_block_routine& sub =
            *sub_routine(routine, tvr_read_field<uint32_t>(&bytes[at], 4));
        inside = std::max(inside, count_variables(sub));
        if (sub.catch_block) inside = std::max(inside, count_variables(*sub.catch_block));
    }
    for (const uint32_t index : routine.default_blocks) {
        if (index == tvr_program_block_routine::no_defaults) continue;
        inside = std::max(inside, count_variables(*sub_routine(routine, index)));
    }
    if (const auto* as_class = dynamic_cast<const tvr_program_block_class*>(&routine)) {
        for (const auto& base : as_class->bases) {
            if (base.definition) inside = std::max(inside, count_variables(*base.definition.get()));
        }
    }
    return int(routine.variables.size()) + inside;
}

tvr_lowering::block tvr_lowering::enter(block& outer, tvr_program_block_routine& routine) {
    block inner;
    inner.routine = &routine;
    inner.outer = &outer;
    inner.first = outer.first + int(outer.routine->variables.size());
    inner.nesting = outer.nesting + 1;
    return inner;
}

int tvr_lowering::variable_register(const block& in, uint32_t index) const {
    return in.slots != nullptr ? int((*in.slots)[index]) : in.first + int(index);
}

tvr_lowering::block* tvr_lowering::block_above(block& in, uint32_t levels) const {
    block* found = &in;
    for (; levels > 0 && found->outer != nullptr; --levels) found = found->outer;
    return found;
}

void tvr_lowering::clear_variables(int from, int to) {
    if (from < to) emit(op::op_clear, from, to);
}

bool tvr_lowering::lower_subroutine(block& in, uint32_t index) {
    tvr_program_block_routine& routine = *sub_routine(*in.routine, index);
    if (routine.is_try) return lower_try(in, routine);
    block inner = enter(in, routine);
    if (!lower_block(inner)) return false;
    for (const size_t jump : inner.leave) land(jump);
    if (!inner.leave.empty()) reachable = true;
    if (reachable) clear_variables(inner.first, inner.first + int(routine.variables.size()));
    return true;
}

bool tvr_lowering::lower_try(block& in, tvr_program_block_routine& routine) {
    const std::vector<entry> before = stack;
    const bool before_reachable = reachable;
    block inner = enter(in, routine);
    const size_t begin = code.code.size();
    if (!lower_block(inner)) return false;
    if (reachable) clear_variables(inner.first, inner.first + int(routine.variables.size()));
    const size_t end = code.code.size();
    const bool ends = reachable;
    const size_t over = ends ? emit(op::op_jump) : 0;

    block handler = enter(in, *routine.catch_block);
    code.handlers.push_back({.begin = uint32_t(begin),
                             .end = uint32_t(end),
                             .target = uint32_t(code.code.size()),
                             .message = int16_t(handler.first),
                             .clear_from = int16_t(inner.first),
                             .clear_to = int16_t(inner.first + count_variables(routine)),
                             .nesting = uint16_t(in.nesting)});
    stack = before;
    reachable = before_reachable;
    last_result = -1;
    if (!lower_block(handler)) return false;
    if (reachable) {
        clear_variables(handler.first, handler.first + int(handler.routine->variables.size()));
    }
    if (!ends) return true;
    land(over);
    stack = before;
    reachable = true;
    return true;
}

bool tvr_lowering::lower_default(block& in, uint32_t param) {
    const size_t given = emit(op::op_jump_given, int(param));
    block inner = enter(in, *sub_routine(*in.routine, in.routine->default_blocks[param]));
    inner.default_param = in.first + int(param);
    if (!lower_block(inner)) return false;
    for (const size_t jump : inner.leave) land(jump);
    clear_variables(inner.first, inner.first + int(inner.routine->variables.size()));
    land(given);
    reachable = true;
    return true;
}

// The bodies of the bases in order, each with its variables in our slots.
bool tvr_lowering::lower_bases(block& in) {
    const auto* of = dynamic_cast<const tvr_program_block_class*>(in.routine);
    if (of == nullptr) return true;
    for (const auto& base : of->bases) {
        const tvrptr_strong<tvr_program_block_class> body = base.definition.lock();
        if (!body) continue;
        // Slots of a base are numbered for its class; ours may be those of a class above us.
        std::vector<uint32_t> slots;
        for (const uint32_t slot : base.slots) {
            slots.push_back(uint32_t(variable_register(in, slot)));
        }
        block inner = enter(in, *body);
        inner.slots = &slots;
        if (!lower_block(inner)) return false;
    }
    return true;
}

// break or continue: clears what the blocks on the way had.
void tvr_lowering::leave_loop(block& in, bool goes_on) {
    block* loop = &in;
    int clear_to = in.first + int(in.routine->variables.size());
    while (loop->routine->kind != tvr_block_kind::loop && loop->outer != nullptr) {
        loop = loop->outer;
    }
    clear_variables(loop->first + int(loop->routine->variables.size()), clear_to);
    const size_t jump = emit(op::op_jump);
    if (goes_on) {
        const std::vector<entry> here = std::exchange(stack, {});
        jump_to(*loop, loop->routine->continue_offset, jump);
        stack = here;
        // A loop that goes on by jumping back polls, like every other.
        if (loop->labels[loop->routine->continue_offset].op >= 0) {
            code.code[jump].code = op::op_loop;
        }
    } else {
        loop->leave.push_back(jump);
    }
    reachable = false;
}

void tvr_lowering::lower_return(block& in) {
    for (block* at = &in; at != nullptr; at = at->outer) {
        if (at->default_param < 0) continue;
        emit(op::op_move, at->default_param, read(top()));
        at->leave.push_back(emit(op::op_jump));
        reachable = false;
        return;
    }
    if (top().is == entry::kind::none) {
        emit(op::op_give_none);
    } else {
        emit(op::op_give, read(top()));
    }
    reachable = false;
}
