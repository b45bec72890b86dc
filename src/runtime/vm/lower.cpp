#include "runtime/vm/lower.h"

#include <algorithm>

#include "runtime/local/error_sink.h"
#include "runtime/vm/lowering.h"

bool tvr_lower(tvr_machine_code& code) {
    return tvr_lowering(code).run();
}

namespace {

uint32_t index_field(const uint8_t* at) {
    return tvr_read_field<uint32_t>(at, 4);
}

uint32_t jump_target(uint32_t offset, const uint8_t* at) {
    return uint32_t(int64_t(offset) + tvr_read_field<int32_t>(at, 4));
}

bool is_jump(uint8_t opcode) {
    return opcode == tvr_op_jmp || opcode == tvr_op_jmp_if_false || opcode == tvr_op_jmp_if_true;
}

}  // namespace

tvr_lowering::tvr_lowering(tvr_machine_code& into) : code(into), root(*into.routine->root) {}

bool tvr_lowering::run() {
    tvr_program_block_routine& routine = *code.routine;
    num_variables = count_variables(routine);
    code.num_variables = num_variables;
    code.num_params = int(routine.num_params);
    code.no_except = routine.no_except;
    code.plain_params = code.num_params;
    for (uint32_t i = 0; i < routine.num_params; ++i) {
        const uint8_t flags = routine.variable_flags[i];
        code.by_reference.push_back(flags & tvr_program_block_routine::by_reference);
        if (code.by_reference.back() != 0) code.plain_params = -1;
    }
    block whole;
    whole.routine = &routine;
    if (!lower_block(whole)) return false;
    if (reachable) emit(op::op_give_none);
    return finish();
}

bool tvr_lowering::finish() {
    code.num_own = num_variables + num_temporaries;
    if (code.num_own > INT16_MAX) fail("variables");
    if (code.borrowed.size() > INT16_MAX) fail("constants");
    if (code.member_sites.size() > INT16_MAX || code.call_sites.size() > INT16_MAX) fail("names");
    if (failed) return false;
    make_template();
    return true;
}

void tvr_lowering::fail(std::string_view what) {
    if (failed) return;
    failed = true;
    runtime_error("Function '", code.routine->name, "' is too large: it has more than ", INT16_MAX,
                  " ", what, ".");
}

size_t tvr_lowering::emit(op what, int a, int b, int c) {
    const size_t at = code.code.size();
    if (token != nullptr && (code.places.empty() || code.places.back().token != token)) {
        code.places.push_back({uint32_t(at), token});
    }
    code.code.push_back({what, int16_t(a), int16_t(b), int16_t(c)});
    last_result = int64_t(at);
    return at;
}

void tvr_lowering::jump_to(block& in, uint32_t target, size_t op_index) {
    label& to = in.labels[target];
    if (to.op >= 0) {
        code.code[op_index].set_offset(int32_t(to.op - int64_t(op_index)));
        return;
    }
    to.jumps.push_back(op_index);
    if (to.known) return;
    to.stack = stack;
    to.known = true;
}

void tvr_lowering::land(size_t op_index) {
    code.code[op_index].set_offset(int32_t(code.code.size() - op_index));
    last_result = -1;
}

void tvr_lowering::find_labels(block& in) {
    const std::vector<uint8_t>& bytes = in.routine->code;
    for (uint32_t at = 0; at < bytes.size(); at += tvr_instruction(bytes[at]).size) {
        if (is_jump(bytes[at])) in.labels[jump_target(at, &bytes[at])];
        if (tvr_instruction(bytes[at]).size == 0) return;
    }
}

