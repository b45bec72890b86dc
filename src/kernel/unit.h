#pragma once

// What the compiler makes of one kernel source: structs, constants, helpers and kernels.
//
// Immutable once compiled and shared; helpers keep the tokens of the whole source, because they are
// compiled anew at each call. Any thread may read it.

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kernel/program.h"
#include "kernel/types.h"

struct tvrk_tokens;  // compiler/token.h

struct tvrk_constant {
    std::string name;
    tvrk_prim prim = tvrk_prim::void_type;
    tvrk_reg value{};  // canonical
};

struct tvrk_helper_param {
    std::string name;
    tvrk_type type;
};

struct tvrk_helper {
    std::string name;
    tvrk_type result;
    std::vector<tvrk_helper_param> params;
    size_t body = 0;                         // index of the '{' in the unit's tokens
    const struct tvrk_unit* unit = nullptr;  // whose names the body sees
};

struct tvrk_kernel {
    std::string name;
    std::shared_ptr<tvrk_program> program;
};

// What a name of the top level is, and where in the order of declarations it stands.
struct tvrk_symbol {
    enum class kind : uint8_t { record, constant, helper, kernel };
    kind what = kind::record;
    size_t index = 0;    // into the unit's list of that kind
    size_t ordinal = 0;  // a body sees what was declared before it
};

struct tvrk_unit {
    std::string file;
    std::vector<std::shared_ptr<const tvrk_struct>> structs;  // vector types too, as they were used
    std::vector<tvrk_constant> constants;
    std::vector<std::shared_ptr<const tvrk_helper>> helpers;
    std::vector<tvrk_kernel> kernels;
    std::map<std::string, tvrk_symbol, std::less<>> symbols;
    std::vector<std::shared_ptr<const tvrk_unit>> imports;
    std::shared_ptr<const tvrk_tokens> tokens;

    std::string type_name(const tvrk_type& type) const { return tvrk_type_name(type); }
    const tvrk_symbol* find(std::string_view name) const;  // of this unit alone
    std::shared_ptr<const tvrk_program> find_kernel(std::string_view name) const;  // null: none
};
using tvrk_compiled_unit = tvrk_unit;
