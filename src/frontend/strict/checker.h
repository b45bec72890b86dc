#pragma once

// The walk that infers types and finds what will most likely fail at run time.
//
// This folder:
//
//   strict_check.h   the checker as a compile uses it
//   type.h           what is known of a value, and how that is joined and compared
//   model.h          functions and classes as the checker knows them
//   survey.h         a first look over the tree: who writes to what
//   flow.h           variables in their scopes, and what they hold along the ways of the program
//   names.h          functions and classes by name
//   natives.h        native functions and classes
//   finding.h        findings and their report
//   checker.h        the walk; one file for each group of the tree:
//     statements.cpp   blocks, branches, loops, try, return
//     conditions.cpp   conditions, and what a test tells of the tested
//     expressions.cpp  literals, rows of operators
//     operators.cpp    what operators make of their operands
//     chains.cpp       names, members, indices
//     calls.cpp        calls of every kind, arguments
//     assignments.cpp  assignments, declared types, literals for them
//     functions.cpp    declarations and bodies of functions
//     classes.cpp      classes, what they override
//     interfaces.cpp   interfaces, and who keeps their promises
//     kernels.cpp      launches of kernels that the same files declare
//
// Statements are walked once, in the order in which the builder compiles them, so that names mean
// what they mean there. Variables of a function are followed from statement to statement; those
// of the root only in the root's own code, and only when no function writes to them. Where the
// checker does not know, a type is dynamic, and nothing is said. It runs before the builder, so
// the tree may be wrong in every way that the grammar allows.
//
// Chains that grow to the left are walked in loops; everything else nests as deep as the parser
// allows. Thread: one compile, under the interpreter's lock.

#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "frontend/strict/finding.h"
#include "frontend/strict/flow.h"
#include "frontend/strict/model.h"
#include "frontend/strict/names.h"
#include "frontend/strict/natives.h"
#include "frontend/strict/survey.h"
#include "frontend/strict/type.h"
#include "frontend/syntax/ast.h"
#include "runtime/value/operators.h"

class tvr_namespace;
class tvr_package_imports;
class tvrscript;
struct tvrk_program;
struct tvrk_unit;

class tvr_strict_checker_impl {
public:
    // The kernels are those that the tree's files declare; null for none.
    tvr_strict_checker_impl(tvrscript& script, const tvr_ast& ast, tvr_package_imports& imports,
                            const tvrk_unit* kernels);

    void infer();

    tvr_strict_findings findings;

private:
    using token = const tvr_src_token*;
    using code = tvr_token_code;
    using node_type = tvr_ast_node_type;
    using type = tvr_strict_type;
    using kind = tvr_strict_kind;
    using call_node = tvr_ast_node_function_call;

    // What is known not to be None while a branch is walked. Forgotten with the branch.
    class narrow_scope {
    public:
        explicit narrow_scope(tvr_strict_flow& of) : flow(of), start(of.here()) {}
        ~narrow_scope() { flow.undo(start); }
        narrow_scope(const narrow_scope&) = delete;
        narrow_scope& operator=(const narrow_scope&) = delete;

    private:
        tvr_strict_flow& flow;
        size_t start;
    };

    // How the value of an expression is wanted.
    enum class want : uint8_t {
        value,
        discarded,  // nobody looks at it
        optional,   // left of ??: may be None at every link
    };

    // A function whose body is walked.
    struct function_frame {
        tvr_strict_function* function = nullptr;  // null: the main body
        const tvr_strict_class* of_class = nullptr;
        bool has_this = false;
        bool gives_value = false;    // a return with a value was met
        bool gives_nothing = false;  // one without
        type result;
    };

    struct loop_frame {
        size_t head;                         // of the trail
        std::vector<tvr_strict_way> breaks;  // what each leaves
    };

    // What the chain that is walked has come to.
    struct link_value {
        type is;
        int64_t variable = tvr_strict_flow::no_variable;  // when it is this variable itself
        std::string_view name = {};                       // for messages; may be empty
        tvr_namespace* space = nullptr;                   // it is a namespace
        const tvr_function_def* native = nullptr;         // it is a native function
        bool is_native_variable = false;
        bool is_member = false;  // of `this`, named without it
    };
    struct chain {
        size_t first = 0;  // its links begin here in `links`; the next one is the last
        want wanted = want::value;
        link_value value;
    };

    // Statements (statements.cpp).
    void walk_block(tvr_ast_list<tvr_ast_node*> nodes);
    void walk_scope(const tvr_ast_node_sub_block& body);
    void walk(const tvr_ast_node& node);
    void walk_definition(const tvr_ast_node& node);
    void walk_conditions(const tvr_ast_node_condition_stack& node);
    void walk_loop(const tvr_ast_node_loop& node);
    void walk_try(const tvr_ast_node_try_catch& node);
    void walk_return(const tvr_ast_node_return& node);
    void check_returned(const type& value, token at);
    void walk_using(const tvr_ast_node_using_namespace& node);
    void expect_writes(tvr_strict_survey::range range);
    type after_write(const tvr_strict_write& write, const type& before);
    void end_way(std::vector<tvr_strict_way>& ways, size_t from, size_t to);
    void meet(const std::vector<tvr_strict_way>& ways);

