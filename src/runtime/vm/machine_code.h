#pragma once

// What the blocks of a function are lowered to: code for a machine with registers.
//
// A register is a cell of the frame, named by its place in the row (context.h). From 0 on stand the
// variables of the function and of all blocks inside it, then the temporaries; these cells are the
// frame's own. Negative places are borrowed: constants, statics, variables of namespaces, globals.
//
// A temporary is written once and read once. Who reads it leaves it without anything that would
// have to be released, so that no value outlives its statement. A temporary that holds a reference
// is the value of an `&` expression; everything else is read through references.
//
// Code is made by lower.h when its function runs for the first time, and belongs to the function's
// block. Script thread.

#include <cstdint>
#include <string>
#include <vector>

#include "runtime/memory/pointer.h"
#include "runtime/value/value.h"
#include "runtime/vm/context.h"

class tvr_frame_store;
class tvrobject_metadata;
class tvr_program_block_class;
class tvr_program_block_routine;
struct tvr_src_token;

// In the comments: a, b and c are registers unless it says so; temporaries that are read are
// dropped, but for those of the jumps and of what says "keep".
// The formatter finds no rest on this list.
// clang-format off
#define TVR_MACHINE_OPS(OP)                                                                      \
    OP(add) OP(sub) OP(mult) OP(div) OP(mod)      /* a = b op c */                               \
    OP(band) OP(bor) OP(bxor)                                                                    \
    OP(equal) OP(not_equal) OP(less) OP(less_equal) OP(more) OP(more_equal)                      \
    /* Comparison of a and b, and jump; see tvr_compare_jump_words. */                           \
    OP(equal_true) OP(not_equal_true) OP(less_true) OP(less_equal_true) OP(more_true)            \
    OP(more_equal_true)                                                                          \
    OP(equal_false) OP(not_equal_false) OP(less_false) OP(less_equal_false) OP(more_false)       \
    OP(more_equal_false)                                                                         \
    OP(minus) OP(negate) OP(bnot) OP(truth)       /* a from b */                                 \
    OP(increment) OP(decrement)                   /* a in place */                               \
    OP(increment_old) OP(decrement_old)           /* a = old value of b */                       \
    OP(move)                                      /* assign b to what a holds */                 \
    OP(load)                                      /* temporary a = value of b, keep */           \
    OP(none)                                      /* a = none */                                 \
    OP(reference)                                 /* temporary a = reference to b's cell */      \
    OP(bind)                                      /* a's cell becomes a reference to b's */      \
    OP(new_json)                                  /* a = a new json */                           \
    OP(append)                                    /* to the json a: b; keep a */                 \
    OP(append_reference)                          /* to the json a: reference to b; keep a */    \
    OP(bind_object)                               /* flag on a */                                \
    OP(clear)                                     /* cells a to below b are reset */             \
    OP(drop)                                      /* temporary a is not read */                  \
    OP(jump) OP(loop)                             /* by offset(); loop polls */                  \
    OP(jump_false) OP(jump_true) OP(jump_some)    /* if a, by offset(); keep */                  \
    OP(test_false) OP(test_true)                  /* if a, by offset() */                        \
    OP(jump_given)                                /* if parameter a was given, by offset() */    \
    OP(self)                                      /* a = this */                                 \
    OP(get) OP(get_handle)                        /* a = b.name, site c */                       \
    OP(get_self) OP(get_self_handle)              /* a = this.name, site c */                    \
    OP(set) OP(set_self)                          /* a.name = b; this.name = b; site c */        \
    OP(index) OP(index_handle)                    /* a = b[c] */                                 \
    OP(index_keep)                                /* a = b[c]; keep both */                      \
    OP(index_optional)                            /* a = b[c]; missing is none, not made */      \
    OP(set_index)                                 /* a[b] = c */                                 \
    OP(set_index_value)                           /* a[b] = c; a is a value in passing */        \
    OP(function)                                  /* a = value of block site c */                \
    OP(capture)                                   /* function a, keep, takes a copy of b */      \
    OP(bind_self)                                 /* function a, keep, takes this */             \
    OP(call)                                      /* a = b(...), site c */                       \
    OP(call_known) OP(call_class) OP(call_native) /* a = site c's (...) */                       \
    OP(call_method)                               /* a = b.name(...), site c */                  \
    OP(call_self) OP(call_super)                  /* a = this.name(...), site c */               \
    OP(give) OP(give_none)                        /* return a; return */                         \
    OP(make_instance)                             /* end of a class's body */                    \
    OP(invalid)                                   /* opcode a */
// clang-format on

enum class tvr_machine_opcode : uint16_t {
#define TVR_MACHINE_ENUM(name) op_##name,
    TVR_MACHINE_OPS(TVR_MACHINE_ENUM)
#undef TVR_MACHINE_ENUM
};

struct tvr_machine_op {
    int32_t offset() const { return int32_t(uint32_t(uint16_t(b)) | uint32_t(uint16_t(c)) << 16); }
    void set_offset(int32_t words) {
        b = int16_t(uint32_t(words) & 0xFFFF);
        c = int16_t(uint32_t(words) >> 16);
    }

    tvr_machine_opcode code;
    int16_t a = 0;
    int16_t b = 0;
    int16_t c = 0;
};
static_assert(sizeof(tvr_machine_op) == 8);

// The register of a result that nobody reads.
inline constexpr int16_t tvr_no_register = INT16_MIN;

// A comparison and jump takes three words: itself; one whose offset() leads to its target; and a
// jump on temporary a, which runs when an operator method has made the result.
inline constexpr int tvr_compare_jump_words = 3;

