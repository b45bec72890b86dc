// Bodies: of entry kernels, of helpers where they are declared and where they are called.

#include "base/join.h"
#include "kernel/compiler/compiler.h"
#include "kernel/compiler/optimise.h"

void tvrk_compiler::begin_program(const head& made) {
    program = std::make_unique<tvrk_program>();
    program->name = made.name;
    program->file = tokens->files[made.where.file];
    program->line = made.where.line;
    draft = tvrk_draft();
    file_index.clear();
    file_tokens = nullptr;
    variables.clear();
    variable_index.clear();
    scopes.clear();
    frame_tops.clear();
    loops.clear();
    frame_top = 0;
    unchecked = false;
    for (uint16_t* special : {&program->gid, &program->gsize, &program->gid_x, &program->gid_y,
                              &program->gsize_x, &program->gsize_y}) {
        *special = uint16_t(draft.new_register(tvrk_reg_class::whole, true));
    }
    program->linear_gid = program->gid;
    emit(TVRK_NOP);  // becomes the frame's address if there is a frame
    open_scope();
}

void tvrk_compiler::bind_parameters(const head& made) {
    for (const tvrk_helper_param& param : made.params) {
        tvrk_param entry;
        entry.name = param.name;
        entry.type = param.type;
        entry.type_name = tvrk_type_name(param.type);
        entry.is_pointer = param.type.is_pointer();
        variable bound;
        bound.role = "parameter";
        bound.value.type = param.type;
        if (entry.is_pointer) {
            entry.ptr = uint16_t(program->num_ptrs++);
            bound.value.what = kind::pointer;
            bound.value.place.ptr = entry.ptr;
        } else if (param.type.is_scalar()) {
            const uint32_t where = draft.new_register(tvrk_class_of(param.type.prim), true);
            entry.reg = uint16_t(where);
            bound.value = value_in(where, param.type.prim);
        } else {
            // Only a helper that is read for itself: any value will do.
            bound.value = param.type.is_struct() ? frame_place(param.type) : new_value(param.type);
        }
        program->params.push_back(std::move(entry));
        if (program->params.size() > 32000) fail("kernel is too large (too many registers)");
        tvrk_token name = made.where;
        name.text = param.name;
        declare(name, std::move(bound));
    }
}

void tvrk_compiler::make_accumulators(const head& made) {
    if (made.result.is_void()) return;
    program->has_result = true;
    program->result = made.result;
    program->result_text = tvrk_type_name(made.result) + " reduce(";
    const auto add = [&](const std::string& name, tvrk_prim prim, tvrk_reduce reduce) {
        tvrk_acc acc;
        acc.reg = uint16_t(draft.new_register(tvrk_class_of(prim), true));
        acc.prim = prim;
        acc.reduce = reduce;
        acc.name = name;
        program->accs.push_back(std::move(acc));
    };
    if (made.result.is_scalar()) {
        add("", made.result.prim, made.reduce);
        program->result_text += tvrk_reduce_name(made.reduce);
    } else {
        // In the order of the fields, whatever the clause's.
        for (const tvrk_field& field : made.result.record->fields) {
            for (const auto& [name, reduce] : made.fields) {
                if (name != field.name) continue;
                add(name, field.type.prim, reduce);
                if (program->accs.size() > 1) program->result_text += ", ";
                program->result_text += tvr_join(name, ": ", tvrk_reduce_name(reduce));
            }
        }
    }
    program->result_text += ')';
}

void tvrk_compiler::compile_body(function& made, size_t parameters) {
    made.caller = current;
    made.first_variable = variables.size() - parameters;
    made.first_loop = loops.size();
    current = &made;
    expect("{");
    bool returns = false;
    while (!accept("}")) {
        if (peek().kind == tvrk_token_kind::end) fail("missing '}' for this block");
        returns = statement() || returns;
    }
    if (!returns && !made.result.is_void()) {
        const std::string_view name =
            made.helper != nullptr ? std::string_view(made.helper->name) : program->name;
        fail(tvr_join("'", name, "' does not return a value on every path"));
    }
    patch(made.returns);
    current = made.caller;
}