    // Conditions (conditions.cpp).
    void check_condition(const tvr_ast_node& node);
    void check_logical(const tvr_ast_node_binary& node);
    void join_with_start(size_t start);
    void apply_test(const tvr_ast_node& node, bool truth);
    void apply_binary(const tvr_ast_node_binary& node, bool truth);
    void apply_comparison(const tvr_ast_node_binary& node, bool truth);
    void apply_call(const call_node& node);
    void forget_none(const tvr_ast_node& node);
    int64_t followed_variable(const tvr_ast_node& node);
    bool is_followed(int64_t variable);
    const tvr_function_def* called_native(const call_node& node);

    // Expressions (expressions.cpp, operators.cpp).
    // The end of a report on a value of the wrong type.
    static constexpr const char* convert_hint =
        " Convert explicitly with std.int(), std.float() or std.string().";

    struct used_operand {
        type is;
        const tvr_ast_node* node;
    };
    type infer_value(const tvr_ast_node& node, want wanted = want::value);
    type infer_unary(const tvr_ast_node_unary& node);
    type infer_negative(const tvr_ast_node_unary& node, const type& operand);
    type infer_increment(const tvr_ast_node_unary& node);
    type infer_binary(const tvr_ast_node_binary& node);
    type infer_step(const tvr_ast_node_binary& node, const type& left);
    type infer_logical_row(size_t first, type left);
    type infer_ternary(const tvr_ast_node_ternary& node);
    type counted(token op, const type& before);
    type infer_list(const tvr_ast_node_initializer_list& node, const type& declared);
    void check_typed_element(const type& declared, const tvr_ast_node_initializer_list_add& element,
                             size_t place, const type& value);
    type combine(const tvr_ast_node_binary& node, type left, type right);
    type combine(token op, used_operand left, used_operand right);
    type combine_arithmetic(token op, const type& left, const type& right);
    type combine_bits(token op, const type& left, const type& right);
    type combine_comparison(token op, const type& left, const type& right);
    type combine_class(token op, const type& left, const type& right);
    type compare_class(token op, const type& left, const type& right);
    void refuse_comparison(token op, const type& left, const type& right);
    type refuse_operands(token op, const type& left, const type& right);
    bool use_operand(token op, type& operand, const tvr_ast_node* node);
    void check_divisor(token op, const tvr_ast_node& divisor);
    static bool comparable(const type& left, const type& right, bool order);
    static bool is_order(code op);

    // Chains (chains.cpp).
    type infer_chain(const tvr_ast_node& node, want wanted);
    chain begin_chain(const tvr_ast_node& node, want wanted);
    void begin_with_name(chain& walked, token name);
    void begin_with_super(chain& walked);
    void walk_links(chain& walked);
    void walk_link(chain& walked);
    void walk_index(chain& walked, const tvr_ast_node_json& node);
    void walk_count(chain& walked, const tvr_ast_node_unary& node);
    const tvr_ast_node* next_link(const chain& walked) const;
    const call_node* take_call(const chain& walked);
    static link_value value_of(const type& is);
    link_value this_value() const;
    link_value find_name(token name);
    link_value find_in_namespaces(std::string_view name) const;
    static link_value find_in(tvr_namespace& space, std::string_view name);
    type read_variable(int64_t variable);
    type read_member(const chain& walked, token name);
    type read_instance_member(const type& of, token name);
    void check_literal_member(const type& of, token name);
    void no_member(const type& of, token name);
    void private_member(const tvr_strict_class& in, token name);
    bool may_see(const tvr_strict_class* declaring) const;
    static bool has_member(const type& of, std::string_view name);
    void use(link_value& value, token at, std::string_view how, want wanted);
    static type shared(type value);

    // Calls (calls.cpp).
    void walk_call(chain& walked, const call_node& node, token name);
    void walk_method_call(chain& walked, const call_node& node, token name);
    type call_instance_method(const link_value& of, const call_node& node, token name);
    static type result_of(const type& of, const tvr_strict_function& method);
    type call_native_method(const link_value& of, const call_node& node, token name);
    void walk_pushed(const link_value& of, const call_node& node, token name);
    type call_function(const tvr_strict_function& function, const call_node& node, token name,
                       std::string_view title);
    type call_class(const tvr_strict_class& of, const call_node& node, token name);
    type call_native(const tvr_function_def& function, const call_node& node, token name);
    type call_super(const call_node& node, token name);
    void check_count(const call_node& node, token name, std::string_view title, size_t least,
                     size_t most);
    void check_argument(const tvr_strict_param& param, size_t place, const type& value, token at,
                        std::string_view title);
    void walk_arguments(const call_node& node, bool by_reference);
    void pass_argument(const tvr_ast_node& value, bool by_reference);
    void pass_argument_variable(const tvr_ast_node& value, bool by_reference);
    bool may_change_argument(const tvr_strict_write& write);
    bool may_take_references(std::string_view name) const;

