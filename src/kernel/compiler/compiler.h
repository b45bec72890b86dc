#pragma once

// The compiler of the kernel language: a single pass over the tokens that knows types and emits
// code at once. There is no tree.
//
// The class is one, because everything knows everything; its sources are split by subject:
//
//     top_level.cpp     structs, constants, heads of kernels and helpers
//     functions.cpp     bodies, return, inlined calls, the finished program
//     statements.cpp    blocks, loops, assignments
//     variables.cpp     scopes, declarations, initialiser lists
//     expressions.cpp   binding strengths, unary, postfix, names
//     operators.cpp     binary and unary operators on values
//     conditions.cpp    branches, && || ! and ?:
//     convert.cpp       literals and conversions
//     memory.cpp        places, pointers, loads and stores
//     builtins.cpp      min, sqrt, dot, atomic_add, ...
//
// A body is compiled into a tvrk_draft; optimise.h makes a program of it. Helpers are read anew at
// each call, with their parameters bound to the arguments' registers. Limits keep any source short:
// nesting, tokens read and instructions emitted for one kernel.

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kernel/compile.h"
#include "kernel/compiler/code.h"
#include "kernel/compiler/failure.h"
#include "kernel/compiler/operand.h"
#include "kernel/compiler/token.h"

class tvrk_compiler {
public:
    tvrk_compiler(std::shared_ptr<tvrk_tokens> source, const tvrk_imports& imports);
    std::shared_ptr<const tvrk_unit> run();

private:
    using operand = tvrk_operand;
    using kind = tvrk_operand::kind;

    static constexpr size_t max_nesting = 256;               // blocks, brackets and inlined calls
    static constexpr size_t max_tokens_read = 4000000;       // for one kernel, helpers included
    static constexpr size_t max_instructions = 1000000;      // of one kernel
    static constexpr uint32_t max_frame_bytes = 1048576;     // 1 MiB
    static constexpr uint64_t max_struct_bytes = 268435456;  // 256 MiB
    static constexpr size_t max_constants = 28671;           // distinct, in one program

    struct variable {
        std::string_view name;
        operand value;
        std::string_view role;  // why it cannot be written: "parameter", "builtin"; "" if it can
        std::string pointee;    // of a pointer: the parameter that it points into
    };
    struct loop {
        size_t top;         // target of LOOP
        bool jumps_to_top;  // continue may go there: while
        std::vector<size_t> breaks, continues;
    };
    // The function whose body is read: an entry kernel or a copy of a helper.
    struct function {
        const tvrk_unit* unit = nullptr;
        size_t visible = 0;  // names of the unit with a smaller ordinal
        bool is_entry = false;
        tvrk_type result;
        operand result_value;         // where a helper leaves it
        std::vector<size_t> returns;  // jumps to the end
        size_t first_variable = 0;    // what lies below belongs to callers
        size_t first_loop = 0;
        const tvrk_helper* helper = nullptr;
        function* caller = nullptr;
    };
    // A function's head as it is declared.
    struct head {
        std::string_view name;
        tvrk_token where;
        tvrk_type result;
        std::vector<tvrk_helper_param> params;
        tvrk_reduce reduce = tvrk_reduce::none;
        std::vector<std::pair<std::string, tvrk_reduce>> fields;  // reductions of a struct's fields
    };
    class nested;  // counts a level of nesting

    // tokens ---------------------------------------------------------------------------------
    const tvrk_token& peek(size_t ahead = 0) const;
    tvrk_token next();
    bool accept(std::string_view text);
    tvrk_token expect(std::string_view text);
    tvrk_token expect_name();
    [[noreturn]] void fail(const std::string& message) const;  // at the token read last
    [[noreturn]] void fail_at(const tvrk_token& where, const std::string& message) const;
    [[noreturn]] void fail_found(const std::string& expected) const;  // ... "but found" the next
    static std::string describe(const tvrk_token& token);