bool tvr_lowering::lower_block(block& in) {
    find_labels(in);
    if (in.routine->kind == tvr_block_kind::loop) in.labels[in.routine->continue_offset];
    const std::vector<uint8_t>& bytes = in.routine->code;
    uint32_t at = 0;
    while (at < bytes.size() && !failed) {
        if (in.labels.contains(at)) enter_label(in, at);
        in.at = at;
        const tvr_instruction_info& info = tvr_instruction(bytes[at]);
        if (reachable) {
            token = in.routine->token_at(at);
            lower_instruction(in, &bytes[at]);
        }
        if (info.size == 0) break;  // nobody knows where the next one would begin
        at += info.size;
    }
    if (in.labels.contains(uint32_t(bytes.size()))) enter_label(in, uint32_t(bytes.size()));
    return !failed;
}

void tvr_lowering::enter_label(block& in, uint32_t offset) {
    label& here = in.labels[offset];
    if (reachable && here.known && !stack.empty() && !here.stack.empty() &&
        here.stack.back().is == entry::kind::temporary) {
        settle(top());
    }
    here.op = int64_t(code.code.size());
    for (const size_t jump : here.jumps) land(jump);
    if (!reachable && here.known) {
        stack = here.stack;
        reachable = true;
    }
    last_result = -1;
}

void tvr_lowering::lower_instruction(block& in, const uint8_t* at) {
    const bool done = lower_variable(in, at) || lower_constant(in, at) || lower_operator(at) ||
                      lower_stack(in, at) || lower_access(in, at) || lower_jump(in, at) ||
                      lower_call(in, at) || lower_block_op(in, at);
    if (done) return;
    emit(op::op_invalid, *at);
    reachable = false;
}

bool tvr_lowering::lower_variable(block& in, const uint8_t* at) {
    const auto second = [&] { return tvr_read_field<uint32_t>(at, 8); };
    switch (*at) {
    case tvr_op_return_local_var:
    case tvr_op_return_local_var_flagged:
        set_top(entry::kind::variable, variable_register(in, index_field(at)));
        return true;
    case tvr_op_return_local_static_var:
        set_top(entry::kind::variable, fixed_register(in.routine->statics[index_field(at)].get()));
        return true;
    case tvr_op_return_parent_var:
        set_top(entry::kind::variable,
                variable_register(*block_above(in, index_field(at)), second()));
        return true;
    case tvr_op_return_parent_static_var: {
        tvr_program_block_routine& owner = *block_above(in, index_field(at))->routine;
        set_top(entry::kind::variable, fixed_register(owner.statics[second()].get()));
        return true;
    }
    case tvr_op_return_global_var:
        set_top(entry::kind::variable, global_register(index_field(at)));
        return true;
    case tvr_op_return_global_static_var:
        set_top(entry::kind::variable, fixed_register(root.statics[index_field(at)].get()));
        return true;
    case tvr_op_return_namespace_variable:
        set_top(entry::kind::variable, fixed_register(tvr_read_field<tvrvar*>(at, 8)));
        return true;
    case tvr_op_call_class_return_this: set_top(entry::kind::self); return true;
    default: return false;
    }
}

bool tvr_lowering::lower_constant(block& in, const uint8_t* at) {
    const auto constant = [&](tvrvar_shared value, char kind, std::string_view bytes) {
        set_top(entry::kind::variable,
                constant_register(std::move(value), kind + std::string(bytes)));
    };
    const std::string_view field(reinterpret_cast<const char*>(at) + 8, 8);
    switch (*at) {
    case tvr_op_return_int:
        constant(tvrvar_shared(tvr_read_field<int64_t>(at, 8)), 'i', field);
        return true;
    case tvr_op_return_float:
        constant(tvrvar_shared(tvr_read_field<double>(at, 8)), 'f', field);
        return true;
    case tvr_op_return_string: {
        const std::string& text = root.strings[index_field(at)];
        constant(tvrvar_shared(text), 's', text);
        return true;
    }
    case tvr_op_return_external_function: {
        tvrvar_shared value = tvrvar_shared::make();
        value->as_function(tvr_read_field<tvr_function_def*>(at, 8), nullptr);
        constant(std::move(value), 'x', field);
        return true;
    }
    case tvr_op_return_new_variable: set_top(entry::kind::none); return true;
    case tvr_op_return_new_json:
        emit(op::op_new_json, top().home);
        set_temporary(top(), top().home);
        return true;
    case tvr_op_return_function: {
        tvrptr_base_internal* found = in.routine;
        for (int up = at[1]; up > 0; --up) {
            found = static_cast<tvr_program_block_base*>(found)->parent.get();
        }
        auto& holder = *static_cast<tvr_program_block_base*>(found);
        tvr_program_block_base* sub = holder.get_sub_blocks()[index_field(at)].get();
        code.block_sites.push_back({sub, dynamic_cast<tvr_program_block_class*>(sub) != nullptr});
        set_top(entry::kind::function, int(code.block_sites.size() - 1));
        if (code.block_sites.size() > INT16_MAX) fail("functions");
        return true;
    }
    default: return false;
    }
}

