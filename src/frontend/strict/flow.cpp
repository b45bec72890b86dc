#include "frontend/strict/flow.h"

#include <utility>

void tvr_strict_flow::open_scope() {
    scopes.push_back(open.size());
}

void tvr_strict_flow::close_scope() {
    while (open.size() > scopes.back()) {
        const tvr_strict_variable& gone = variables[open.back()];
        newest[gone.name] = gone.shadowed;
        open.pop_back();
    }
    scopes.pop_back();
}

uint32_t tvr_strict_flow::enter_function(bool lambda) {
    const uint32_t outer = floor;
    if (!lambda) floor = depth();
    return outer;
}

uint32_t tvr_strict_flow::define(std::string_view name, const tvr_strict_type& declared,
                                 const tvr_strict_type& now) {
    const auto index = uint32_t(variables.size());
    tvr_strict_variable made;
    made.name = name;
    made.declared = declared;
    made.now = now;
    made.depth = depth();
    made.is_root = in_root_scope();
    const auto [known, is_new] = newest.try_emplace(name, int64_t(index));
    if (!is_new) made.shadowed = std::exchange(known->second, int64_t(index));
    variables.push_back(made);
    open.push_back(index);
    return index;
}

int64_t tvr_strict_flow::find(std::string_view name) const {
    const auto known = newest.find(name);
    int64_t at = known == newest.end() ? no_variable : known->second;
    while (at != no_variable) {
        const tvr_strict_variable& found = variables[size_t(at)];
        if (found.is_root || found.depth > floor) return at;
        at = found.shadowed;
    }
    return no_variable;
}

void tvr_strict_flow::set(int64_t variable, const tvr_strict_type& now) {
    tvr_strict_type& place = variables[size_t(variable)].now;
    trail.push_back({uint32_t(variable), place});
    place = now;
}

tvr_strict_way tvr_strict_flow::leave(size_t from, size_t to) {
    tvr_strict_way way;
    ++looks;
    for (size_t i = from; i < trail.size(); ++i) {
        tvr_strict_variable& changed = variables[trail[i].variable];
        if (changed.seen == looks) continue;
        changed.seen = looks;
        way.changes.push_back({trail[i].variable, changed.now});
    }
    undo(to);
    return way;
}

void tvr_strict_flow::undo(size_t to) {
    while (trail.size() > to) {
        variables[trail.back().variable].now = trail.back().type;
        trail.pop_back();
    }
}

// A way that leaves a variable alone brings what the start had.
void tvr_strict_flow::enter(const std::vector<tvr_strict_way>& ways) {
    struct meeting {
        tvr_strict_type type;
        size_t ways;
    };
    std::unordered_map<uint32_t, meeting> met;
    for (const tvr_strict_way& way : ways) {
        for (const tvr_strict_way::change& change : way.changes) {
            const auto [known, is_new] = met.try_emplace(change.variable, meeting{change.now, 1});
            if (is_new) continue;
            known->second.type = tvr_strict_join(known->second.type, change.now);
            ++known->second.ways;
        }
    }
    for (const auto& [variable, meeting] : met) {
        const bool on_all_ways = meeting.ways == ways.size();
        set(variable,
            on_all_ways ? meeting.type : tvr_strict_join(meeting.type, variables[variable].now));
    }
}
