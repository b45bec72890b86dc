// Calls while a function is lowered. Arguments stay where they were made until the call.

#include <algorithm>

#include "runtime/vm/lowering.h"

void tvr_lowering::open(bool native) {
    calls.push_back({.callee = stack.size() - 1, .native = native, .site = {}});
    if (native || top().is != entry::kind::function) return;
    const auto& known = code.block_sites[size_t(top().reg)];
    tvr_call_site& site = calls.back().site;
    if (known.is_class) {
        site.definition = static_cast<tvr_program_block_class*>(known.block);
        site.routine = site.definition->constructor.get();
    } else {
        site.routine = static_cast<tvr_program_block_routine*>(known.block);
    }
}

// Whether anything is assigned to between here and the call that is open.
bool tvr_lowering::assigns_before_call(const block& in, const uint8_t* at) const {
    const std::vector<uint8_t>& bytes = in.routine->code;
    int depth = 1;
    for (size_t i = size_t(at - bytes.data()); i < bytes.size() && depth > 0;
         i += tvr_instruction(bytes[i]).size) {
        switch (bytes[i]) {
        case tvr_op_call_init:
        case tvr_op_push_ext_stack: ++depth; break;
        case tvr_op_call:
        case tvr_op_call_ext: --depth; break;
        case tvr_op_set_and_pop_stack:
        case tvr_op_inc:
        case tvr_op_dec: return true;
        default: break;
        }
        if (tvr_instruction(bytes[i]).size == 0) break;
    }
    return false;
}

// An unknown callee may want a reference, so it gets the cell itself.
int tvr_lowering::argument_register(entry& e, bool by_reference) {
    return by_reference ? cell(e) : read(e);
}

void tvr_lowering::set_argument(block& in, uint32_t index, const uint8_t* at) {
    open_call& call = calls.back();
    entry& e = top();
    const tvr_program_block_routine* callee = call.site.routine;
    const bool may_refer =
        !call.native && (callee == nullptr ||
                         (index < callee->num_params && (callee->variable_flags[index] &
                                                         tvr_program_block_routine::by_reference)));
    if (e.is == entry::kind::variable && e.reg >= 0 && !may_refer && assigns_before_call(in, at)) {
        settle(e);
    }
    const int reg = argument_register(e, may_refer);
    call.site.operands.push_back(int16_t(reg));
    call.site.params.push_back(uint16_t(index));
    if (index < 64) call.site.given |= uint64_t(1) << index;
    // The slot is popped at once, the argument stays until the call.
    if (is_temporary(reg)) {
        entry& holder = stack[call.callee];
        holder.end = std::max(holder.end, std::max(e.end, reg + 1));
    }
    e.is = entry::kind::none;
}

int16_t tvr_lowering::add_site(tvr_call_site site) {
    code.call_sites.push_back(std::move(site));
    return int16_t(code.call_sites.size() - 1);
}

void tvr_lowering::emit_call(entry& result, op what, int callee, tvr_call_site site) {
    bool in_order = true;
    for (size_t i = 0; i < site.params.size(); ++i) in_order = in_order && site.params[i] == i;
    if (in_order) {
        site.params.clear();
        site.plain_operands = int16_t(site.operands.size());
    }
    emit(what, result.home, callee, add_site(std::move(site)));
    set_top(entry::kind::none);
    set_temporary(result, result.home);
}

void tvr_lowering::close_call(const block& in, tvr_function_def* native) {
    open_call call = std::move(calls.back());
    calls.pop_back();
    entry& callee = stack[call.callee];
    call.site.nesting = uint16_t(in.nesting);
    call.site.native = native;
    if (native != nullptr) return emit_call(callee, op::op_call_native, 0, std::move(call.site));
    if (callee.is == entry::kind::function && call.site.definition != nullptr) {
        return emit_call(callee, op::op_call_class, 0, std::move(call.site));
    }
    if (callee.is == entry::kind::function && call.site.routine != nullptr) {
        return emit_call(callee, op::op_call_known, 0, std::move(call.site));
    }
    call.site.routine = nullptr;
    call.site.definition = nullptr;
    // Above the arguments, since the callee's own temporary may hold it already.
    const int reg = read(callee);
    emit_call(callee, op::op_call, reg, std::move(call.site));
}

void tvr_lowering::call_method(const block& in, const uint8_t* at) {
    const size_t count = at[1];
    const size_t first = stack.size() - count;
    tvr_call_site site;
    for (size_t i = first; i < stack.size(); ++i) {
        site.operands.push_back(int16_t(argument_register(stack[i], true)));
        if (i - first < 64) site.given |= uint64_t(1) << (i - first);
        stack[i].is = entry::kind::none;
    }
    const bool of_super = (at[2] & tvr_method_super) != 0;
    site.name = &root.strings[tvr_read_field<uint32_t>(at, 8)];
    site.from = tvr_read_field<const tvr_program_block_class*>(at, 16);
    site.nesting = uint16_t(in.nesting);
    entry& receiver = stack[first - 1];
    const bool of_self = receiver.is == entry::kind::self;
    site.of_place = is_place(receiver);
    const int object = of_self || of_super ? 0 : read(receiver);
    stack.resize(first);
    const op what = of_super ? op::op_call_super : of_self ? op::op_call_self : op::op_call_method;
    emit_call(top(), what, object, std::move(site));
}
