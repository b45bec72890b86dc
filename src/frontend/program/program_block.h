#pragma once

// A compiled program: a tree of blocks, each with its own instructions.
//
//   root      the main body of a compile unit; owns the strings
//   routine   a function, lambda, loop body, scoped block or default argument
//   class     a class: its body creates the members, its routines are the methods
//
// Made by the builder on one thread; afterwards read-only but for inline caches, which belong to
// the interpreter's script thread like everything that runs.

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "frontend/source/token.h"
#include "runtime/memory/pointer.h"
#include "runtime/object/metadata.h"
#include "runtime/object/serializable.h"
#include "runtime/value/operators.h"
#include "runtime/value/value.h"

class tvr_ast;
class tvr_machine_code;
class tvr_program_block_class;
class tvr_program_block_root;
class tvr_task;
struct tvrk_unit;

// Deletes what the machine keeps with a routine; vm/machine_code.h knows what that is.
struct tvr_machine_code_delete {
    void operator()(tvr_machine_code* code) const;
};

// How far a return, break or continue leaves: through everything that is no function or loop.
enum class tvr_block_kind : uint8_t {
    function = 1,
    loop = 2,
    scoped = 3,
    root = 4,
};

class tvr_program_block_base : public tvrptr_base_internal, public tvr_serializable {
public:
    virtual const std::vector<tvrptr_strong<tvr_program_block_base>>& get_sub_blocks() const = 0;
    virtual const std::vector<tvrptr_strong<tvr_program_block_class>>& get_class_defs() const = 0;

    tvrptr_weak<tvr_program_block_base> parent;
    std::string name;
    tvr_block_kind kind = tvr_block_kind::function;
};

// The names of a block's variables, in the order of their slots.
class tvr_program_block_symbol_table {
public:
    static constexpr uint32_t none = 0xFFFFFFFF;

    uint32_t add(std::string_view name);
    uint32_t find(std::string_view name) const;  // none for an unknown name
    const std::string& name_at(uint32_t index) const { return names[index]; }
    size_t size() const { return names.size(); }

private:
    // Up to so many names are looked through one by one, which is faster than hashing.
    static constexpr size_t few = 12;

    std::vector<std::string> names;
    tvr_by_name<uint32_t> places;  // empty while there are few
};

class tvr_program_block_routine : public tvr_program_block_base {
public:
    static constexpr uint32_t no_defaults = 0xFFFFFFFF;
    static constexpr uint8_t by_reference = 0x04;  // bit of variable_flags

    // Where an instruction came from; the offsets rise.
    struct source_place {
        uint32_t offset;
        const tvr_src_token* token;  // the root keeps the tree that keeps it
    };

    // Appends an instruction, all its fields in place, and notes where it came from. Its offset.
    uint32_t push_to_instr_buffer(const void* instruction, size_t bytes,
                                  const tvr_src_token* token);
    void set_jump(uint32_t at, uint32_t target);
    const tvr_src_token* token_at(uint32_t offset) const;
    size_t code_size() const { return code.size(); }
    void clear();

    // A new variable of this name, or of this slot's name table; its index.
    uint32_t create_var(std::string_view variable, bool is_static);
    uint32_t find_var_local(std::string_view variable) const;
    tvrptr_strong<tvr_task> create_task(tvr_task* parent_task);

    const std::vector<tvrptr_strong<tvr_program_block_base>>& get_sub_blocks() const override {
        return sub_blocks;
    }
    const std::vector<tvrptr_strong<tvr_program_block_class>>& get_class_defs() const override {
        return class_defs;
    }
    bool to_binary(std::vector<uint8_t>& out) override;

    std::vector<uint8_t> code;
    std::vector<source_place> places;
    tvr_program_block_root* root = nullptr;  // owns this block, directly or not
    std::vector<tvrptr_strong<tvr_program_block_base>> sub_blocks;
    std::vector<tvrptr_strong<tvr_program_block_class>> class_defs;
    tvr_program_block_symbol_table variables;  // parameters first, then captures
    tvr_program_block_symbol_table static_names;
    std::vector<uint8_t> variable_flags;  // by variable
    std::vector<tvrvar_static> statics;
    uint32_t num_member_caches = 0;  // inline caches that its instructions number
    uint32_t num_params = 0;
    uint32_t num_captures = 0;
    uint32_t default_args = no_defaults;  // first parameter with a default
    // By parameter: the sub-block of its default, no_defaults for none. A default's block is of
    // kind scoped, reaches the parameters as its parent's variables, and leaves its value by
    // end_return.
    std::vector<uint32_t> default_blocks;
    uint32_t continue_offset = 0;  // of a loop: where `continue` goes on
    bool is_try = false;
    bool no_except = false;
    bool is_strict = false;
    tvrptr_strong<tvr_program_block_routine> catch_block;  // of a try block; scoped, like it

    // What a function, root or class was lowered to; made when it runs for the first time. The
    // blocks inside it have none. Script thread.
    std::unique_ptr<tvr_machine_code, tvr_machine_code_delete> machine;
};

class tvr_program_block_root : public tvr_program_block_routine {
public:
    // The index of a text in the string table, added when it is new.
    uint32_t local_string_index(std::string_view text);
    std::vector<uint8_t> create_binary();

    std::vector<std::string> strings;
    std::unordered_map<std::string_view, uint32_t> string_places;  // of strings' texts
    std::shared_ptr<const tvr_ast> ast;        // keeps the tokens that reports point at
    std::shared_ptr<const tvrk_unit> kernels;  // of its kernel declarations; null for none
};

// A class and all classes that it derives from. Each has a table of all of them, and their bodies
// run inside of each other.
inline constexpr size_t tvr_max_class_levels = 256;

// Its variables are the members, those of the bases first; its code sets their first values.
class tvr_program_block_class : public tvr_program_block_routine {
public:
    struct member_info {
        uint32_t slot = 0;
        bool is_private = false;
        const tvr_program_block_class* declared_in = nullptr;
    };

    struct method_info {
        std::string name;
        tvrptr_weak<tvr_program_block_routine> routine;
        bool is_private = false;
        bool is_abstract = false;
    };

    // One class of the inheritance chain with what it defines itself.
    struct inheritance_level {
        tvrptr_weak<tvr_program_block_class> definition;
        std::vector<method_info> methods;
    };

    // A direct base, and which of our slots each of its variables has.
    struct base_class {
        tvrptr_weak<tvr_program_block_class> definition;
        std::vector<uint32_t> slots;
    };

    bool is_derived_from(const tvr_program_block_class& other) const;
    const member_info* find_class_member(std::string_view member) const;
    const method_info* find_method(std::string_view method, size_t from_level) const;

    std::array<tvrptr_weak<tvr_program_block_routine>, tvr_operator_count> operators;
    tvrptr_weak<tvr_program_block_routine> constructor;  // __init__
    tvrptr_weak<tvr_program_block_routine> destructor;   // __deinit__
    std::vector<base_class> bases;
    std::vector<std::string> interfaces;
    std::vector<inheritance_level> levels;      // this class first, then its bases
    std::vector<std::string> abstract_methods;  // that no level implements
    tvr_by_name<member_info> vid_table;         // members by name
};
