#pragma once

// The dynamic value of the language.
//
// This folder:
//
//   value.h          the record and its owning handle
//   compact_value.h  a value for which no variable has been made yet
//   value_types.h    the types, their numbers and names
//   records.h        what functions and member handles carry besides one pointer
//   instance.h       what a value asks of an instance of a script class
//   plain_value.h    the value behind references, for the length of a scope
//   payload_pools.h  where payloads and records come from
//   arithmetic.h     binary and unary operators, by the larger type
//   operators.h      the operator methods that script classes can have
//   number_text.h    numbers from text and text from numbers
//
// Every local, parameter, stack slot, member and element is a tvrvar of 16 bytes, counted by its
// handles. None, int and float live inside it; everything else is one strong or weak word (a
// control block) or a pooled record of records.h. So arithmetic allocates nothing.
//
// Reading follows references: y = r copies the value behind r. Writing a reference writes its
// target. Numbers, strings and buffers are copied by assignment, json, objects and class
// instances are shared.
//
// Counts are plain: a value belongs to the thread that runs its interpreter's scripts. Any other
// thread may only let go of one: tvrvar_free() sends it home.
//
// What cannot be done is reported through local/error_sink.h as a runtime error or warning; the
// operation then yields what is written beside it, mostly none or 0.

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "runtime/memory/pointer.h"
#include "runtime/value/value_types.h"

class tvr_instance;
class tvr_program_block_class;
class tvr_program_block_routine;
class tvr_std_buffer;
class tvr_std_json;
class tvr_std_string;
class tvr_task;
class tvrobject_base;
class tvrvar_shared;
struct tvr_function_def;
struct tvrvar_ptr_ext_function;
struct tvrvar_ptr_function;
struct tvrvar_ptr_member_index;
struct tvrvar_ptr_member_literal;
struct tvrvar_ptr_member_var;

namespace tvr_serialization {
class reader;
}

class tvrvar {
public:
    // Bits of `flags`.
    static constexpr uint8_t flag_shares_object = 0x01;  // assignment shares the object
    static constexpr uint8_t flag_receiver = 0x02;       // a method's result: what it changed
    static constexpr uint8_t flag_bound_object = 0x10;   // set by bind_object_to_var
    static constexpr uint8_t no_ref_copies = 0x01;       // bit of `no_ref`: ref_to() copies

    tvrvar() = default;
    tvrvar(const tvrvar&) = delete;
    tvrvar& operator=(const tvrvar&) = delete;

    // Kinds.

    bool is_primitive() const { return type < tvrvar_type_primitive_end; }
    bool is_plain() const { return type < tvrvar_type_member_literal; }  // neither handle nor ref
    bool is_number() const { return type == tvrvar_type_int || type == tvrvar_type_float; }
    bool is_none() const { return type == tvrvar_type_none; }
    bool is_ref() const { return type == tvrvar_type_ref; }
    bool is_member_handle() const {
        return type >= tvrvar_type_member_literal && type <= tvrvar_type_member_var;
    }
    bool is_class() const { return type == tvrvar_type_class; }
    bool is_list();       // a json without any key
    bool object_valid();  // an object that is still there

    // The plain value behind references and member handles. On a ring of references the warning
    // "Circular reference detected in deref()." and none.
    tvrvar_shared deref();

    // The variable at the end of the references: a plain value or a member handle, this one when
    // it is no reference. Null, after the same warning, on a ring.
    tvrvar* end_of_refs();

    // Reading. Types that have no such reading warn and give 0, false or the empty text.

    int64_t int_value();
    double float_value();
    bool bool_value();
    std::string string_value();
    void string_value(std::string& out);  // replaces `out`, keeping its memory
    // The text form of a plain value: a string's own text, else written into `scratch`.
    std::string_view text_view(std::string& scratch);
    std::string_view string_view();  // of a string; empty elsewhere; valid until it changes
    const char* c_str();             // of a string, zero-terminated
    size_t c_str_length();
    int64_t size();
    bool compare_zero();  // the truth test of the language, negated: true for what is "no"
    bool is_none_like();  // none, or a dead object or class: what ?? replaces
    // The object; also the payload of a string, binary or json, which is one. Null when dead.
    tvrobject_base* object_ptr();
    template <typename T>
    T* object();  // object_ptr() as a T, null when it is none; object/object.h

