#include "runtime/object/namespaces.h"

#include <algorithm>
#include <map>
#include <utility>

#include "runtime/log/log.h"
#include "runtime/object/docs_record.h"

namespace {

// Splits "std.math.sin" behind its first part.
std::pair<std::string_view, std::string_view> split_path(std::string_view path) {
    const size_t dot = path.find('.');
    if (dot == std::string_view::npos) return {path, {}};
    return {path.substr(0, dot), path.substr(dot + 1)};
}

template <typename T>
auto* find_in(const tvr_by_name<T>& table, std::string_view name) {
    const auto found = table.find(name);
    return found != table.end() ? &*found->second : nullptr;
}

// The records of a table by sorted name, so that documents do not change from run to run.
template <typename T, typename RECORD_OF>
tvr_docs_record sorted_records(const tvr_by_name<T>& table, RECORD_OF record_of) {
    std::map<std::string_view, const T*> sorted;
    for (const auto& [name, entry] : table) sorted[name] = &entry;
    tvr_docs_record records = tvr_docs_record::object();
    for (const auto& [name, entry] : sorted) records[std::string(name)] = record_of(*entry);
    return records;
}

}  // namespace

tvr_namespace::~tvr_namespace() {
    tvr_log().verbose("A namespace was destroyed: ", name);
}

tvr_namespace& tvr_namespace::child(std::string_view child_name) {
    if (tvr_namespace* known = find_child(child_name)) return *known;
    auto made = std::make_unique<tvr_namespace>(std::string(child_name));
    return *(children[std::string(child_name)] = std::move(made));
}

tvr_namespace& tvr_namespace::child_path(std::string_view path) {
    tvr_namespace* at = this;
    while (!path.empty()) {
        const auto [first, rest] = split_path(path);
        at = &at->child(first);
        path = rest;
    }
    return *at;
}

tvr_namespace* tvr_namespace::find_child(std::string_view child_name) const {
    return find_in(children, child_name);
}

tvr_namespace* tvr_namespace::find_path(std::string_view path) {
    tvr_namespace* at = path.empty() || path.back() == '.' ? nullptr : this;
    while (at != nullptr && !path.empty()) {
        const auto [first, rest] = split_path(path);
        at = at->find_child(first);
        path = rest;
    }
    return at;
}

tvr_function_def* tvr_namespace::find_function(std::string_view function) const {
    return find_in(functions, function);
}

tvrvar* tvr_namespace::find_variable(std::string_view variable) const {
    const auto found = variables.find(variable);
    return found != variables.end() ? found->second.get() : nullptr;
}

const tvrobject_metadata* tvr_namespace::find_class(std::string_view class_name) const {
    const auto found = classes.find(class_name);
    return found != classes.end() ? found->second : nullptr;
}

tvr_function_def& tvr_namespace::add_function(std::string_view function,
                                              tvr_native_function callback, uint32_t min_params,
                                              uint32_t max_params, tvr_function_docs docs) {
    auto def = std::make_unique<tvr_function_def>();
    def->shared = false;
    def->name = function;
    def->callback = std::move(callback);
    def->min_params = min_params;
    def->max_params = max_params;
    def->docs = std::move(docs);
    // Programs may point at a definition that is registered anew: it stays for as long as the tree.
    auto& place = functions[def->name];
    if (place != nullptr) replaced.push_back(std::move(place));
    place = std::move(def);
    return *place;
}

tvrvar_shared& tvr_namespace::add_variable(std::string_view variable) {
    return variables[std::string(variable)] = tvrvar_shared::make();
}

void tvr_namespace::release_variables() {
    variables.clear();
    for (const auto& [child_name, below] : children) below->release_variables();
}

std::vector<std::string> tvr_namespace::names() const {
    std::vector<std::string> all;
    for (const auto& [known, entry] : children) all.push_back(known);
    for (const auto& [known, entry] : functions) all.push_back(known);
    for (const auto& [known, entry] : variables) all.push_back(known);
    std::ranges::sort(all);
    all.erase(std::unique(all.begin(), all.end()), all.end());
    return all;
}

tvr_docs_record tvr_namespace::docs() const {
    tvr_docs_record record;
    record["description"] = description;
    record["vars"] = sorted_records(variables, [](const tvrvar_shared& variable) {
        return tvr_docs_record(tvrvar_type_name(variable->type));
    });
    record["functions"] =
        sorted_records(functions, [](const auto& function) { return tvr_docs_of(*function); });
    record["children"] = docs_of_children();
    return record;
}

// Namespaces, and the classes whose instances no script makes by name: no function tells of them.
tvr_docs_record tvr_namespace::docs_of_children() const {
    std::map<std::string_view, std::string_view> described;
    for (const auto& [known, below] : children) described[known] = below->description;
    for (const auto& [known, native] : classes) {
        if (find_function(known) == nullptr) described.try_emplace(known, native->description);
    }
    tvr_docs_record records = tvr_docs_record::object();
    for (const auto& [known, text] : described)
        records[std::string(known)] = {{"description", text}};
    return records;
}

std::string tvr_namespace::find_docs(std::string_view path) {
    if (path.empty()) return tvr_docs_text(docs());
    const auto [first, rest] = split_path(path);
    const tvrobject_metadata* native = find_class(first);
    const bool is_class = native != nullptr && rest.empty();
    if (tvr_namespace* below = find_child(first); below != nullptr && !is_class) {
        std::string found = below->find_docs(rest);
        if (!found.empty()) return found;
    }
    if (native != nullptr) {
        if (rest.empty()) return tvr_docs_text(docs_of_class(first, *native));
        const std::string found = native->find_docs(rest);
        return found != "null" ? found : std::string();
    }
    if (!rest.empty()) return {};
    if (const tvr_function_def* function = find_function(first); function != nullptr) {
        return tvr_docs_text(tvr_docs_of(*function));
    }
    if (tvrvar* variable = find_variable(first); variable != nullptr) {
        return tvr_docs_text({{"description", ""}, {"type", tvrvar_type_name(variable->type)}});
    }
    return {};
}

// A class is known by what makes its instances and by what these can do.
tvr_docs_record tvr_namespace::docs_of_class(std::string_view class_name,
                                             const tvrobject_metadata& native) const {
    tvr_docs_record of_native = tvr_docs_record::parse(native.get_docs());
    const tvr_function_def* constructor = find_function(class_name);
    if (constructor == nullptr) return of_native;
    tvr_docs_record record = tvr_docs_of(*constructor);
    for (const auto& [key, value] : of_native.items()) {
        // NOLINTNEXTLINE(readability-container-size-empty): empty() of a JSON text is another thing
        const bool told = key == "description" && value == "";
        if (!told) record[key] = value;
    }
    return record;
}
