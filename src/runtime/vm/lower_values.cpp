// What stands in the slots of the blocks' stack while a function is lowered.

#include <algorithm>

#include "runtime/vm/lowering.h"

namespace {

// Operations that do nothing but write their result into a, whatever kind of register that is.
bool can_write_variable(tvr_machine_opcode code) {
    using op = tvr_machine_opcode;
    switch (code) {
    case op::op_none:
    case op::op_minus:
    case op::op_negate:
    case op::op_bnot:
    case op::op_truth:
    case op::op_new_json:
    case op::op_self:
    case op::op_get:
    case op::op_get_self:
    case op::op_index:
    case op::op_index_optional:
    case op::op_function:
    case op::op_call:
    case op::op_call_known:
    case op::op_call_class:
    case op::op_call_native:
    case op::op_call_method:
    case op::op_call_self:
    case op::op_call_super: return true;
    default: return code <= op::op_more_equal;
    }
}

bool is_call(tvr_machine_opcode code) {
    using op = tvr_machine_opcode;
    return code >= op::op_call && code <= op::op_call_super;
}

}  // namespace

void tvr_lowering::push(entry::kind is) {
    int home = stack.empty() ? num_variables : top().end;
    if (!calls.empty()) home = std::max(home, stack[calls.back().callee].end);
    stack.push_back({.is = is, .home = home, .end = home + 1});
    num_temporaries = std::max(num_temporaries, home + 1 - num_variables);
}

// What nobody has read goes now.
void tvr_lowering::pop() {
    entry& e = top();
    const bool unread = e.is == entry::kind::member || e.is == entry::kind::element;
    if (unread) read(e);
    if (e.is == entry::kind::temporary) {
        tvr_machine_op* made = last_result >= 0 ? &code.code[size_t(last_result)] : nullptr;
        if (made != nullptr && made->a == e.reg && is_call(made->code)) {
            made->a = tvr_no_register;
            code.call_sites[size_t(made->c)].result_mode = tvr_result_mode::discard;
        } else if (made == nullptr || made->a != e.reg ||
                   made->code > tvr_machine_opcode::op_truth) {
            emit(op::op_drop, e.reg);
        }
    }
    stack.pop_back();
}

void tvr_lowering::set_top(entry::kind is, int reg) {
    entry& e = top();
    e.is = is;
    e.reg = reg;
    e.end = e.home + 1;
    e.keep = e.optional = e.of_self = false;
    e.place = nullptr;
}

void tvr_lowering::set_temporary(entry& e, int reg) {
    e.is = entry::kind::temporary;
    e.reg = reg;
    e.place = nullptr;
    e.end = std::max(e.home, reg) + 1;
    num_temporaries = std::max(num_temporaries, e.end - num_variables);
}

namespace {

// Reports of what is read point at where it is named, not at what reads it.
class at_place {
public:
    at_place(const tvr_src_token*& of, const tvr_src_token* place) : token(of), outer(of) {
        if (place != nullptr) token = place;
    }
    ~at_place() { token = outer; }
    at_place(const at_place&) = delete;
    at_place& operator=(const at_place&) = delete;

private:
    const tvr_src_token*& token;
    const tvr_src_token* outer;
};

}  // namespace

int tvr_lowering::read(entry& e) {
    const int home = e.home;
    const at_place named(token, e.place);
    switch (e.is) {
    case entry::kind::variable:
    case entry::kind::alias:
    case entry::kind::temporary: return e.reg;
    case entry::kind::none: emit(op::op_none, home); break;
    case entry::kind::self: emit(op::op_self, home); break;
    case entry::kind::reference: emit(op::op_reference, home, e.reg); break;
    case entry::kind::function: emit(op::op_function, home, 0, e.reg); break;
    case entry::kind::element:
        emit(e.optional ? op::op_index_optional : op::op_index, home, e.object, e.index);
        break;
    case entry::kind::member:
        if (e.of_self) {
            emit(op::op_get_self, home, 0, member_site(e));
        } else {
            emit(op::op_get, home, e.object, member_site(e));
        }
        break;
    }
    set_temporary(e, home);
    return home;
}

int tvr_lowering::cell(entry& e) {
    const int home = e.home;
    const at_place named(token, e.place);
    switch (e.is) {
    case entry::kind::element: emit(op::op_index_handle, home, e.object, e.index); break;
    case entry::kind::member:
        if (e.of_self) {
            emit(op::op_get_self_handle, home, 0, member_site(e));
        } else {
            emit(op::op_get_handle, home, e.object, member_site(e));
        }
        break;
    default: return read(e);
    }
    set_temporary(e, home);
    return home;
}

void tvr_lowering::settle(entry& e) {
    const int reg = read(e);
    if (reg == e.home) return;
    emit(op::op_load, e.home, reg);
    if (e.is == entry::kind::temporary) emit(op::op_drop, reg);
    set_temporary(e, e.home);
}

// Whether it stands for a variable, a member or an element: what keeps a change.
bool tvr_lowering::is_place(const entry& e) const {
    if (e.is != entry::kind::variable) {
        return e.is == entry::kind::member || e.is == entry::kind::element;
    }
    if (e.reg >= 0) return true;
    const tvrvar* cell = code.borrowed[size_t(-1 - e.reg)].cell;
    return cell == nullptr || cell->no_ref == 0;  // else a constant
}

