#pragma once

// Functions and classes as the strict checker knows them. They live as long as the checker.
// Thread: one compile.

#include <string_view>
#include <unordered_map>
#include <vector>

#include "frontend/strict/type.h"
#include "frontend/syntax/ast_node.h"

struct tvr_strict_param {
    std::string_view name;
    tvr_strict_type declared;  // dynamic: nothing is declared
    bool has_default = false;
    bool none_by_default = false;
    bool by_reference = false;
};

struct tvr_strict_function {
    size_t required() const;  // arguments that a call cannot leave out

    const tvr_ast_node_function_def* def = nullptr;
    std::string_view name;  // "lambda" for one
    std::vector<tvr_strict_param> params;
    tvr_strict_type result;        // as declared, or once its body has been looked at
    bool result_declared = false;  // also void
    const tvr_strict_class* owner = nullptr;
    bool is_private = false;
    bool is_abstract = false;
    bool walked = false;         // its body has been looked at
    bool never_returns = false;  // it always ends in an error
};

struct tvr_strict_member {
    tvr_strict_type declared;
    bool is_private = false;
    bool none_at_first = false;            // so that None fits whatever is declared
    const tvr_strict_class* in = nullptr;  // who declares it first
};

struct tvr_strict_class {
    // The method that a call reaches: of the class that stands first and implements it, else the
    // first promise; null for none. From a level on, 0 is this class. For an interface its own
    // and those of the interfaces it extends.
    const tvr_strict_function* find_method(std::string_view method, size_t from_level = 0) const;
    const tvr_strict_member* find_member(std::string_view member) const;

    bool derives_from(const tvr_strict_class& other) const;  // or is it
    // Whether a value of another class can stand where this one is declared.
    bool may_be(const tvr_strict_class& value, bool exact) const;
    // Whether a class derived from this one has something of this name.
    bool has_below(std::string_view member) const;
    const tvr_strict_function* first_abstract() const;  // without an implementation; or null

    std::string_view name;
    const tvr_ast_node_class_def* def = nullptr;
    bool is_interface = false;
    bool is_whole = true;     // false when a base is not known: then nothing is missing for sure
    bool open_below = false;  // classes that are not in `derived` may derive from it
    std::vector<const tvr_strict_class*> levels;      // itself, then its bases; of an interface too
    std::vector<const tvr_strict_class*> interfaces;  // as listed
    mutable std::vector<const tvr_strict_class*> derived;
    std::unordered_map<std::string_view, tvr_strict_member> members;     // its own
    std::unordered_map<std::string_view, tvr_strict_function*> methods;  // its own
};
