#include "frontend/strict/model.h"

#include <algorithm>

size_t tvr_strict_function::required() const {
    size_t count = 0;
    for (const tvr_strict_param& param : params) count += param.has_default ? 0 : 1;
    return count;
}

const tvr_strict_function* tvr_strict_class::find_method(std::string_view method,
                                                         size_t from_level) const {
    const tvr_strict_function* promised = nullptr;
    for (size_t level = from_level; level < levels.size(); ++level) {
        const auto found = levels[level]->methods.find(method);
        if (found == levels[level]->methods.end()) continue;
        if (!found->second->is_abstract) return found->second;
        if (promised == nullptr) promised = found->second;
    }
    return promised;
}

// Declared by the class that stands last, as members keep the place that a base gave them.
const tvr_strict_member* tvr_strict_class::find_member(std::string_view member) const {
    for (const tvr_strict_class* level : levels) {
        const auto found = level->members.find(member);
        if (found != level->members.end()) return &found->second;
    }
    return nullptr;
}

bool tvr_strict_class::derives_from(const tvr_strict_class& other) const {
    return std::find(levels.begin(), levels.end(), &other) != levels.end();
}

bool tvr_strict_class::may_be(const tvr_strict_class& value, bool exact) const {
    if (!is_whole || !value.is_whole || value.derives_from(*this)) return true;
    const auto has_all_methods = [&](const tvr_strict_class& of) {
        return std::all_of(levels.begin(), levels.end(), [&](const tvr_strict_class* level) {
            return std::all_of(level->methods.begin(), level->methods.end(),
                               [&](const auto& m) { return of.find_method(m.first) != nullptr; });
        });
    };
    if (is_interface && (value.is_interface || has_all_methods(value))) return true;
    if (exact) return false;
    if (value.open_below) return true;
    // An instance of a class below both of them.
    return std::any_of(value.derived.begin(), value.derived.end(),
                       [&](const tvr_strict_class* below) {
                           return below->derives_from(*this) ||
                                  (is_interface && has_all_methods(*below));
                       }) ||
           value.is_interface;
}

bool tvr_strict_class::has_below(std::string_view member) const {
    if (open_below) return true;
    return std::any_of(derived.begin(), derived.end(), [&](const tvr_strict_class* below) {
        return below->members.count(member) > 0 || below->methods.count(member) > 0 ||
               !below->is_whole;
    });
}

const tvr_strict_function* tvr_strict_class::first_abstract() const {
    if (is_interface) return nullptr;
    for (const tvr_strict_class* level : levels) {
        for (const tvr_ast_node* node : level->def->members) {
            if (node->type != tvr_ast_node_type::node_function_def) continue;
            const auto& promised = node->as<tvr_ast_node_function_def>();
            if (promised.name == nullptr) continue;
            const tvr_strict_function* method = find_method(promised.name->text());
            if (method != nullptr && method->is_abstract) return method;
        }
    }
    return nullptr;
}
