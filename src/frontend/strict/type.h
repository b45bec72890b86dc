#pragma once

// What the strict checker knows of a value at one place of the program.
//
// Small values, copied freely; what they point at lives in the checker. A type that is not known
// is `dynamic`, about which nothing is ever said. Thread: one compile.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class tvrobject_metadata;
struct tvr_strict_class;
struct tvr_strict_function;
struct tvrk_program;

enum class tvr_strict_kind : uint8_t {
    dynamic,  // not known
    any,      // declared to be so; treated like dynamic
    none,
    boolean,
    integer,
    real,
    number,  // int or float
    text,
    list,  // a json without keys
    map,   // a json with keys
    json,
    function,
    object,     // of a native class, when it is known
    instance,   // of a script class, or of whatever keeps an interface's promise
    class_def,  // the class itself
    kernel,     // a std.kernel that is known
    nothing,    // of a function declared void
};

// A list or map literal that no other name shares yet, so that all its keys are known.
struct tvr_strict_literal {
    bool sure = true;                    // false once anybody else may have written to it
    std::vector<std::string_view> keys;  // that it has, or may have got
};

struct tvr_strict_type {
    using kind = tvr_strict_kind;

    tvr_strict_type() : element(nullptr) {}
    tvr_strict_type(kind of) : is(of), element(nullptr) {}  // NOLINT: a kind is a type

    bool is_known() const { return is != kind::dynamic && is != kind::any; }
    bool is_any_of(kind a, kind b) const { return is == a || is == b; }
    bool is_numeric() const { return is >= kind::boolean && is <= kind::number; }
    bool is_json() const { return is >= kind::list && is <= kind::json; }
    bool is_none() const { return is == kind::none; }
    bool may_be_none() const { return maybe_none || is == kind::none; }
    tvr_strict_type without_none() const;

    kind is = kind::dynamic;
    bool maybe_none = false;  // it may also be None
    bool exact = false;       // of an instance: of this class and none derived from it
    bool literal = false;     // of a list or map: `facts` holds
    uint32_t why = 0;         // the reason why it may be None: a number of the checker's
    union {
        const tvr_strict_type* element;       // of a declared list or map; null: not known
        tvr_strict_literal* facts;            // of a literal
        const tvr_strict_function* function;  // null: not known
        const tvr_strict_class* of_class;     // of an instance or class
        const tvrobject_metadata* native;     // of an object; null: not known
        const tvrk_program* program;          // of a kernel; lives in its unit
    };
};

// The name for messages, such as "list<int>" or "class lamp".
std::string tvr_strict_type_name(const tvr_strict_type& type);

// What holds for a value that has one of two types.
tvr_strict_type tvr_strict_join(const tvr_strict_type& a, const tvr_strict_type& b);

// Whether a value may go where a type is declared; true in doubt.
bool tvr_strict_fits(const tvr_strict_type& declared, const tvr_strict_type& value);
