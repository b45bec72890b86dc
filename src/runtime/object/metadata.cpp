#include "runtime/object/metadata.h"

#include <atomic>
#include <map>

#include "runtime/object/docs_record.h"

// Inline, so that the process has one count.
inline uint32_t tvr_next_metadata_id() {
    static constinit std::atomic<uint32_t> last{0};
    return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

tvr_docs_record tvr_docs_of(const tvr_function_def& function) {
    tvr_docs_record docs;
    docs["description"] = function.docs.description;
    docs["params"] = function.docs.params;
    docs["min_params"] = function.min_params;
    docs["max_params"] = function.max_params;
    docs["returns_class"] = function.docs.returns_class;
    docs["examples"] = function.docs.examples;
    docs["children"] = tvr_docs_record::object();
    for (const tvr_function_def* child : function.children) {
        docs["children"][child->name] = tvr_docs_of(*child);
    }
    return docs;
}

std::string tvr_docs_text(const tvr_docs_record& record) {
    return record.dump(-1, ' ', false, tvr_docs_record::error_handler_t::replace);
}

tvrobject_metadata::tvrobject_metadata(std::string_view class_name, tvr_type_id class_type)
    : name(class_name), type(class_type), id(tvr_next_metadata_id()) {}

tvr_function_def& tvrobject_metadata::add_function(std::unique_ptr<tvr_function_def> def) {
    auto& place = functions[def->name];
    place = std::move(def);
    return *place;
}

tvrobject_member_def_base& tvrobject_metadata::add_member(
    std::unique_ptr<tvrobject_member_def_base> def) {
    const auto [known, is_new] = member_places.try_emplace(def->name, int64_t(members.size()));
    if (is_new) members.emplace_back();
    auto& place = members[size_t(known->second)];
    place = std::move(def);
    return *place;
}

tvr_function_def* tvrobject_metadata::find_function(std::string_view wanted) const {
    const auto found = functions.find(wanted);
    if (found != functions.end()) return found->second.get();
    for (const tvrobject_metadata* parent : parents) {
        if (tvr_function_def* inherited = parent->find_function(wanted)) return inherited;
    }
    return nullptr;
}

// The class's own members come first, then those of each parent in turn.
int64_t tvrobject_metadata::find_member(std::string_view wanted) const {
    const auto found = member_places.find(wanted);
    if (found != member_places.end()) return found->second;
    auto before = int64_t(members.size());
    for (const tvrobject_metadata* parent : parents) {
        const int64_t inherited = parent->find_member(wanted);
        if (inherited >= 0) return before + inherited;
        before += parent->count_members();
    }
    return -1;
}

const tvrobject_member_def_base* tvrobject_metadata::member_at(int64_t index) const {
    if (index < 0) return nullptr;
    if (index < int64_t(members.size())) return members[size_t(index)].get();
    index -= int64_t(members.size());
    for (const tvrobject_metadata* parent : parents) {
        const int64_t count = parent->count_members();
        if (index < count) return parent->member_at(index);
        index -= count;
    }
    return nullptr;
}

int64_t tvrobject_metadata::count_members() const {
    auto count = int64_t(members.size());
    for (const tvrobject_metadata* parent : parents) count += parent->count_members();
    return count;
}

std::string tvrobject_metadata::get_docs() const {
    tvr_docs_record docs;
    docs["description"] = description;
    docs["vars"] = tvr_docs_record::object();
    for (const auto& member : members) docs["vars"][member->name] = member->description;
    docs["functions"] = tvr_docs_record::object();
    std::map<std::string_view, const tvr_function_def*> sorted;
    for (const auto& [known, function] : functions) sorted[known] = function.get();
    for (const auto& [known, function] : sorted) {
        docs["functions"][std::string(known)] = tvr_docs_of(*function);
    }
    return tvr_docs_text(docs);
}

std::string tvrobject_metadata::find_docs(std::string_view path) const {
    if (path.empty()) return get_docs();
    const tvr_function_def* function = find_function(path);
    return function != nullptr ? tvr_docs_text(tvr_docs_of(*function)) : "null";
}
