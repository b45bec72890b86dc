#include "runtime/vm/cells.h"

#include <exception>

void tvr_reset_cell_slow(tvrvar*& cell) {
    if (cell->refcount == 1) {
        cell->as_none();
        cell->flags = 0;
        return;
    }
    tvrvar* old = cell;
    cell = tvr_new_cell();
    tvr_release_cell(old);
}

tvr_result_cell::tvr_result_cell(tvr_vm_context& of, int reg)
    : place(&of.cells[reg]),
      temporary(of.machine->is_temporary(reg)),
      own(temporary ? (*place)->refcount == 1 : (*place)->is_plain()),
      into(own ? *place : tvr_new_cell()) {}

tvr_result_cell::~tvr_result_cell() noexcept(false) {
    if (own) return;
    if (temporary) {
        tvrvar* old = *place;
        *place = into;
        tvr_release_cell(old);
        return;
    }
    const tvrvar_shared made(into);
    tvr_release_cell(into);
    if (std::uncaught_exceptions() == 0) (*place)->set(*made);
}

namespace {

bool is_shared_container(const tvrvar& value) {
    return value.type == tvrvar_type_json || value.type == tvrvar_type_class;
}

}  // namespace

void tvr_put(tvr_vm_context& frame, int reg, tvrvar& value) {
    if (reg == tvr_no_register) return;
    tvrvar*& place = frame.cells[reg];
    if (!frame.machine->is_temporary(reg)) return place->set(value);
    if (place == &value) return;
    const tvrvar_shared plain = value.deref();  // counted: what `place` held may go now
    if (plain->is_number() || is_shared_container(*plain)) {
        if (place->refcount != 1) tvr_reset_cell_slow(place);
        return place->set(*plain);
    }
    ++plain->refcount;
    tvr_release_cell(std::exchange(place, plain.get()));
}

void tvr_put_owned(tvr_vm_context& frame, int reg, tvrvar_shared value) {
    if (reg == tvr_no_register) return;
    tvrvar*& place = frame.cells[reg];
    if (!value) return tvr_reset_cell(place);
    if (!frame.machine->is_temporary(reg)) return place->set(value);
    if (value->is_number() && tvr_is_free_to_write(place)) {
        place->type = value->type;
        place->integer = value->integer;
        return;
    }
    ++value->refcount;
    tvr_release_cell(std::exchange(place, value.get()));
}
