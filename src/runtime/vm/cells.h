#pragma once

// The cells of a frame, as the machine handles them.
//
// A cell that a frame owns has one owner most of the time; then it is written in place. Where
// somebody else holds it too (a reference, a container that took the handle of an argument), a
// temporary gets another cell instead, while a variable keeps its own: that is what the reference
// looks at. Script thread.

#include "runtime/vm/machine_code.h"

// One owner, and a type that is written over without being released. Field by field: a load of
// eight bytes would wait for the one byte that an operation before has just stored in them.
inline bool tvr_is_free_to_write(const tvrvar* cell) {
    return cell->refcount == 1 && cell->is_primitive();
}

inline tvrvar* tvr_new_cell() {
    tvrvar* cell = tvrvar_new();
    cell->refcount = 1;
    return cell;
}

inline void tvr_release_cell(tvrvar* cell) {
    if (--cell->refcount < 1) tvrvar_free(cell);
}

// Free to write and without flags: nothing that the next call of the function could notice but the
// number in it.
inline bool tvr_is_reset_but_for_number(const tvrvar* cell) {
    return cell->refcount == 1 && cell->is_primitive() && cell->flags == 0;
}

// What is left when a variable's or a temporary's time is over: none, in a cell of its own.
[[gnu::noinline]] void tvr_reset_cell_slow(tvrvar*& cell);

inline void tvr_reset_cell(tvrvar*& cell) {
    if (!tvr_is_free_to_write(cell)) [[unlikely]]
        return tvr_reset_cell_slow(cell);
    cell->type = tvrvar_type_none;
    cell->flags = 0;
}

inline void tvr_machine_code::give_frame(tvr_vm_context& frame) {
    tvrvar** cells = frame.cells;
    for (int i = 0; i < num_own; ++i) {
        if (!tvr_is_reset_but_for_number(cells[i])) [[unlikely]]
            tvr_reset_cell_slow(cells[i]);
    }
    for (int i = num_params; i < num_variables; ++i) cells[i]->type = tvrvar_type_none;
    keep_frame(frame);
}

inline void tvr_machine_code::give_plain_frame(tvr_vm_context& frame) {
    tvrvar** cells = frame.cells;
    for (int i = 0; i < num_variables; ++i) {
        if (!tvr_is_reset_but_for_number(cells[i])) [[unlikely]]
            tvr_reset_cell_slow(cells[i]);
        if (i >= num_params) cells[i]->type = tvrvar_type_none;
    }
    keep_frame(frame);
}

inline void tvr_machine_code::keep_frame(tvr_vm_context& frame) {
    if (frame.holds_more) release_more(frame);
    if (num_ready >= max_ready_frames) [[unlikely]]
        return free_frame(frame);
    frame.caller = ready;
    ready = &frame;
    ++num_ready;
}

// Ends a temporary that was read.
inline void tvr_drop(tvr_vm_context& frame, int reg) {
    if (frame.machine->is_temporary(reg) && !tvr_is_free_to_write(frame.cells[reg])) {
        tvr_reset_cell_slow(frame.cells[reg]);
    }
}

// Whether a value may be moved out of a temporary into a variable: a text only where the temporary
// does not share it with the variable that it was read from.
inline bool tvr_owns_text(const tvrvar& value) {
    return value.type != tvrvar_type_string || value.block->strong == 1;
}

// Where the result of an operation is made, for the length of a scope: the register's own cell
// where that is allowed, else another one, which takes its place or is assigned to it at the end.
class tvr_result_cell {
public:
    tvr_result_cell(tvr_vm_context& of, int reg);
    ~tvr_result_cell() noexcept(false);  // assigning may call native code
    tvr_result_cell(const tvr_result_cell&) = delete;
    tvr_result_cell& operator=(const tvr_result_cell&) = delete;

    tvrvar& operator*() const { return *into; }
    tvrvar* operator->() const { return into; }

private:
    tvrvar** place;
    bool temporary;
    bool own;  // `into` is the register's own cell
    tvrvar* into;
};

// Puts a value into a register: assigns it to a variable, makes it the value of a temporary.
// Numbers are copied; what has its value elsewhere is shared or held by its handle.
void tvr_put(tvr_vm_context& frame, int reg, tvrvar& value);

// The same for a value that nobody else will look at: its cell may be taken.
void tvr_put_owned(tvr_vm_context& frame, int reg, tvrvar_shared value);
