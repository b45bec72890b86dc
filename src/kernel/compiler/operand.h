#pragma once

// What an expression is while it is read: nothing is loaded or computed before it must be.

#include <cstdint>
#include <utility>
#include <vector>

#include "kernel/types.h"

inline constexpr uint32_t tvrk_no_reg = 0xffffffff;

__extension__ typedef __int128 tvrk_wide;

// A number as written, typeless until it meets a type.
struct tvrk_literal {
    bool is_float = false;
    bool is_unsigned = false;  // integers with suffix u
    bool is_f32 = false;       // floats with suffix f
    tvrk_wide integer = 0;     // within -2^63 to 2^64 - 1
    double number = 0;

    double as_double() const { return is_float ? number : double(integer); }
};

// Memory: an element behind a pointer parameter, or a raw address in the frame.
struct tvrk_place {
    bool by_address = false;
    bool is_element = false;       // the element itself, no part of it
    bool read_only = false;        // behind a pointer to const
    bool in_record = false;        // the pointer's elements are structs or vectors
    uint32_t ptr = 0;              // pointer parameter
    uint32_t index = tvrk_no_reg;  // element, or the address; no_reg: element `addend`
    int64_t addend = 0;            // elements, added to the index
    int64_t offset = 0;            // bytes
};

// A branch that is not yet emitted. `jump_true` leaves if it holds.
struct tvrk_condition {
    uint16_t compare = 0;  // CMP..., or MOV for a plain bool in x
    uint32_t x = 0, y = 0;
    bool negated = false;
    std::vector<size_t> when_true, when_false;  // emitted jumps that wait for a target
};

struct tvrk_operand {
    enum class kind : uint8_t {
        nothing,  // the result of a void call
        literal,
        choice,     // ?: between literals, still typeless: pending moves into regs[0]
        constant,   // typed, `bits` known
        value,      // in regs, one for each lane
        condition,  // a bool that is still a branch
        pointer,    // parameter and element index, in place
        memory,     // in place
    };

    kind what = kind::nothing;
    tvrk_type type;
    tvrk_literal number;
    uint64_t bits = 0;
    uint32_t regs[4] = {};
    int64_t addend = 0;      // of a 64-bit integer in regs[0], not yet added
    int64_t variable = -1;   // index of the variable that this is, or is a part of
    bool from_call = false;  // may stand as a statement
    tvrk_place place;
    tvrk_condition branch;
    std::vector<std::pair<size_t, tvrk_literal>> pending;  // of a choice: instruction, literal

    bool is(kind asked) const { return what == asked; }
    bool is_number_text() const { return what == kind::literal || what == kind::choice; }
};
