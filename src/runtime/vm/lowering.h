#pragma once

// One run of lower.h. Its functions stand in lower.cpp (instructions), lower_values.cpp (what
// stands in slots), lower_calls.cpp and lower_blocks.cpp.

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "frontend/program/instruction.h"
#include "frontend/program/program_block.h"
#include "runtime/vm/machine_code.h"

class tvr_lowering {
public:
    explicit tvr_lowering(tvr_machine_code& into);
    bool run();

private:
    using op = tvr_machine_opcode;

    // What stands in a slot of the blocks' stack.
    struct entry {
        enum class kind : uint8_t {
            none,       // nothing that anybody would miss
            temporary,  // a value in `reg`
            variable,   // what register `reg` holds when it is read
            alias,      // the temporary `reg` of a slot below, which keeps it
            self,       // this
            member,     // `object`.`name`, or this.`name`
            element,    // `object`[`index`]
            reference,  // a reference to register `reg`
            function,   // block site `reg`, known
        };
        kind is = kind::none;
        bool of_self = false;   // member
        bool keep = false;      // member: the object's temporary is read again
        bool optional = false;  // member, element
        int home = 0;           // this slot's own temporary
        int end = 0;            // the first temporary that is free above it
        int reg = 0;
        int object = 0;
        int index = 0;
        const std::string* name = nullptr;
        const tvr_program_block_class* from = nullptr;
        const tvr_src_token* place = nullptr;  // member, element: where it is named
    };

    struct label {
        std::vector<size_t> jumps;  // operations that lead here
        std::vector<entry> stack;   // as the first of them left it
        bool known = false;         // whether `stack` is
        int64_t op = -1;            // where it stands, once that is known
    };

    // A block that is being lowered, in its place inside the function.
    struct block {
        tvr_program_block_routine* routine = nullptr;
        block* outer = nullptr;
        int first = 0;                                 // register of its first variable
        const std::vector<uint32_t>* slots = nullptr;  // of a base: its variables in the class
        int nesting = 0;
        int default_param = -1;     // of a default's block
        std::vector<size_t> leave;  // jumps to its end: breaks, ends of defaults
        std::map<uint32_t, label> labels = {};
        uint32_t at = 0;  // offset of the running instruction
        // By the offset of a test that is one with its jump: the operation behind it.
        std::map<uint32_t, size_t> bodies = {};
    };

    struct open_call {
        size_t callee;  // place in the stack
        bool native;
        tvr_call_site site;
    };

    // lower.cpp
    bool lower_block(block& in);
    void find_labels(block& in);
    void enter_label(block& in, uint32_t offset);
    void lower_instruction(block& in, const uint8_t* at);
    bool lower_variable(block& in, const uint8_t* at);
    bool lower_constant(block& in, const uint8_t* at);
    bool lower_operator(const uint8_t* at);
    bool lower_stack(block& in, const uint8_t* at);
    bool lower_access(block& in, const uint8_t* at);
    void name_member(const uint8_t* at);
    void name_element(const uint8_t* at);
    bool lower_jump(block& in, const uint8_t* at);
    bool invert_loop(block& in, uint32_t head, uint32_t behind);
    bool lower_call(block& in, const uint8_t* at);
    bool lower_block_op(block& in, const uint8_t* at);
    bool is_read_later(const block& in) const;
    bool finish();

    // lower_values.cpp
    entry& top() { return stack.back(); }
    entry& below() { return stack[stack.size() - 2]; }
    void push(entry::kind is = entry::kind::none);
    void pop();                          // what nobody has read is dropped
    void forget() { stack.pop_back(); }  // what an operation has read
    void set_top(entry::kind is, int reg = 0);
    void set_temporary(entry& e, int reg);
    int read(entry& e);     // its register, after what is needed to have it there
    int cell(entry& e);     // a register whose cell is the variable itself
    void settle(entry& e);  // into its own temporary
    bool is_place(const entry& e) const;
    bool is_temporary(int reg) const { return reg >= num_variables; }
    int constant_register(tvrvar_shared value, std::string key);
    int fixed_register(tvrvar* variable);
    int global_register(uint32_t variable);
    int member_site(const entry& e);
    void assign(bool result_used);  // set_and_pop_stack
    void set_element(bool result_used);
    void increment(op plain, op with_old, bool wants_old);
    void increment_member(op plain);
    void make_template();

    // lower_calls.cpp
    void open(bool native);
    void set_argument(block& in, uint32_t index, const uint8_t* at);
    int argument_register(entry& e, bool by_reference);
    bool assigns_before_call(const block& in, const uint8_t* at) const;
    void close_call(const block& in, tvr_function_def* native);
    void call_method(const block& in, const uint8_t* at);
    int16_t add_site(tvr_call_site site);
    void emit_call(entry& result, op code, int callee, tvr_call_site site);

    // lower_blocks.cpp
    int count_variables(tvr_program_block_routine& routine) const;
    block enter(block& outer, tvr_program_block_routine& routine);
    bool lower_subroutine(block& in, uint32_t index);
    bool lower_try(block& in, tvr_program_block_routine& routine);
    bool lower_default(block& in, uint32_t param);
    bool lower_bases(block& in);
    void leave_loop(block& in, bool goes_on);
    void lower_return(block& in);
    int variable_register(const block& in, uint32_t index) const;
    block* block_above(block& in, uint32_t levels) const;
    void clear_variables(int from, int to);

    size_t emit(op code, int a = 0, int b = 0, int c = 0);
    void jump_to(block& in, uint32_t target, size_t op_index);
    void land(size_t op_index);  // the jump leads to the next operation
    void fail(std::string_view what);

    tvr_machine_code& code;
    tvr_program_block_root& root;
    std::vector<entry> stack;
    std::vector<open_call> calls;
    std::unordered_map<std::string, int> constant_places;  // by kind and bytes
    std::unordered_map<tvrvar*, int> fixed_places;
    std::unordered_map<uint32_t, int> global_places;
    const tvr_src_token* token = nullptr;
    int num_variables = 0;
    int num_temporaries = 0;
    bool reachable = true;
    bool failed = false;
    int64_t last_result = -1;  // the operation behind which nothing was emitted and no label stands
};