bool tvr_lowering::lower_operator(const uint8_t* at) {
    const auto binary = [&](op what) {
        const int left = read(below()), right = read(top());
        forget();
        emit(what, top().home, left, right);
        set_temporary(top(), top().home);
        return true;
    };
    const auto unary = [&](op what) {
        emit(what, top().home, read(top()));
        set_temporary(top(), top().home);
        return true;
    };
    const bool with = tvr_instruction(*at).size > 1 && at[1] != 0;
    switch (*at) {
    case tvr_op_add: return binary(op::op_add);
    case tvr_op_sub: return binary(op::op_sub);
    case tvr_op_mult: return binary(op::op_mult);
    case tvr_op_div: return binary(op::op_div);
    case tvr_op_mod: return binary(op::op_mod);
    case tvr_op_band: return binary(op::op_band);
    case tvr_op_bor: return binary(op::op_bor);
    case tvr_op_bxor: return binary(op::op_bxor);
    case tvr_op_cmp_equal: return binary(with ? op::op_not_equal : op::op_equal);
    case tvr_op_cmp_bigger: return binary(with ? op::op_more_equal : op::op_more);
    case tvr_op_cmp_smaller: return binary(with ? op::op_less_equal : op::op_less);
    case tvr_op_unary_minus: return unary(op::op_minus);
    case tvr_op_negate: return unary(op::op_negate);
    case tvr_op_bnot: return unary(op::op_bnot);
    case tvr_op_cmp_is_true: return unary(op::op_truth);
    default: return false;
    }
}

// Whether anything but a pop stands behind the running instruction.
bool tvr_lowering::is_read_later(const block& in) const {
    const std::vector<uint8_t>& bytes = in.routine->code;
    const uint32_t behind = in.at + tvr_instruction(bytes[in.at]).size;
    return behind >= bytes.size() || bytes[behind] != tvr_op_pop_stack;
}

bool tvr_lowering::lower_stack(block& in, const uint8_t* at) {
    switch (*at) {
    case tvr_op_push_stack: push(); return true;
    case tvr_op_push_stack_copy: {
        entry copy = top();
        push();
        copy.home = top().home;
        copy.end = top().end;
        if (copy.is == entry::kind::temporary) copy.is = entry::kind::alias;
        if (copy.is == entry::kind::member) copy.keep = true;
        top() = copy;
        return true;
    }
    case tvr_op_pop_stack:
        for (uint32_t n = index_field(at); n > 0; --n) pop();
        return true;
    case tvr_op_set_and_pop_stack: assign(is_read_later(in)); return true;
    case tvr_op_makeref: set_top(entry::kind::reference, cell(top())); return true;
    case tvr_op_deref: return true;  // every reader does
    case tvr_op_bind_object_to_var: emit(op::op_bind_object, cell(top())); return true;
    case tvr_op_inc:
    case tvr_op_dec: {
        const bool read_later = at[2] != tvr_op_pop_stack;
        const bool up = *at == tvr_op_inc;
        increment(up ? op::op_increment : op::op_decrement,
                  up ? op::op_increment_old : op::op_decrement_old, at[1] != 0 && read_later);
        return true;
    }
    case tvr_op_num_expr: return true;  // gives up: the ordinary instructions stand behind it
    default: return false;
    }
}

