#pragma once

// A first look over the whole tree: which names are written where.
//
// The checker follows variables from statement to statement. What it cannot follow it has to know
// beforehand: what a loop assigns before its head is reached again, which variables of the main
// body functions write to, of which variables references are taken. All of it goes by name alone
// and so says rather too much than too little. Thread: one compile.

#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "frontend/strict/type.h"
#include "frontend/syntax/ast.h"

// A place where the value of a variable may change.
struct tvr_strict_write {
    enum class how : uint8_t {
        assigned,  // value
        combined,  // with op and value
        counted,   // ++ or --
        passed,    // as the argument of a call, which may take a reference to it
        touched,   // a member or element of it is written, or a method called
    };

    std::string_view name;
    how is = how::assigned;
    uint8_t argument = 0;                // of `passed`
    const tvr_ast_node* node = nullptr;  // the assignment or call
};

class tvr_strict_survey {
public:
    explicit tvr_strict_survey(const tvr_ast& ast);

    // Writes inside of a loop or a try body, lambdas left out; in source order.
    struct range {
        size_t begin = 0, end = 0;
    };
    range writes_in(const tvr_ast_node& loop_or_try) const;

    std::vector<tvr_strict_write> writes;
    std::unordered_map<std::string_view, uint32_t> assignments_of_root;  // how many, by name
    std::unordered_set<std::string_view> written_by_functions;           // variables of the root
    std::unordered_set<std::string_view> shared;            // named in functions or lambdas too
    std::unordered_set<std::string_view> referenced;        // &name, and what that is assigned to
    std::unordered_set<std::string_view> takes_references;  // functions with & parameters
    std::unordered_set<std::string_view> inner_bases;  // of classes that are not in the root block
    bool lambdas_take_references = false;
    bool imports = false;
    bool has_functions = false;

private:
    friend class tvr_strict_surveyor;
    std::unordered_map<const tvr_ast_node*, range> ranges;
};

// The type of a literal; dynamic for every other expression.
tvr_strict_type tvr_strict_literal_type(const tvr_ast_node& node);