    // Kernels (kernels.cpp).
    type kernel_of_unit(const link_value& of, const call_node& node, token name) const;
    type call_kernel_method(const type& of, const call_node& node, token name);
    void check_launch(const tvrk_program& kernel, const call_node& node, token name);
    void check_kernel_argument(const tvrk_program& kernel, size_t place, const tvr_ast_node& node,
                               const type& value);

    // Assignments (assignments.cpp).
    type infer_assign(const tvr_ast_node_assign& node);
    type assign_variable(const tvr_ast_node_assign& node);
    type assign_own_member(const tvr_ast_node_assign& node, token name);
    type assign_member(const tvr_ast_node_assign& node);
    type assign_element(const tvr_ast_node_assign& node);
    type assigned_value(const tvr_ast_node_assign& node, const type& before, const type& declared);
    type infer_for(const type& declared, const tvr_ast_node& node);
    void check_element(const type& container, const type& value, token at);
    void declare_variable(const tvr_ast_node_variable& node);
    int64_t define_variable(token name, const type& declared, const type& value);
    type store_variable(int64_t variable, type value, token at);
    void set_variable(int64_t variable, const type& value);
    void set_member_of(link_value& of, token name, const type& value);
    void set_instance_member(const type& of, token name, const type& value);
    void set_key(link_value& of, std::string_view key, token at);
    type declared_type(const tvr_ast_word& word);
    type declared_type(tvr_ast_list<tvr_ast_word> words);
    type type_of_word(const tvr_src_token& word);

    // Functions (functions.cpp).
    tvr_strict_function* declare_function(const tvr_ast_node_function_def& def,
                                          const tvr_strict_class* owner);
    void walk_function(tvr_strict_function& function, function_frame& frame);
    void define_param(const tvr_strict_function& function, size_t place);
    void conclude(tvr_strict_function& function, const function_frame& frame);
    type infer_lambda(const tvr_ast_node_function_def& def);

    // Classes and interfaces (classes.cpp, interfaces.cpp).
    void declare_definitions(tvr_ast_list<tvr_ast_node*> nodes);
    void declare_class(tvr_strict_class& made);
    void add_base(tvr_strict_class& made, token name);
    void add_members(tvr_strict_class& made, const tvr_ast_node& node);
    void add_member(tvr_strict_class& made, token name, tvr_ast_list<tvr_ast_word> words);
    void walk_class(const tvr_ast_node_class_def& def);
    void walk_class_member(const tvr_strict_class& of, const tvr_ast_node& node);
    void check_constructor(const tvr_strict_class& of);
    void check_destructor(const tvr_strict_class& of);
    void check_overrides(const tvr_strict_class& of);
    void check_override(const tvr_strict_function& method, const tvr_strict_function& base);
    void check_promises(const tvr_strict_class& of);
    void check_promise(const tvr_strict_class& of, const tvr_strict_class& contract,
                       const tvr_strict_function& promised);
    void check_promised_types(const tvr_strict_function& method,
                              const tvr_strict_function& promised, const tvr_strict_class& contract,
                              const std::string& title, token at);
    void check_extension(const tvr_strict_class& contract);
    static bool calls_super_constructor(const tvr_ast_node_function_def& def);

    // None.
    uint32_t reason_of(std::string reason);
    void report_none(const type& value, token at, std::string_view how);

    template <typename... T>
    void find(token at, const T&... parts) {
        findings.add(at, parts...);
    }

    tvrscript& script;
    const tvr_ast& ast;
    tvr_package_imports& imports;
    const tvrk_unit* kernels;
    tvr_strict_survey survey;
    tvr_strict_natives natives;
    tvr_strict_flow flow;
    tvr_strict_names names;

    std::deque<tvr_strict_function> functions;
    std::deque<tvr_strict_class> classes;
    std::deque<tvr_strict_literal> literals;
    std::deque<type> element_types;
    std::unordered_map<const tvr_ast_node*, tvr_strict_function*> made_for;
    std::unordered_map<const tvr_ast_node*, tvr_strict_class*> class_for;
    std::vector<std::string> reasons;  // why a value may be None; by number

    function_frame main_body;
    function_frame* here = &main_body;
    std::vector<tvr_namespace*> used;        // that `using` has opened
    std::vector<const tvr_ast_node*> links;  // of the chains that are walked, one above the other
    bool ended = false;                      // the code that follows is not reached
    bool uncertain = false;      // the last statement was a call that may not have returned
    loop_frame* loop = nullptr;  // the innermost one of the function
    bool call_ends = false;      // the last call was of a function that never returns
    bool in_condition = false;
};