void tvrk_compiler::finish_program(const head& made) {
    emit(TVRK_END);
    close_scope();
    if (program->frame_bytes > 0) program->frame_ptr = uint16_t(program->num_ptrs);
    if (!tvrk_optimise(draft, *program)) {
        fail_at(made.where, "kernel is too large (too many registers)");
    }
}

// A helper is read once where it is declared, so that errors show even if nobody calls it.
void tvrk_compiler::check_helper_body(const tvrk_helper& helper, const head& made, size_t body) {
    begin_program(made);
    function read;
    read.unit = unit.get();
    read.visible = unit->find(helper.name)->ordinal + 1;
    read.helper = &helper;
    read.result = helper.result;
    bind_parameters(made);
    read.result_value = result_place(helper.result);
    at = body;
    compile_body(read, made.params.size());
    close_scope();
    program.reset();
}

tvrk_operand tvrk_compiler::result_place(const tvrk_type& result) {
    if (result.is_void()) return {};
    return result.is_struct() ? frame_place(result) : new_value(result);
}

std::vector<tvrk_operand> tvrk_compiler::arguments(const tvrk_token& name, size_t expected) {
    std::vector<operand> args;
    expect("(");
    if (!accept(")")) {
        do {
            operand read = expression();
            if (!read.is(kind::memory) || read.type.is_scalar() || read.type.is_vector()) {
                read = rvalue(read);
            }
            args.push_back(std::move(read));
        } while (accept(","));
        expect(")");
    }
    if (args.size() != expected) {
        fail_at(name, tvr_join("'", name.text, "' expects ", expected, " argument",
                               expected == 1 ? "" : "s", " but got ", args.size()));
    }
    return args;
}

// Registers are bound as they are: nobody can write them while the helper runs.
tvrk_compiler::variable tvrk_compiler::bind_argument(const tvrk_helper_param& param,
                                                     operand argument) {
    variable bound;
    bound.role = "parameter";
    if (param.type.is_pointer()) {
        bound.value = pointer_argument(argument, param.type);
    } else if (param.type.is_struct()) {
        if (argument.type != param.type) refuse(argument, param.type);
        if (!argument.place.by_address) {  // others may write there
            const operand copy = frame_place(param.type);
            copy_record(copy, argument);
            argument = copy;
        }
        bound.value = argument;
    } else {
        bound.value = convert(argument, param.type);
        if (bound.value.is(kind::condition)) bound.value = materialise(bound.value);
        if (bound.value.addend != 0) {
            bound.value = value_in(reg(bound.value), bound.value.type.prim);
        }
    }
    bound.value.variable = -1;
    return bound;
}

tvrk_operand tvrk_compiler::call_helper(const tvrk_helper& helper, const tvrk_token& name) {
    for (const function* f = current; f != nullptr; f = f->caller) {
        if (f->helper != &helper) continue;
        fail_at(name, tvr_join("recursive call of '", helper.name,
                               "' (kernel helpers are inlined, recursion is not possible)"));
    }
    nested level(*this);
    if (constants_only) fail_at(name, "expected a constant expression");
    const std::vector<operand> args = arguments(name, helper.params.size());
    function copy;
    copy.unit = helper.unit;
    copy.visible = helper.unit->find(helper.name)->ordinal + 1;
    copy.helper = &helper;
    copy.result = helper.result;
    copy.result_value = result_place(helper.result);
    std::vector<variable> bound;
    for (size_t i = 0; i < args.size(); ++i) {
        bound.push_back(bind_argument(helper.params[i], args[i]));
    }
    const auto outer_tokens = std::exchange(tokens, helper.unit->tokens.get());
    const size_t outer_at = std::exchange(at, helper.body);
    const bool outer_unchecked = std::exchange(unchecked, false);
    const tvrk_token outer_last = last;
    open_scope();
    for (size_t i = 0; i < args.size(); ++i) {
        bound[i].name = helper.params[i].name;
        variable_index[bound[i].name].push_back(variables.size());
        variables.push_back(std::move(bound[i]));
    }
    compile_body(copy, args.size());
    close_scope();
    tokens = outer_tokens;
    at = outer_at;
    unchecked = outer_unchecked;
    last = outer_last;
    copy.result_value.from_call = true;
    return copy.result_value;
}

