#pragma once

// What an entry of a json holds, or a function that it captured: a variable, or a number or none
// for which no variable has been made yet. One word.
//
// A list of numbers is most often only read and written by position. So its numbers stand in the
// list itself until somebody asks for the variable: a reference, a handle, native code. Then there
// is one for good, so that whoever holds it sees what becomes of the element. A variable that is
// made like that is none or a number, without flags.
//
// The low four bits of the word tell:
//
//   0000   a variable, which the entry owns
//   ..01   an int of 62 bits above them
//   0010   none
//   0110   the float 0.0
//   .011 .100   any other float, its bits turned left by four: sign and upper exponent stand below,
//               and these are the patterns of the floats from 2^-255 to 2^257
//
// An int or float that has no such word gets a variable. Script thread.

#include <bit>
#include <cstdint>
#include <utility>

#include "runtime/value/value.h"

class tvr_compact_value {
public:
    tvr_compact_value() = default;
    explicit tvr_compact_value(const tvrvar_shared& variable) {  // null: none
        if (tvrvar* held = variable.get()) {
            ++held->refcount;
            word = std::bit_cast<uint64_t>(held);
        }
    }
    tvr_compact_value(tvr_compact_value&& other) noexcept
        : word(std::exchange(other.word, none_word)) {}
    tvr_compact_value& operator=(tvr_compact_value&& other) noexcept {
        std::swap(word, other.word);
        return *this;
    }
    tvr_compact_value& operator=(const tvrvar_shared& variable) {
        return *this = tvr_compact_value(variable);
    }
    ~tvr_compact_value() {
        if (is_variable() && --variable()->refcount < 1) tvrvar_free(variable());
    }

    // The variable, made if there is none yet.
    tvrvar* get() const {
        if (!is_variable()) make_variable();
        return variable();
    }
    tvrvar* operator->() const { return get(); }
    tvrvar& operator*() const { return *get(); }
    operator tvrvar_shared() const { return tvrvar_shared(get()); }

    // A look at the value that makes no variable.

    bool is_variable() const { return (word & tag_mask) == 0; }
    bool is_int() const { return (word & int_mask) == int_tag; }  // here, not in a variable
    int64_t int_here() const { return int64_t(word) >> int_shift; }
    tvrvar* variable() const { return std::bit_cast<tvrvar*>(word); }  // where is_variable()

    // Writes what stands here, not in a variable, over a primitive.
    void read_here(tvrvar& into) const {
        if (is_int()) {
            into.type = tvrvar_type_int;
            into.integer = int_here();
        } else if (word == none_word) {
            into.type = tvrvar_type_none;
            into.integer = 0;
        } else {
            into.type = tvrvar_type_float;
            into.real = word == zero_word ? 0.0 : std::bit_cast<double>(std::rotr(word, turn));
        }
    }
    bool is_number_here() const { return !is_variable() && word != none_word; }

    // A value of its own, as assignment makes it.
    tvr_compact_value copy() const {
        tvr_compact_value made;
        if (!is_variable()) {
            made.word = word;
        } else if (!made.write_here(*variable())) {
            made->set(*variable());
        }
        return made;
    }

    // Puts a primitive's value in the place of one that stands here. False, with nothing changed,
    // for what only a variable can hold.
    bool write_here(const tvrvar& from) {
        const uint64_t made = word_of(from);
        if (made == no_word) return false;
        word = made;
        return true;
    }

private:
    static constexpr uint64_t tag_mask = 15;
    static constexpr uint64_t no_word = 0;
    static constexpr uint64_t none_word = 2, zero_word = 6;
    static constexpr uint64_t int_mask = 3, int_tag = 1;
    static constexpr int int_shift = 2;
    static constexpr int turn = 4;

    static uint64_t word_of(const tvrvar& from) {
        if (from.type == tvrvar_type_int) {
            const uint64_t made = uint64_t(from.integer) << int_shift;
            return int64_t(made) >> int_shift == from.integer ? made | int_tag : no_word;
        }
        if (from.type == tvrvar_type_float) {
            const auto bits = std::bit_cast<uint64_t>(from.real);
            if (bits == 0) return zero_word;
            const uint64_t made = std::rotl(bits, turn);
            return (made & 7) == 3 || (made & 7) == 4 ? made : no_word;
        }
        return from.type == tvrvar_type_none ? none_word : no_word;
    }

    [[gnu::noinline]] void make_variable() const;

    mutable uint64_t word = none_word;
};