// What is on top becomes its member, read by whoever wants it.
void tvr_lowering::name_member(const uint8_t* at) {
    const bool of_self = top().is == entry::kind::self;
    const bool keep = top().is == entry::kind::alias;
    const int object = of_self ? 0 : read(top());
    entry made = top();
    made.of_self = of_self;
    made.keep = keep;
    made.object = object;
    made.is = entry::kind::member;
    made.optional = (at[1] & tvr_member_optional) != 0;
    made.name = &root.strings[index_field(at)];
    made.place = token;
    made.from = tvr_read_field<const tvr_program_block_class*>(at, 16);
    top() = made;
}

// A container and an index become the element, as above.
void tvr_lowering::name_element(const uint8_t* at) {
    const int container = read(below()), index = read(top());
    const int end = is_temporary(index) ? std::max(top().end, index + 1) : 0;
    forget();
    set_top(entry::kind::element);
    top().place = token;
    top().optional = (at[1] & tvr_member_optional) != 0;
    top().object = container;
    top().index = index;
    top().end = std::max(top().end, end);
    num_temporaries = std::max(num_temporaries, top().end - num_variables);
}

bool tvr_lowering::lower_access(block& in, const uint8_t* at) {
    switch (*at) {
    case tvr_op_json_literal: {
        name_member(at);
        return true;
    }
    case tvr_op_json_expression: {
        name_element(at);
        return true;
    }
    case tvr_op_json_expression_peek: {
        const int container = read(below()), index = read(top());
        push();
        emit(op::op_index_keep, top().home, container, index);
        set_temporary(top(), top().home);
        return true;
    }
    case tvr_op_json_expression_set: {
        set_element(is_read_later(in));
        return true;
    }
    case tvr_op_json_list_add: {
        if (top().is == entry::kind::reference) {
            emit(op::op_append_reference, read(below()), top().reg);
        } else {
            emit(op::op_append, read(below()), read(top()));
        }
        forget();
        return true;
    }
    case tvr_op_set_lambda: {
        if (at[1] == 1) {
            emit(op::op_bind_self, read(top()));
            return true;
        }
        const int value = read(top());
        emit(op::op_capture, read(below()), value);
        forget();
        return true;
    }
    default: return false;
    }
}

namespace {

// The jump that a comparison becomes one with.
tvr_machine_opcode with_jump(tvr_machine_opcode comparison, bool if_true) {
    using op = tvr_machine_opcode;
    const int place = int(comparison) - int(op::op_equal);
    return op(place + int(if_true ? op::op_equal_true : op::op_equal_false));
}

bool is_comparison(tvr_machine_opcode code) {
    using op = tvr_machine_opcode;
    return code >= op::op_equal && code <= op::op_more_equal;
}

}  // namespace

bool tvr_lowering::lower_jump(block& in, const uint8_t* at) {
    if (!is_jump(*at)) return false;
    const uint32_t target = jump_target(in.at, at), behind = in.at + tvr_instruction(*at).size;
    if (*at == tvr_op_jmp && target <= in.at && invert_loop(in, target, behind)) return true;
    if (*at == tvr_op_jmp) {
        if (!stack.empty()) settle(top());  // the value of ?:
        jump_to(in, target, emit(target > in.at ? op::op_jump : op::op_loop));
        reachable = false;
        return true;
    }
    const std::vector<uint8_t>& bytes = in.routine->code;
    const auto pops = [&](uint32_t offset) {
        return offset < bytes.size() && bytes[offset] == tvr_op_pop_stack;
    };
    const bool if_true = *at == tvr_op_jmp_if_true, if_some = if_true && at[1] == tvr_jump_if_some;
    if (if_some || !pops(behind) || !pops(target)) {
        settle(top());
        const op what = if_some ? op::op_jump_some : if_true ? op::op_jump_true : op::op_jump_false;
        jump_to(in, target, emit(what, top().reg));
        return true;
    }
    const bool fused = top().is == entry::kind::temporary && last_result >= 0 &&
                       size_t(last_result) + 1 == code.code.size() &&
                       is_comparison(code.code.back().code) && code.code.back().a == top().reg;
    size_t jump;
    if (fused) {
        tvr_machine_op& comparison = code.code.back();
        comparison = {with_jump(comparison.code, if_true), comparison.b, comparison.c, 0};
        jump = emit(op::op_jump);
        emit(if_true ? op::op_test_true : op::op_test_false, top().reg);
    } else {
        jump = emit(if_true ? op::op_test_true : op::op_test_false, read(top()));
    }
    top().is = entry::kind::none;
    if (fused) jump_to(in, target, jump + 1);
    jump_to(in, target, jump);
    if (fused) in.bodies[in.at] = code.code.size();
    return true;
}