    // top_level.cpp --------------------------------------------------------------------------
    void declaration();
    void declare_struct(bool is_cstruct);
    void declare_field(tvrk_struct& made, uint32_t& alignment, uint64_t& size);
    tvrk_type field_type(const tvrk_struct& made);
    void check_struct_size(const tvrk_struct& made, uint64_t size) const;
    void declare_constant();
    void declare_helper();
    void declare_kernel();
    head function_head();
    tvrk_helper_param parameter();
    void reduction(head& made);
    tvrk_reduce reduction_operator();
    void check_reduction(const head& made) const;
    void check_field_reductions(const head& made) const;
    void add_symbol(const tvrk_token& name, tvrk_symbol::kind what, size_t index);
    void check_new_name(const tvrk_token& name) const;
    uint32_t array_size();
    bool at_type(size_t ahead = 0) const;
    tvrk_type type();
    tvrk_type value_type();
    std::optional<tvrk_type> named_type(std::string_view word) const;
    static std::optional<tvrk_type> vector_type(std::string_view word);
    void note_vector(const tvrk_type& vector);
    struct found_symbol {
        const tvrk_unit* unit = nullptr;
        const tvrk_symbol* symbol = nullptr;
    };
    found_symbol find_symbol(std::string_view name) const;

    // functions.cpp --------------------------------------------------------------------------
    void begin_program(const head& made);
    void bind_parameters(const head& made);
    void make_accumulators(const head& made);
    void finish_program(const head& made);
    void compile_body(function& made, size_t parameters);  // the innermost variables
    void check_helper_body(const tvrk_helper& helper, const head& made, size_t body);
    operand call_helper(const tvrk_helper& helper, const tvrk_token& name);
    std::vector<operand> arguments(const tvrk_token& name, size_t expected);
    variable bind_argument(const tvrk_helper_param& param, operand argument);
    operand result_place(const tvrk_type& result);
    bool return_statement();
    void return_list();
    void leave_with(operand value);
    void combine(const tvrk_acc& acc, uint32_t reg, const operand& value);
    void return_record(const operand& record);

    // statements.cpp -------------------------------------------------------------------------
    bool statement();  // true if it returns on every path
    bool block();
    void check_type_name() const;
    bool if_statement();
    void for_statement();
    size_t skip_step();
    void while_statement();
    void jump_statement(const tvrk_token& word);
    void loop_body(std::vector<size_t>& leaves);
    void simple_statement();
    void assign(const operand& target, const tvrk_token& op);
    void assign_record(const operand& target);
    void step_by_one(const operand& target, const tvrk_token& op);
    void compound(const operand& target, std::string_view op, const operand& value,
                  const tvrk_token& where);
    void check_writable(const operand& target, const tvrk_token& where) const;
    void store(const operand& target, operand value);

    // variables.cpp --------------------------------------------------------------------------
    void open_scope();
    void close_scope();
    void declare(const tvrk_token& name, variable made);
    const variable* find_variable(std::string_view name, int64_t* index = nullptr) const;
    void variable_declaration();
    void declare_one(const tvrk_type& declared, const tvrk_token& name);
    variable pointer_variable(const tvrk_type& declared, const tvrk_token& name);
    void initialise(const operand& target, const tvrk_token& name);
    void read_list(const operand& target);
    void list_elements(const operand& target, bool& complete);
    void list_value(const operand& target);
    void zero(const operand& target);
    operand frame_place(const tvrk_type& held);
    operand new_value(const tvrk_type& held);

    // expressions.cpp ------------------------------------------------------------------------
    operand expression();
    operand binary_expression(int strength);
    operand unary_expression();
    operand postfix_expression();
    operand primary_expression();
    operand parenthesis();
    operand name_expression(const tvrk_token& name);
    operand global_name(const tvrk_token& name);
    operand function_call(const tvrk_token& name);
    operand conversion_call(const tvrk_type& to, const tvrk_token& name);
    std::vector<operand> components(const tvrk_type& to, const tvrk_token& name);
    operand vector_of(const tvrk_type& to, const std::vector<operand>& given);
    operand size_of();
    operand number_literal(const tvrk_token& token);
    bool at_change() const;  // at an operator that would change what stands before it
    operand special(const tvrk_token& name);
    operand address_of(const operand& element, const tvrk_token& op);