int tvr_lowering::constant_register(tvrvar_shared value, std::string key) {
    const auto [place, is_new] = constant_places.try_emplace(std::move(key), 0);
    if (!is_new) return place->second;
    value->no_ref = tvrvar::no_ref_copies;
    code.borrowed.push_back({tvr_machine_code::borrowed_cell::kind::fixed, value.get(), 0});
    code.constants.push_back(std::move(value));
    return place->second = -int(code.borrowed.size());
}

int tvr_lowering::fixed_register(tvrvar* variable) {
    const auto [place, is_new] = fixed_places.try_emplace(variable, 0);
    if (!is_new) return place->second;
    code.borrowed.push_back({tvr_machine_code::borrowed_cell::kind::fixed, variable, 0});
    return place->second = -int(code.borrowed.size());
}

int tvr_lowering::global_register(uint32_t variable) {
    const auto [place, is_new] = global_places.try_emplace(variable, 0);
    if (!is_new) return place->second;
    code.borrowed.push_back({tvr_machine_code::borrowed_cell::kind::global, nullptr, variable});
    code.has_globals = true;
    return place->second = -int(code.borrowed.size());
}

int tvr_lowering::member_site(const entry& e) {
    tvr_member_site& site = code.member_sites.emplace_back();
    site.name = e.name;
    site.from = e.from;
    site.optional = e.optional;
    site.keep = e.keep;
    site.drops = !e.keep && !e.of_self && is_temporary(e.object);
    return int(code.member_sites.size() - 1);
}

// The value goes into the target; an operation that has just made it writes there at once.
// A member is not asked for what was assigned to it: it may be one that is only written.
void tvr_lowering::assign(bool result_used) {
    entry& value = top();
    entry& target = below();
    if (value.is == entry::kind::reference) {
        emit(op::op_bind, cell(target), value.reg);
    } else if (target.is == entry::kind::member) {
        const int from = read(value), kept = value.end;
        if (result_used) emit(op::op_load, kept, from);
        if (target.of_self) {
            emit(op::op_set_self, 0, from, member_site(target));
        } else {
            emit(op::op_set, target.object, from, member_site(target));
        }
        target.is = entry::kind::none;
        if (result_used) set_temporary(target, kept);
    } else {
        const int from = read(value);
        const bool made_here = value.is == entry::kind::temporary && last_result >= 0 &&
                               code.code[size_t(last_result)].a == from &&
                               can_write_variable(code.code[size_t(last_result)].code);
        if (made_here && target.is == entry::kind::variable) {
            code.code[size_t(last_result)].a = int16_t(target.reg);
        } else {
            emit(op::op_move, read(target), from);
        }
    }
    forget();
    last_result = -1;
}

void tvr_lowering::set_element(bool result_used) {
    entry& value = top();
    entry& index = stack[stack.size() - 2];
    entry& container = stack[stack.size() - 3];
    const op how = is_place(container) ? op::op_set_index : op::op_set_index_value;
    const int from = read(value), at = read(index), into = read(container);
    const int kept = value.end;
    if (result_used) emit(op::op_load, kept, from);
    emit(how, into, at, from);
    value.is = index.is = container.is = entry::kind::none;
    stack.pop_back();
    stack.pop_back();
    if (result_used) set_temporary(top(), kept);
}

void tvr_lowering::increment(op plain, op with_old, bool wants_old) {
    if (!wants_old && top().is == entry::kind::member) return increment_member(plain);
    const int target = cell(top());
    if (!wants_old) {
        emit(plain, target);
        return;
    }
    const int into = target == top().home ? top().end : top().home;
    emit(with_old, into, target);
    set_temporary(top(), into);
}

// Read, counted and written back, so that no handle on the member is needed.
void tvr_lowering::increment_member(op plain) {
    entry member = top();
    member.keep = true;
    const int into = std::max(member.home, member.of_self ? 0 : member.object + 1);
    emit(member.of_self ? op::op_get_self : op::op_get, into, member.object, member_site(member));
    emit(plain, into);
    member.keep = top().keep;
    emit(member.of_self ? op::op_set_self : op::op_set, member.of_self ? 0 : member.object, into,
         member_site(member));
    set_temporary(top(), into);
}

// A class's body that does nothing but give its members constants need not run.
void tvr_lowering::make_template() {
    if (code.code.empty() || code.code.back().code != op::op_make_instance) return;
    std::vector<int32_t> values(code.routine->variables.size(), tvr_machine_code::none_at_start);
    for (const tvr_machine_op& each : code.code) {
        const bool of_member = each.a >= 0 && size_t(each.a) < values.size();
        if (each.code == op::op_make_instance) break;
        if (each.code == op::op_new_json && of_member) {
            values[size_t(each.a)] = tvr_machine_code::json_at_start;
        } else if (each.code == op::op_move && of_member && each.b < 0) {
            const tvrvar* constant = code.borrowed[size_t(-1 - each.b)].cell;
            const auto found =
                std::find_if(code.constants.begin(), code.constants.end(),
                             [&](const tvrvar_shared& known) { return known.get() == constant; });
            if (found == code.constants.end()) return;
            values[size_t(each.a)] = int32_t(found - code.constants.begin());
        } else if (each.code != op::op_none || !of_member) {
            return;
        }
    }
    code.member_template = std::move(values);
    code.has_template = true;
}
