#pragma once

// What a value carries when one word is not enough. From the interpreter's pools; see value.h.

#include <cstdint>
#include <string>
#include <vector>

#include "runtime/local/pool_set.h"
#include "runtime/memory/pointer.h"
#include "runtime/value/compact_value.h"
#include "runtime/value/payload_pools.h"
#include "runtime/value/value.h"

struct tvr_function_def;

// A script function with what it closes over. Once its captures are in place it does not change,
// and all variables that it was assigned to share it.
struct tvrvar_ptr_function {
    tvrptr_weak<tvr_program_block_routine> routine;
    tvrptr_weak<tvr_task> task;      // the scope that it closes over
    tvrptr_weak<tvr_instance> self;  // `this`, null for none
    std::vector<tvr_compact_value> captures;
    tvrvar_ptr_function* next_ending = nullptr;  // while its end is put off
    uint32_t owners = 1;                         // variables, and calls that are being prepared
    uint8_t slot = tvr_not_pooled;
};

// Ends a function that has lost its last owner. Functions may hold each other in chains of any
// length: what ends too deeply inside of other ends waits for the outermost.
void tvr_end_function(tvrvar_ptr_function* function);

// A native function, bound to an object or not.
struct tvrvar_ptr_ext_function {
    tvrptr_weak<tvr_function_def> definition;
    tvrptr_strong<tvrobject_base> object;
    uint8_t slot = tvr_not_pooled;
};

// Handles on a member of a native object: reading asks the object, writing tells it.
struct tvrvar_ptr_member_literal {
    tvrptr_strong<tvrobject_base> object;
    std::string name;
    uint8_t slot = tvr_not_pooled;
};

struct tvrvar_ptr_member_index {
    tvrptr_strong<tvrobject_base> object;
    int64_t index = 0;
    bool vtable = false;  // a registered member, by its place in the class
    uint8_t slot = tvr_not_pooled;
};

struct tvrvar_ptr_member_var {
    tvrptr_strong<tvrobject_base> object;
    tvrvar_shared key;
    uint8_t slot = tvr_not_pooled;
};

template <typename T, tvr_pool_kind KIND>
struct tvr_record_traits {
    static constexpr tvr_pool_kind kind = KIND;
    using pool = tvr_pool_threadsafe<T, tvr_pool_chunk_dynamic<T>>;
};

template <>
struct tvr_pool_traits<tvrvar_ptr_function>
    : tvr_record_traits<tvrvar_ptr_function, tvr_pool_kind::functions> {};
template <>
struct tvr_pool_traits<tvrvar_ptr_ext_function>
    : tvr_record_traits<tvrvar_ptr_ext_function, tvr_pool_kind::ext_functions> {};
template <>
struct tvr_pool_traits<tvrvar_ptr_member_literal>
    : tvr_record_traits<tvrvar_ptr_member_literal, tvr_pool_kind::member_literals> {};
template <>
struct tvr_pool_traits<tvrvar_ptr_member_index>
    : tvr_record_traits<tvrvar_ptr_member_index, tvr_pool_kind::member_indices> {};
template <>
struct tvr_pool_traits<tvrvar_ptr_member_var>
    : tvr_record_traits<tvrvar_ptr_member_var, tvr_pool_kind::member_vars> {};

// Keeps a function while a call of it is being prepared: its variable may be written meanwhile.
class tvr_function_hold {
public:
    explicit tvr_function_hold(tvrvar_ptr_function& of) : function(&of) { ++function->owners; }
    ~tvr_function_hold() {
        if (--function->owners == 0) tvr_end_function(function);
    }
    tvr_function_hold(const tvr_function_hold&) = delete;
    tvr_function_hold& operator=(const tvr_function_hold&) = delete;

private:
    tvrvar_ptr_function* function;
};

template <>
struct tvr_pool_traits<tvrvar> {
    static constexpr tvr_pool_kind kind = tvr_pool_kind::variables;
    using pool = tvr_pool_threadsafe<tvrvar, tvr_pool_chunk_static<tvrvar>>;
};
