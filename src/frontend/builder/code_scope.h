#pragma once

// What a compile knows of a block while it writes it, and what a name was found to be.
//
// Scopes stand on the stack of the compile, one for each block that is open, linked outwards. A
// name is looked for from the innermost scope out. Thread: one compile.

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "frontend/program/program_block.h"
#include "frontend/syntax/ast_node.h"

class tvr_namespace;
struct tvr_function_def;

// A function, class or interface that a block defines; known in the whole block.
struct tvr_declared_name {
    enum class kind : uint8_t { function, class_def, interface };

    kind is = kind::function;
    uint32_t sub_block = 0;                   // not of an interface
    tvr_program_block_base* block = nullptr;  // null for an interface
    const tvr_ast_node* node = nullptr;
    tvr_program_block_class* this_of = nullptr;  // of a function inside of a method: its class

    tvr_program_block_routine* routine() const {
        return static_cast<tvr_program_block_routine*>(block);
    }
    tvr_program_block_class* class_def() const {
        return static_cast<tvr_program_block_class*>(block);
    }
};

// A namespace that `using` has opened, or a path has led to.
struct tvr_known_namespace {
    tvr_namespace* space = nullptr;
    std::string path;  // from the top, with dots
};

struct tvr_code_scope {
    enum class role : uint8_t {
        block,     // of its outer scope's function: sees that one's variables
        function,  // sees no variables outside but the root's
        lambda,    // like a function
        class_body,
    };

    // The index of a variable that may be used now; none for an unknown or hidden one.
    uint32_t find_variable(std::string_view name) const {
        const uint32_t index = block->find_var_local(name);
        return index >= hidden_from && index < hidden_to ? tvr_program_block_symbol_table::none
                                                         : index;
    }
    bool is_root() const { return outer == nullptr; }
    bool is_block() const { return is == role::block; }

    tvr_program_block_routine* block = nullptr;
    tvr_code_scope* outer = nullptr;  // null: the root
    role is = role::block;
    tvr_program_block_class* of_class = nullptr;  // whose code this is; null outside classes
    bool has_this = false;                        // in methods, and in functions inside of them
    // Variables that exist and may not be named yet: parameters while defaults of earlier ones are
    // compiled, members that come later.
    uint32_t hidden_from = 0, hidden_to = 0;
    std::unordered_map<std::string_view, tvr_declared_name> declared;
};

// What a name means where it stands.
struct tvr_found_name {
    enum class kind : uint8_t {
        nothing,
        variable,  // of this block or one around it: level, index
        global,    // of the root: index
        member,    // of `this`, a method too
        declared,  // level of its block, record
        native_function,
        native_variable,
        name_space,
    };

    kind is = kind::nothing;
    uint32_t level = 0;
    uint32_t index = 0;
    const tvr_declared_name* record = nullptr;
    tvr_function_def* function = nullptr;
    tvrvar* variable = nullptr;
    tvr_known_namespace space = {};
    const tvr_code_scope* owner = nullptr;  // of a variable
};