    // operators.cpp --------------------------------------------------------------------------
    operand binary(std::string_view op, operand x, operand y);
    operand vector_binary(std::string_view op, operand x, operand y);
    operand scalar_binary(std::string_view op, operand x, operand y);
    void check_operands(std::string_view op, const operand& x, const operand& y) const;
    std::optional<operand> with_constant(std::string_view op, tvrk_prim prim, const operand& x,
                                         const operand& y);
    // NOP: there is none. Narrow types work at 32 bits.
    static uint16_t arithmetic_op(std::string_view symbol, tvrk_prim prim);
    operand shift(std::string_view op, operand x, const operand& y);
    operand compare(std::string_view op, const operand& x, const operand& y);
    operand add_constant(const operand& x, int64_t amount);
    operand divide_by_constant(bool modulo, const operand& x, uint64_t divisor);
    tvrk_prim meet(std::string_view op, operand& x, operand& y);
    tvrk_prim common_prim(std::string_view op, const operand& x, const operand& y) const;
    operand unary(std::string_view op, operand x);
    operand literal_unary(std::string_view op, operand x);
    operand literal_binary(std::string_view op, const tvrk_literal& x, const tvrk_literal& y);
    tvrk_literal integer_literal_binary(std::string_view op, const tvrk_literal& x,
                                        const tvrk_literal& y);
    operand truncated(operand x);

    // conditions.cpp -------------------------------------------------------------------------
    void check_bool(const operand& x);
    tvrk_condition as_condition(operand x);
    operand condition_operand(tvrk_condition made) const;
    std::vector<size_t> jump_unless(tvrk_condition branch);
    std::vector<size_t> jump_if(tvrk_condition branch);
    std::vector<size_t> condition_in_parentheses();
    std::vector<size_t> leave_unless(operand condition);
    bool known_bool(const operand& x) const;  // in constant expressions
    operand logical(bool is_and, const operand& left, int strength);
    operand logical_not(operand x);
    operand materialise(const operand& condition);
    operand conditional(operand condition);
    operand constant_conditional(bool holds);
    operand join_choice(const operand& a, const operand& b, size_t at_a, size_t at_b);
    void fill_move(size_t at, uint32_t result, const operand& value, const tvrk_type& to,
                   size_t lane);

    // convert.cpp ----------------------------------------------------------------------------
    operand convert(const operand& x, const tvrk_type& to);           // implicit
    operand convert_explicit(operand x, const tvrk_type& to);         // T(x), one component
    operand typed_literal(const tvrk_literal& number, tvrk_prim to);  // must fit
    operand wrapped_literal(const tvrk_literal& number, tvrk_prim to);
    operand resolve_choice(const operand& x, tvrk_prim to);
    operand settle(const operand& x);  // gives a literal that meets nothing its type
    static tvrk_prim default_prim(const tvrk_literal& number);
    operand constant(tvrk_prim prim, uint64_t bits) const;
    static bool widens(tvrk_prim from, tvrk_prim to);
    [[noreturn]] void refuse(const operand& x, const tvrk_type& to) const;
    std::string literal_text(const tvrk_literal& number) const;
    operand scalar(const operand& x, tvrk_prim prim);  // converts, and is a value or constant

