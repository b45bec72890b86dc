#pragma once

// Variables in their scopes, and what is known of each where the walk stands.
//
// What changes is written to a trail, so that the ways through a branch can be gone one after the
// other from the same start: `here()` before, `leave()` behind each way, `enter()` with all that
// were left. Variables keep their number when their scope has ended. Thread: one compile.

#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "frontend/strict/type.h"

struct tvr_strict_variable {
    std::string_view name;
    tvr_strict_type declared;   // dynamic: nothing is declared
    tvr_strict_type now;        // what it holds where the walk stands
    bool not_followed = false;  // others write to it: known is only what is declared
    bool is_root = false;
    uint32_t depth = 0;     // of its scope
    int64_t shadowed = -1;  // the variable that had this name before
    uint64_t seen = 0;      // by which look at the trail
};

// What one way through a branch changed.
struct tvr_strict_way {
    struct change {
        uint32_t variable;
        tvr_strict_type now;
    };
    std::vector<change> changes;
};

class tvr_strict_flow {
public:
    static constexpr int64_t no_variable = -1;

    // Scopes, innermost last. A function sees the variables of its own scopes and the root's; a
    // lambda also what its surroundings see.
    void open_scope();
    void close_scope();
    uint32_t depth() const { return uint32_t(scopes.size()); }
    bool in_root_scope() const { return scopes.size() == 1; }
    uint32_t enter_function(bool lambda);  // what leave_function() wants
    void leave_function(uint32_t outer_floor) { floor = outer_floor; }

    uint32_t define(std::string_view name, const tvr_strict_type& declared,
                    const tvr_strict_type& now);
    int64_t find(std::string_view name) const;  // no_variable for none
    tvr_strict_variable& at(int64_t variable) { return variables[size_t(variable)]; }

    void set(int64_t variable, const tvr_strict_type& now);

    size_t here() const { return trail.size(); }
    // Ends a way: what changed since `from`, which is undone back to `to`.
    tvr_strict_way leave(size_t from, size_t to);
    void undo(size_t to);
    // Goes on behind the ways: each variable holds what any of them, or the start, left in it.
    void enter(const std::vector<tvr_strict_way>& ways);

private:
    struct old_type {
        uint32_t variable;
        tvr_strict_type type;
    };

    std::vector<tvr_strict_variable> variables;
    std::unordered_map<std::string_view, int64_t> newest;  // variable of a name, maybe hidden
    std::vector<uint32_t> open;                            // variables of the open scopes
    std::vector<size_t> scopes;                            // where each begins in `open`
    std::vector<old_type> trail;
    uint32_t floor = 0;  // scopes below it are outside of the function
    uint64_t looks = 0;
};