// return -------------------------------------------------------------------------------------

bool tvrk_compiler::return_statement() {
    const tvrk_type& wanted = current->result;
    if (accept(";")) {
        if (!wanted.is_void()) {
            fail(tvr_join("this function must return a ", tvrk_type_name(wanted)));
        }
        current->returns.push_back(emit(TVRK_JMP));
        return true;
    }
    if (wanted.is_void()) {
        fail(current->is_entry ? "a void kernel cannot return a value"
                               : "a void function cannot return a value");
    }
    if (peek().is("{")) {
        return_list();
    } else {
        operand value = expression();
        if (!value.is(kind::memory) || !wanted.is_struct()) value = rvalue(value);
        leave_with(std::move(value));
    }
    expect(";");
    current->returns.push_back(emit(TVRK_JMP));
    return true;
}

void tvrk_compiler::leave_with(operand value) {
    const tvrk_type& wanted = current->result;
    if (value.is(kind::pointer) || value.is(kind::nothing) ||
        value.type.is_struct() != wanted.is_struct()) {
        if (current->is_entry) {
            const tvrk_reduce op = program->accs.front().reduce;
            fail(tvr_join("this kernel must return a ", tvrk_type_name(wanted),
                          " (it is reduced with ", tvrk_reduce_name(op), ")"));
        }
        fail(tvr_join("this function must return a ", tvrk_type_name(wanted)));
    }
    if (wanted.is_struct()) {
        if (value.type != wanted) refuse(value, wanted);
        if (current->is_entry) return return_record(value);
        return copy_record(current->result_value, value);
    }
    value = convert(value, wanted);
    if (current->is_entry) return combine(program->accs[0], program->accs[0].reg, value);
    store(current->result_value, value);
}

void tvrk_compiler::combine(const tvrk_acc& acc, uint32_t where, const operand& value) {
    const bool is_min = acc.reduce == tvrk_reduce::min, is_max = acc.reduce == tvrk_reduce::max;
    const uint16_t op = is_min || is_max ? extremum_op(is_min, acc.prim)
                                         : arithmetic_op(tvrk_reduce_name(acc.reduce), acc.prim);
    emit(op, where, where, reg(value));
}

void tvrk_compiler::return_record(const operand& record) {
    for (size_t i = 0; i < program->accs.size(); ++i) {
        const tvrk_field& field = record.type.record->fields[i];
        const operand part = part_of(record, field.type, field.offset);
        combine(program->accs[i], program->accs[i].reg, load(part));
    }
}

void tvrk_compiler::return_list() {
    const tvrk_type& wanted = current->result;
    if (!wanted.is_struct() && !wanted.is_vector()) fail("a {...} list needs a struct result");
    if (!current->is_entry) return read_list(current->result_value);
    // Straight into the accumulators, without a struct in between.
    const auto& fields = wanted.record->fields;
    expect("{");
    size_t given = 0;
    while (!peek().is("}")) {
        if (given == fields.size()) {
            fail(tvr_join("too many values for '", wanted.record->name, "' (", fields.size(),
                          " fields)"));
        }
        const operand value = convert(rvalue(expression()), fields[given].type);
        combine(program->accs[given], program->accs[given].reg, value);
        ++given;
        if (!accept(",")) break;
    }
    expect("}");
    for (; given < fields.size(); ++given) {
        const operand nothing = constant(fields[given].type.prim, 0);
        combine(program->accs[given], program->accs[given].reg, nothing);
    }
}
