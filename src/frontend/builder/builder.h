#pragma once

// From syntax tree to program blocks: all static rules of the language live here.
//
// This folder, one file for each group of the tree:
//
//   builder.cpp       a program, its blocks, statements
//   names.cpp         what a name means where it stands, and the code for it
//   namespaces.cpp    using, import, paths
//   package_imports.h the packages that a compile imports
//   expressions.cpp   literals, operators, lists
//   access.cpp        chains of members, indices and calls
//   assignments.cpp   assignment, increments, new variables
//   calls.cpp         calls of every kind, arguments
//   control_flow.cpp  conditions, loops, try, return
//   functions.cpp     functions and lambdas
//   captures.cpp      which variables a lambda takes along
//   class_layout.cpp  members, methods and bases of a class, before any code
//   classes.cpp       the code of classes
//   interfaces.cpp    interfaces
//   tree_walk.cpp     walks over a tree without recursion
//
// A block is read twice: its functions and classes are declared first, so that they can name each
// other; then its statements compile in their order. The first error ends a compile; it has been
// reported then, and every step below returns false.
//
// Each expression is compiled into a slot that its user has opened (`push_stack`); the patterns
// are those of frontend/program/instruction.h. Chains that grow to the left are walked in loops,
// since the source alone bounds their length; everything else nests as deep as the parser allows.
//
// Thread: one compile, under the interpreter's lock.

#include <memory>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "frontend/builder/code_scope.h"
#include "frontend/builder/draft.h"
#include "frontend/builder/package_imports.h"
#include "frontend/program/program_block.h"
#include "frontend/syntax/ast.h"
#include "frontend/syntax/syntax_report.h"

class tvr_namespace;
class tvrscript;

class tvr_asm_builder {
public:
    tvr_asm_builder(tvrscript& script, std::shared_ptr<const tvr_ast> ast,
                    tvr_package_imports& imports, tvr_syntax_report& report);

    // Null after an error. Once for each builder.
    tvrptr_strong<tvr_program_block_root> create_program();

private:
    using token = const tvr_src_token*;
    using code = tvr_token_code;
    using found = tvr_found_name;
    using call_node = tvr_ast_node_function_call;

    // How the value at the end of a chain of members and indices is wanted.
    enum class access : uint8_t {
        read,
        optional,  // where members are missing it is none, and none is made
        target,    // the last member is assigned to
    };

    // A chain of members, indices and calls. Its links are taken from the back, that is from the
    // left; `value` is the leftmost operand.
    struct chain {
        const tvr_ast_node* value;
        std::vector<const tvr_ast_node*> links;
        access mode = access::read;
        bool assignable = false;  // what has been compiled so far is a variable or an element

        const tvr_ast_node* next() const { return links.empty() ? nullptr : links.back(); }
        bool next_is(tvr_ast_node_type type) const {
            return !links.empty() && links.back()->type == type;
        }
        // Whether a member is called next: x.name(...).
        bool next_is_method() const;
    };

    // Jumps that wait for their target.
    using jumps = std::vector<uint32_t>;

    // A test under construction: where it goes on. All that jump leave their slot on the stack.
    struct test_exits {
        jumps* on_true;
        jumps* on_false;
        bool falls_to_true;  // what follows the code directly
    };

    // Keywords in front of an assignment or declaration.
    struct variable_words {
        token word = nullptr;  // var, let, managed, public or private; null for none
        bool is_new() const;
        bool is(code what) const { return word != nullptr && word->is(what); }
    };

    // Makes a scope the current one for as long as this lives, and forgets what `using` opens in
    // it.
    class open_scope {
    public:
        open_scope(tvr_asm_builder& of, tvr_code_scope& scope);
        ~open_scope();
        open_scope(const open_scope&) = delete;
        open_scope& operator=(const open_scope&) = delete;

    private:
        tvr_asm_builder& builder;
        tvr_code_scope* outer;
        size_t outer_used;
    };

    // Programs, blocks, statements (builder.cpp).
    bool compile_block(tvr_ast_list<tvr_ast_node*> nodes);
    bool declare_definitions(tvr_ast_list<tvr_ast_node*> nodes);
    bool compile_command(const tvr_ast_node& node);
    bool compile_discarded(const tvr_ast_node& expression);
    bool compile_body(const tvr_ast_node_sub_block& body, std::string_view name);
    bool declares_names(const tvr_ast_node_sub_block& body);
    uint32_t add_sub_block(tvr_program_block_routine* made, std::string_view name,
                           tvr_block_kind kind, token at);
    void start_block(tvr_program_block_routine& made, std::string_view name, tvr_block_kind kind,
                     token at);
    bool is_strict_code(const tvr_src_token& at) const;