    // memory.cpp -----------------------------------------------------------------------------
    operand rvalue(const operand& x);  // loads; structs and arrays are refused
    operand load(const operand& x);
    operand load_scalar(const tvrk_place& at, tvrk_prim prim, bool tested);
    void store_scalar(const tvrk_place& at, tvrk_prim prim, uint32_t value, bool tested);
    operand as_distance(const operand& x, const char* too_far) const;
    operand index_into(const operand& base, const operand& index);
    operand index_pointer(const operand& base, const operand& index);
    operand index_array(const operand& base, const operand& index);
    operand dereference(const operand& pointer) const;
    operand field_of(const operand& base, const tvrk_token& name, bool through_pointer);
    operand vector_component(const operand& vector, size_t lane) const;
    operand part_of(const operand& memory, const tvrk_type& type, int64_t offset) const;
    uint32_t address(const tvrk_place& at);        // as a register
    uint32_t element_index(const tvrk_place& at);  // as a register, addend included
    operand pointer_binary(std::string_view op, const operand& x, const operand& y);
    operand move_pointer(const operand& pointer, const operand& by, bool back);
    void move_place(tvrk_place& place, const operand& amount, bool back);
    operand pointer_argument(const operand& x, const tvrk_type& to) const;
    void copy_record(const operand& target, const operand& source);
    std::string pointer_name(const operand& pointer) const;

    // builtins.cpp ---------------------------------------------------------------------------
    bool is_builtin(std::string_view name) const;
    operand builtin_call(const tvrk_token& name);
    static uint16_t extremum_op(bool is_min, tvrk_prim prim);
    operand extremum(bool is_min, const operand& x, const operand& y);
    operand min_family(const tvrk_token& name, std::vector<operand> args);
    operand absolute(const operand& x);
    operand math_call(const tvrk_token& name, std::vector<operand> args, int kind_code);
    operand root(const operand& x);
    operand dot(const tvrk_token& name, const operand& x, const operand& y);
    operand cross(const operand& x, const operand& y);
    operand length(const operand& v);
    operand atomic_add();

    // emitting (emit.cpp) ----------------------------------------------------------------------
    size_t emit(uint16_t op, uint32_t a = 0, uint32_t b = 0, uint32_t c = 0, int64_t imm = 0);
    operand compute(uint16_t op, tvrk_prim result, const operand& x, const operand* y = nullptr,
                    uint32_t c = 0, int64_t imm = 0);  // folds constants
    std::optional<uint64_t> fold(const tvrk_draft_inst& in, uint64_t x, uint64_t y) const;
    uint32_t reg(const operand& x);  // of a scalar; a constant's, an addend added
    uint32_t constant_register(tvrk_prim prim, uint64_t bits);
    uint32_t new_register(tvrk_prim prim);
    operand value_in(uint32_t reg, tvrk_prim prim) const;
    void move(uint32_t to, const operand& value);
    void patch(const std::vector<size_t>& jumps);  // to the next instruction
    void patch(const std::vector<size_t>& jumps, size_t target);
    uint16_t program_file(uint16_t token_file);
    uint32_t frame_base();
    uint32_t zero_index();

    std::shared_ptr<tvrk_unit> unit;
    const tvrk_tokens* tokens;  // whose we read: ours, or an imported helper's
    size_t at = 0;
    tvrk_token last;  // read last
    size_t nesting = 0;
    bool constants_only = false;  // in a constant expression nothing can be emitted
    bool accept_lists = false;

    std::unique_ptr<tvrk_program> program;
    tvrk_draft draft;
    function* current = nullptr;
    std::vector<variable> variables;
    std::vector<size_t> scopes;        // where each begins in `variables`
    std::vector<uint32_t> frame_tops;  // the frame's use when each began
    std::unordered_map<std::string_view, std::vector<size_t>> variable_index;
    std::vector<loop> loops;
    uint32_t frame_top = 0;
    uint32_t frame_reg = 0;
    bool unchecked = false;
    size_t tokens_read = 0;
    std::unordered_map<std::string, uint16_t> file_index;
    const tvrk_tokens* file_tokens = nullptr;  // whose files file_map translates
    std::vector<int32_t> file_map;
};

class tvrk_compiler::nested {
public:
    explicit nested(tvrk_compiler& owner) : counted(owner) {
        if (++counted.nesting <= max_nesting) return;
        counted.nesting = 0;
        counted.fail("kernel code is nested too deeply (more than 256 levels)");
    }
    ~nested() { --counted.nesting; }
    nested(const nested&) = delete;
    nested& operator=(const nested&) = delete;

private:
    tvrk_compiler& counted;
};