    // Writing. Each turns this variable into that type, releasing what it held; a payload that
    // fits already is used again. On a reference or a member handle they act on the variable
    // itself; set() is the assignment of the language.

    void set(tvrvar_shared& source);
    void set(tvrvar& source);
    void ref_to(tvrvar* target);
    void ref_to(tvrvar_shared& target);
    void as_none() {
        if (!is_primitive()) release_payload();
        type = tvrvar_type_none;
        no_ref = 0;
        integer = 0;
    }
    void as_int(int64_t value) {
        if (!is_primitive()) release_payload();
        type = tvrvar_type_int;
        no_ref = 0;
        integer = value;
    }
    void as_float(double value) {
        if (!is_primitive()) release_payload();
        type = tvrvar_type_float;
        no_ref = 0;
        real = value;
    }
    void as_string(std::string_view text);
    void as_string(const char* text) { as_string(std::string_view(text)); }
    void as_string(std::string&& text);
    void as_binary(std::string_view bytes);
    tvr_std_buffer& as_binary();        // an empty buffer of its own, or the one it has
    tvr_std_json& as_json(bool clear);  // the json it has, or a new one; emptied if `clear`
    tvr_std_json* as_json_ptr(bool clear);
    void as_object(tvrobject_base* object);  // null: none
    // The routine is a tvr_program_block_routine, the task a tvr_task or null, the definition a
    // tvr_program_block_class: types of upper floors, known here as what pointers can hold.
    void as_function(tvrptr_base_internal* routine, tvrptr_base_internal* task);
    void as_function(tvr_function_def* def, tvrobject_base* object);
    void as_class(tvr_instance* instance);
    void as_class_def(tvrptr_base_internal* definition);
    void as_object_member(tvrobject_base* object, std::string_view name);
    void as_object_member(tvrobject_base* object, int64_t index, bool vtable);
    void as_object_member(tvrobject_base* object, tvrvar_shared& key);
    void from_string(std::string_view json_text);  // a parsed value; none for text that is no JSON

    // Members and elements.

    tvrvar_shared get_member(std::string_view name);
    tvrvar_shared get_member(int64_t index);
    tvrvar_shared get_member(tvrvar_shared& key);
    bool has_member(std::string_view name);
    void push_back(tvrvar_shared value);

    // Binary form; bodies stand with the payloads (payload/binary_value.h tells of the bytes).

    // Appends it. False, after a warning or an error and with nothing appended, when it has none. A
    // value inside that has none is a warning and reads back as none.
    bool to_binary(std::vector<uint8_t>& out);
    std::vector<uint8_t> to_binary();  // empty when there is none
    // Takes the next value. False, as none, when the reader stood before a section that is none;
    // throws a std::runtime_error when the bytes are damaged.
    bool from_binary(tvr_serialization::reader& in);
    // The same, with damaged bytes as a runtime error, and false.
    bool from_binary(const uint8_t* data, size_t size);

    // Comparison, by the larger of the two types.

    bool compare_equal(tvrvar& other);
    bool compare_bigger(tvrvar& other, bool or_equal);
    bool compare_smaller(tvrvar& other, bool or_equal);
    bool json_equal(tvrvar& other);

    // In place. False where the type has no such operation.

    bool increment_value();
    bool decrement_value();
    bool increment_value(tvrvar& by);
    bool decrement_value(tvrvar& by);

    // Running a function value; bodies stand with the tasks.

    tvrvar_shared call(std::vector<tvrvar_shared>* args);
    tvrptr_strong<tvr_task> create_task();

    // The payload's object, for the types that hold one word. Floor 2 gives them their types.
    tvrptr_base_internal* payload_object() const { return block->object; }

    // Releases the payload of a type above primitive_end and leaves none behind.
    void release_payload();

    // Takes over what `from` holds, which is none afterwards.
    void take(tvrvar& from);

