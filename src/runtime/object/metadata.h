#pragma once

// What the engine knows of a native class: functions, members, documentation.
//
// One for each class and process, filled once by the class's script_register(), then only read.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "runtime/memory/type_id.h"
#include "runtime/object/function_def.h"

// A member of a native class: read by a getter, written by a setter when it has one.
class tvrobject_member_def_base : public tvrptr_base_internal {
public:
    bool tvr_pooled_control_block() const override { return false; }

    virtual tvrvar_shared call_get_cb(tvrobject_base& object) const = 0;
    // False when the member cannot be written.
    virtual bool call_set_cb(tvrobject_base& object, tvrvar_shared& value) const = 0;

    std::string name;
    std::string description;
};

// Looks names up without copying them.
struct tvr_name_hash {
    using is_transparent = void;
    size_t operator()(std::string_view name) const { return std::hash<std::string_view>()(name); }
};

template <typename T>
using tvr_by_name = std::unordered_map<std::string, T, tvr_name_hash, std::equal_to<>>;

class tvrobject_metadata {
public:
    tvrobject_metadata(std::string_view class_name, tvr_type_id type);

    // Registers a function or member; a name registered twice keeps the later one.
    tvr_function_def& add_function(std::unique_ptr<tvr_function_def> def);
    tvrobject_member_def_base& add_member(std::unique_ptr<tvrobject_member_def_base> def);

    // Null for an unknown name. Functions and members of the class itself come before those of
    // its parents.
    tvr_function_def* find_function(std::string_view name) const;

    // A member's place, -1 for an unknown name. The place is valid for this class's id only.
    int64_t find_member(std::string_view name) const;
    const tvrobject_member_def_base* member_at(int64_t index) const;

    // The record of a class or, with a path such as "push", of one of its functions; null when
    // there is none. As JSON text.
    std::string get_docs() const;
    std::string find_docs(std::string_view path) const;

    const std::string name;  // as scripts see it, such as "std.json"
    const tvr_type_id type;
    const uint32_t id;  // from 1, compared by inline caches
    std::string description;
    std::vector<const tvrobject_metadata*> parents;

private:
    int64_t count_members() const;  // with those of the parents

    tvr_by_name<std::unique_ptr<tvr_function_def>> functions;
    std::vector<std::unique_ptr<tvrobject_member_def_base>> members;
    tvr_by_name<int64_t> member_places;
};