    // Names (names.cpp).
    found find_name(std::string_view name) const;
    found find_variable(std::string_view name) const;
    found find_declared(std::string_view name) const;
    tvr_program_block_class* find_class_def(std::string_view name) const;
    const tvr_declared_name* find_interface(std::string_view name) const;
    bool is_member(std::string_view name) const;
    void warn_of_hidden_member(token name, const found& what);
    bool compile_literal_word(token word, bool& compiled);
    bool compile_this(token at);
    void emit_variable(const found& what, token at);
    bool emit_declared(const found& what, token at);
    bool compile_found_name(const found& what, token name);
    bool refuse_unknown(token name);

    // Namespaces (namespaces.cpp).
    bool compile_using(const tvr_ast_node_using_namespace& node);
    found find_in_namespaces(std::string_view name) const;
    static found find_in(const tvr_known_namespace& space, std::string_view name);
    bool is_allowed(const tvr_known_namespace& space, token at);
    bool compile_path(chain& path, found what);
    bool compile_native(chain& path, const found& what, token name);

    // Expressions (expressions.cpp).
    bool compile_value(const tvr_ast_node& node, access mode = access::read);
    bool compile_pushed(const tvr_ast_node& node);  // in a slot of its own
    bool compile_unary(const tvr_ast_node_unary& node);
    bool compile_negative(const tvr_ast_node_unary& node);
    bool compile_binary(const tvr_ast_node_binary& node);
    bool compile_ternary(const tvr_ast_node_ternary& node);
    bool compile_list(const tvr_ast_node_initializer_list& node);
    void emit_operator(token op);
    static bool is_increment(const tvr_src_token& op) {
        return op.is(code::increment) || op.is(code::decrement);
    }

    // Chains (access.cpp).
    bool compile_chain(const tvr_ast_node& node, access mode);
    static chain chain_of(const tvr_ast_node& node, access mode);
    bool compile_links(chain& links);
    bool compile_chain_start(chain& links);
    bool compile_start_name(chain& links);
    bool compile_link(chain& links);
    bool compile_member(chain& links, const tvr_ast_node_json_literal& node);
    bool compile_index(chain& links, const tvr_ast_node_json& node);
    void emit_member(std::string_view name, uint8_t flags, token at);
    void emit_element(tvr_opcode opcode, uint8_t flags, token at);

    // Assignments (assignments.cpp).
    bool compile_assign(const tvr_ast_node_assign& node);
    bool compile_assigned_variable(const tvr_ast_node_assign& node);
    bool compile_new_variable(const tvr_ast_node_assign& node, const variable_words& words);
    bool compile_assigned_member(const tvr_ast_node_assign& node);
    bool compile_assigned_element(const tvr_ast_node_assign& node);
    bool compile_assigned_value(const tvr_ast_node_assign& node);
    bool compile_increment(const tvr_ast_node_unary& node, bool discard);
    bool compile_declaration(const tvr_ast_node_variable& node);
    bool read_words(tvr_ast_list<tvr_ast_word> list, variable_words& into);
    bool is_type_annotation(const tvr_ast_word& word) const;
    bool makes_variable(const tvr_ast_node_assign& node) const;
    bool can_define(token name, const variable_words& words);
    bool refuse_definition(token name);
    uint32_t define_variable(token name);

    // Calls (calls.cpp).
    bool compile_call(const call_node& node);
    bool emit_call(const call_node& node, const std::vector<uint32_t>& places);
    bool compile_known_call(const call_node& node, const found& callee, token name);
    bool compile_native_call(const call_node& node, tvr_function_def& function, token name);
    bool compile_this_call(const call_node& node, token name);
    bool compile_method_call(const call_node& node, token name, bool on_this);
    bool compile_super_call(chain& links);
    bool begin_call_method(const call_node& node, const tvr_program_block_routine* known,
                           token name);
    void end_call_method(const call_node& node, std::string_view name, uint8_t flags,
                         const tvr_program_block_class* from, token at);
    bool plan_arguments(const call_node& node, const tvr_program_block_routine* known, token name,
                        std::vector<uint32_t>& places);
    bool place_named_argument(const tvr_ast_node_function_call_param& param,
                              const tvr_program_block_routine* known,
                              std::vector<uint32_t>& places);
    bool check_argument_count(const tvr_program_block_routine& known,
                              const std::vector<uint32_t>& places, token name);