// The end of a loop whose test is one comparison: instead of going back to the test, it stands here
// once more and leads to the body. False when the loop is of another kind.
bool tvr_lowering::invert_loop(block& in, uint32_t head, uint32_t behind) {
    const std::vector<uint8_t>& bytes = in.routine->code;
    uint32_t test = head;
    for (; test < in.at && !is_jump(bytes[test]); test += tvr_instruction(bytes[test]).size) {
        if (test != head && in.labels.contains(test)) return false;
    }
    const auto body = in.bodies.find(test);
    if (body == in.bodies.end() || bytes[test] != tvr_op_jmp_if_false ||
        jump_target(test, &bytes[test]) != behind) {
        return false;
    }
    const uint32_t here = in.at;
    for (uint32_t at = head; at < test; at += tvr_instruction(bytes[at]).size) {
        in.at = at;
        token = in.routine->token_at(at);
        lower_instruction(in, &bytes[at]);
    }
    in.at = here;
    tvr_machine_op& comparison = code.code.back();
    const int answer = comparison.a;
    comparison = {with_jump(comparison.code, true), comparison.b, comparison.c, 0};
    const size_t jump = emit(op::op_jump);
    code.code[jump].set_offset(int32_t(int64_t(body->second) - int64_t(jump)));
    const size_t test_again = emit(op::op_test_true, answer);
    code.code[test_again].set_offset(int32_t(int64_t(body->second) - int64_t(test_again)));
    top().is = entry::kind::none;
    return true;
}

bool tvr_lowering::lower_call(block& in, const uint8_t* at) {
    switch (*at) {
    case tvr_op_call_init: open(false); return true;
    case tvr_op_push_ext_stack: open(true); return true;
    case tvr_op_call_setparam:
    case tvr_op_set_ext_stack:
    case tvr_op_set_ext_stack_copy:
    case tvr_op_set_ext_stack_no_deref: set_argument(in, index_field(at), at); return true;
    case tvr_op_call: close_call(in, nullptr); return true;
    case tvr_op_call_ext: close_call(in, tvr_read_field<tvr_function_def*>(at, 8)); return true;
    case tvr_op_call_method: call_method(in, at); return true;
    default: return false;
    }
}

bool tvr_lowering::lower_block_op(block& in, const uint8_t* at) {
    switch (*at) {
    case tvr_op_call_subroutine: lower_subroutine(in, index_field(at)); return true;
    case tvr_op_call_subroutine_default_arg: lower_default(in, at[1]); return true;
    case tvr_op_call_class_top_constructor: lower_bases(in); return true;
    case tvr_op_call_class_create:
        // Of a base, whose body is a part of ours, it ends nothing.
        if (in.outer != nullptr) return true;
        emit(op::op_make_instance);
        reachable = false;
        return true;
    case tvr_op_end_return: lower_return(in); return true;
    case tvr_op_end_break: leave_loop(in, false); return true;
    case tvr_op_end_continue: leave_loop(in, true); return true;
    default: return false;
    }
}