// A place where a member is named, with its inline cache.
struct tvr_member_site {
    // The inline cache; looked at by every access, so it stands in front.
    tvrptr_weak<tvr_program_block_class> known_class;
    tvrptr_weak<tvr_program_block_class> other_class;  // known before that one
    uint32_t known_slot = 0;
    uint32_t other_slot = 0;
    bool optional = false;  // missing reads as none and is not made
    bool keep = false;      // the object's temporary is read again
    bool drops = false;     // the object's register is a temporary that is not read again
    const std::string* name = nullptr;              // in the string table of the program
    const tvr_program_block_class* from = nullptr;  // whose methods may see private members
    uint32_t known_metadata = 0;                    // id; 0 for none
    int64_t known_place = 0;                        // of a native object's member
};

// A place where something is called.
struct tvr_call_site {
    std::vector<int16_t> operands;  // registers of the arguments
    std::vector<uint16_t> params;   // which parameter each is for; empty: in order
    uint64_t given = 0;             // parameters that get an argument, one bit each
    uint16_t nesting = 0;           // blocks that the call stands in, for the depth limit
    int16_t plain_operands = -2;    // how many, given in order; -2 where params tells
    bool of_place = false;          // the receiver is a variable, a member or an element
    tvr_result_mode result_mode = tvr_result_mode::keep;  // or discard
    tvr_program_block_routine* routine = nullptr;         // known when it was lowered
    tvr_program_block_class* definition = nullptr;  // the same; routine is its constructor then
    tvr_function_def* native = nullptr;
    const std::string* name = nullptr;  // of a method
    const tvr_program_block_class* from = nullptr;
    tvrptr_weak<tvr_program_block_class> known_class;  // inline cache of methods
    tvr_program_block_routine* known_routine = nullptr;
    const tvrobject_metadata* known_metadata = nullptr;
    tvr_function_def* known_native = nullptr;
};

class tvr_machine_code {
public:
    static constexpr size_t max_ready_frames = 64;

    // What a borrowed cell is; its register is -1 minus its place in the list.
    struct borrowed_cell {
        enum class kind : uint8_t { fixed, global };
        kind of;
        tvrvar* cell;     // fixed: kept by `constants`, by a block or by a namespace
        uint32_t global;  // variable of the program's root
    };

    // An error between begin and end goes on at target.
    struct handler {
        uint32_t begin, end, target;
        int16_t message;               // variable that takes it
        int16_t clear_from, clear_to;  // cells of the blocks that are left
        uint16_t nesting;
    };

    struct block_site {
        tvrptr_base_internal* block;  // of the program
        bool is_class;
        tvrvar_shared made = {};  // the value of a function that captures nothing, once it was read
    };

    struct source_place {
        uint32_t op;
        const tvr_src_token* token;
    };

    explicit tvr_machine_code(tvr_program_block_routine& of) : routine(&of) {}
    ~tvr_machine_code();
    tvr_machine_code(const tvr_machine_code&) = delete;
    tvr_machine_code& operator=(const tvr_machine_code&) = delete;

    // A frame with all cells in place and reset, for a call under these globals. Never null.
    tvr_vm_context* take_frame(tvr_task& base) {
        tvr_vm_context* frame = ready;
        if (frame == nullptr || frame->base_task != &base) [[unlikely]]
            return find_frame(base);
        ready = frame->caller;
        --num_ready;
        return frame;
    }
    // Resets a frame's cells and keeps it for the next call, or frees it. Variables are none again;
    // numbers in parameters and temporaries stay, since those are written before they are read.
    inline void give_frame(tvr_vm_context& frame);  // cells.h
    // The same at the end of a function that gives a number: its temporaries have all been read.
    inline void give_plain_frame(tvr_vm_context& frame);
    void free_ready_frames();

    bool is_temporary(int reg) const { return reg >= num_variables; }
    const handler* handler_at(uint32_t op) const;  // the innermost; null for none
    const tvr_src_token* token_at(uint32_t op) const;

    tvr_program_block_routine* routine;
    std::vector<tvr_machine_op> code;
    int num_params = 0;
    int num_variables = 0;  // registers from here on are temporaries
    int num_own = 0;
    std::vector<uint8_t> by_reference;  // by parameter
    std::vector<borrowed_cell> borrowed;
    std::vector<tvrvar_shared> constants;
    std::vector<tvr_member_site> member_sites;
    std::vector<tvr_call_site> call_sites;
    std::vector<block_site> block_sites;
    std::vector<handler> handlers;     // inner ones first
    std::vector<source_place> places;  // rising
    int plain_params = -1;             // num_params; -1 where one is by reference
    bool no_except = false;
    bool has_globals = false;

    // Of a class whose members begin with constants: an instance is made without running its body.
    // By slot the constant's index, none_at_start or json_at_start.
    static constexpr int32_t none_at_start = -1;
    static constexpr int32_t json_at_start = -2;
    bool has_template = false;
    std::vector<int32_t> member_template;

    // Links of the store; see frame_store.h.
    tvr_frame_store* store = nullptr;
    tvr_machine_code* next_code = nullptr;
    tvr_machine_code* previous_code = nullptr;

private:
    tvr_vm_context* find_frame(tvr_task& base);
    inline void keep_frame(tvr_vm_context& frame);
    static void release_more(tvr_vm_context& frame);
    tvr_vm_context* make_frame();
    void free_frame(tvr_vm_context& frame);
    void bind_globals(tvr_vm_context& frame, tvr_task& base) const;

    tvr_vm_context* ready = nullptr;  // linked through `caller`
    size_t num_ready = 0;
};

// The code of a function, root or class; lowered at the first call. Null after a runtime error.
tvr_machine_code* tvr_code_of(tvr_program_block_routine& routine);