    // Control flow (control_flow.cpp).
    bool compile_conditions(const tvr_ast_node_condition_stack& node);
    bool compile_loop(const tvr_ast_node_loop& node);
    bool compile_try(const tvr_ast_node_try_catch& node);
    bool compile_return(const tvr_ast_node_return& node);
    static bool is_logical(const tvr_ast_node& node);
    bool compile_test(const tvr_ast_node& node, test_exits exits);
    bool compile_test_chain(const tvr_ast_node_binary& node, test_exits exits);
    void set_jumps(const jumps& waiting);
    void pop_test(const jumps& waiting, token at);

    // Functions and lambdas (functions.cpp, captures.cpp).
    bool declare_function(const tvr_ast_node_function_def& def);
    tvr_program_block_routine* make_function(const tvr_ast_node_function_def& def,
                                             uint32_t& sub_block);
    bool declare_params(tvr_program_block_routine& routine, const tvr_ast_node_function_def& def);
    bool compile_function(tvr_program_block_routine& routine, const tvr_ast_node_function_def& def,
                          tvr_code_scope& scope);
    bool compile_defaults(const tvr_ast_node_function_def& def, tvr_code_scope& scope);
    bool compile_default(tvr_program_block_routine& block, const tvr_ast_node& value);
    bool compile_lambda(const tvr_ast_node_function_def& def);
    void emit_captures(tvr_program_block_routine& routine, const tvr_ast_node_function_def& def);

    // Classes and interfaces (class_layout.cpp, classes.cpp, interfaces.cpp).
    bool declare_class(const tvr_ast_node_class_def& def);
    bool check_class_name(const tvr_ast_node_class_def& def);
    bool add_bases(tvr_program_block_class& made, const tvr_ast_node_class_def& def);
    bool add_base(tvr_program_block_class& made, const tvr_ast_node_class_def& def, size_t place);
    bool check_members(const tvr_program_block_class& made, const tvr_ast_node_class_def& def);
    bool add_own(tvr_program_block_class& made, const tvr_ast_node_class_def& def);
    bool add_statement(tvr_program_block_class& made, const tvr_ast_node& node);
    bool add_member(tvr_program_block_class& made, token name, tvr_ast_list<tvr_ast_word> keywords);
    bool add_assigned(tvr_program_block_class& made, const tvr_ast_node_assign& node);
    bool add_method(tvr_program_block_class& made, const tvr_ast_node_function_def& def);
    bool read_method_words(const tvr_ast_node_function_def& def,
                           tvr_program_block_class::method_info& into);
    bool add_special_method(tvr_program_block_class& made, const tvr_ast_node_function_def& def,
                            tvr_program_block_routine& routine);
    bool compile_class(const tvr_ast_node_class_def& def);
    bool compile_class_member(const tvr_ast_node& node);
    void show_member(token name);
    bool compile_method(const tvr_ast_node_function_def& def);
    bool compile_interface(const tvr_ast_node_class_def& def);
    bool check_interface_method(const tvr_ast_node_class_def& def, const tvr_ast_node& node);

    // Code.
    uint32_t emit(const tvr_instruction_draft& draft, token at) {
        ++num_instructions;
        return here->block->push_to_instr_buffer(draft.data(), draft.size(), at);
    }
    uint32_t emit(tvr_opcode opcode, token at) { return emit(tvr_instruction_draft(opcode), at); }
    uint32_t emit_byte(tvr_opcode opcode, uint8_t value, token at) {
        return emit(tvr_instruction_draft(opcode).field(1, value), at);
    }
    uint32_t emit_index(tvr_opcode opcode, uint32_t value, token at) {
        return emit(tvr_instruction_draft(opcode).field(4, value), at);
    }
    void emit_pop(token at) { emit_index(tvr_op_pop_stack, 1, at); }
    void emit_int(int64_t value, token at) {
        emit(tvr_instruction_draft(tvr_op_return_int).field(8, value), at);
    }
    uint32_t position() const { return uint32_t(here->block->code_size()); }
    void jump_here(uint32_t jump) { here->block->set_jump(jump, position()); }

    template <typename... T>
    bool refuse(token at, const T&... parts) {
        report.syntax_error(at, parts...);
        return false;
    }

    tvrscript& script;
    std::shared_ptr<const tvr_ast> ast;
    tvr_package_imports& imports;
    tvr_syntax_report& report;
    tvrptr_strong<tvr_program_block_root> root;
    tvr_code_scope* here = nullptr;         // the innermost scope
    std::vector<tvr_known_namespace> used;  // that `using` has opened, inner scopes behind outer
    std::unordered_map<const tvr_ast_node*, tvr_program_block_base*> made_for;  // definitions
    std::unordered_set<std::string_view> warned_of;    // members that a global hides
    std::unordered_set<std::string_view> own_members;  // of the class that is laid out
    size_t num_instructions = 0;
    size_t num_code_bytes = 0;
};