    int32_t refcount = 0;
    uint8_t flags = 0;
    uint8_t no_ref = 0;
    uint8_t type = tvrvar_type_none;
    uint8_t slot = 0xFF;  // in its pool chunk; 0xFF for a record of the plain heap
    union {
        int64_t integer = 0;
        double real;
        tvrptr_control_block*
            block;  // strong: string, binary, json, object, class; weak: class_def
        tvrvar_ptr_function* function;
        tvrvar_ptr_ext_function* ext_function;
        tvrvar_ptr_member_literal* member_literal;
        tvrvar_ptr_member_index* member_index;
        tvrvar_ptr_member_var* member_var;
        tvrvar* target;  // of a ref, which keeps it alive
    };

private:
    static void release_chain(tvrvar* target);
    void set_through(tvrvar& source);
    tvrvar_shared read_member();
    void write_member(tvrvar& source);
    bool member_exists() const;
    tvrptr_strong<tvrobject_base> handle_object() const;
};

static_assert(sizeof(tvrvar) == 16, "the record's widths are part of the engine's design");

// A new none with no owner yet: from the interpreter's pool on a thread that runs its scripts,
// else from the plain heap.
tvrvar* tvrvar_new();

// Releases the payload and gives the record back where it came from; from a foreign thread
// through the pool's mailbox.
void tvrvar_free(tvrvar* variable);

// What a pool asks when a variable comes home out of its mailbox: releases the payload. False for
// a record of the plain heap, which is gone then. Thread: one that runs scripts.
bool tvr_pool_arrived(tvrvar& variable);

// Owns a variable together with all other handles on it. May be null.
class tvrvar_shared {
public:
    tvrvar_shared() = default;
    explicit tvrvar_shared(tvrvar* variable) : held(variable) {
        if (held != nullptr) ++held->refcount;
    }
    tvrvar_shared(int value) : tvrvar_shared(int64_t(value)) {}
    tvrvar_shared(int64_t value) : tvrvar_shared(tvrvar_new()) { held->as_int(value); }
    tvrvar_shared(double value) : tvrvar_shared(tvrvar_new()) { held->as_float(value); }
    tvrvar_shared(bool value) : tvrvar_shared(int64_t(value ? 1 : 0)) {}
    tvrvar_shared(std::string_view text) : tvrvar_shared(tvrvar_new()) { held->as_string(text); }
    tvrvar_shared(const std::string& text) : tvrvar_shared(std::string_view(text)) {}
    tvrvar_shared(const char* text) : tvrvar_shared(std::string_view(text)) {}
    tvrvar_shared(const tvrvar_shared& other) : tvrvar_shared(other.held) {}
    tvrvar_shared(tvrvar_shared&& other) noexcept : held(std::exchange(other.held, nullptr)) {}
    ~tvrvar_shared() { release(); }

    tvrvar_shared& operator=(const tvrvar_shared& other) {
        tvrvar_shared copy(other);
        std::swap(held, copy.held);
        return *this;
    }
    tvrvar_shared& operator=(tvrvar_shared&& other) noexcept {
        std::swap(held, other.held);
        return *this;
    }

    void release() {
        if (held == nullptr) return;
        tvrvar* last = std::exchange(held, nullptr);
        if (--last->refcount < 1) tvrvar_free(last);
    }

    // A handle on a new none.
    static tvrvar_shared make() { return tvrvar_shared(tvrvar_new()); }

    tvrvar* get() const { return held; }
    tvrvar* operator->() const { return held; }
    tvrvar& operator*() const { return *held; }
    explicit operator bool() const { return held != nullptr; }

    // Whether nobody else holds the variable, so that its record can take a result.
    bool unshared() const { return held->refcount == 1; }

private:
    tvrvar* held = nullptr;
};

// A fixed slot: a local of a frame, a static of a routine, a member of an instance. Holds a
// variable of its own from the start and is assigned through set().
class tvrvar_static {
public:
    tvrvar_static() : held(tvrvar_shared::make()) {}

    void set(tvrvar_shared& source) { held->set(source); }
    tvrvar_shared& shared() { return held; }
    tvrvar* get() const { return held.get(); }
    tvrvar* operator->() const { return held.get(); }

private:
    tvrvar_shared held;
};
