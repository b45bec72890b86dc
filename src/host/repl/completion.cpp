#include "host/repl/completion.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/ascii.h"
#include "frontend/program/program_block.h"
#include "runtime/local/global_lock.h"
#include "runtime/object/class_instance.h"
#include "runtime/payload/std_json.h"

namespace repl {

namespace {

using names = std::vector<std::string>;

constexpr std::string_view words[] = {"abstract", "break",     "catch",  "class",   "continue",
                                      "def",      "else",      "False",  "for",     "if",
                                      "import",   "interface", "let",    "managed", "None",
                                      "noexcept", "private",   "public", "return",  "super",
                                      "this",     "True",      "try",    "using",   "var"};

bool is_name_byte(char c) {
    return tvr_is_in_name(c) || static_cast<unsigned char>(c) >= 0x80;
}

// The path at the end of a line, such as "std.math.si".
std::vector<std::string> path_at_end(std::string_view line) {
    size_t first = line.size();
    while (first > 0 && (is_name_byte(line[first - 1]) || line[first - 1] == '.')) --first;
    std::vector<std::string> parts(1);
    for (const char c : line.substr(first)) {
        if (c == '.') {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

void add_documented(const std::string& record, names& out) {
    const auto docs = nlohmann::json::parse(record, nullptr, false);
    for (const char* part : {"functions", "vars"}) {
        if (!docs.is_object() || !docs.contains(part)) continue;
        for (const auto& [name, text] : docs[part].items()) out.push_back(name);
    }
}

void add_members_of_class(const tvr_program_block_class& definition, names& out) {
    for (const auto& [name, info] : definition.vid_table) {
        if (!info.is_private) out.push_back(name);
    }
    for (const auto& level : definition.levels) {
        for (const auto& method : level.methods) {
            if (!method.is_private && !method.name.starts_with("__")) out.push_back(method.name);
        }
    }
}

void add_members(tvrvar& value, names& out) {
    if (value.type == tvrvar_type_class && value.block->object != nullptr) {
        const auto* definition = static_cast<tvr_class*>(value.block->object)->definition.get();
        if (definition != nullptr) add_members_of_class(*definition, out);
        return;
    }
    if (auto* json = value.object<tvr_std_json>()) {
        for (const auto& entry : json->entries) {
            if (entry.has_key()) out.emplace_back(entry.name());
        }
    }
    if (tvrobject_base* object = value.object_ptr()) {
        add_documented(object->metadata->get_docs(), out);
    }
}

// A member that is there already: completing must not make one.
tvrvar_shared member_of(tvrvar& value, const std::string& name) {
    if (!value.has_member(std::string_view(name))) return {};
    return value.get_member(std::string_view(name))->deref();
}

// What can stand behind a path of names, all of which are known.
names names_below(tvrscript& script, session& of, const std::vector<std::string>& path) {
    names found;
    const std::string& first = path.front();
    if (tvrvar* known = of.names().find_variable(first)) {
        tvrvar_shared value = known->deref();
        for (size_t i = 1; value && i + 1 < path.size(); ++i) value = member_of(*value, path[i]);
        if (value) add_members(*value, found);
        return found;
    }
    tvr_namespace* space = &script.root_namespace;
    for (size_t i = 0; space != nullptr && i + 1 < path.size(); ++i) {
        space = space->find_child(path[i]);
    }
    return space != nullptr ? space->names() : found;
}

names names_at_start(tvrscript& script, session& of) {
    names found = of.names().names();
    for (const std::string& name : script.root_namespace.names()) found.push_back(name);
    found.insert(found.end(), std::begin(words), std::end(words));
    return found;
}

}  // namespace

std::string completion::common() const {
    if (names.empty()) return {};
    std::string_view shared = names.front();
    for (const std::string& name : names) {
        const auto differs = std::mismatch(shared.begin(), shared.end(), name.begin(), name.end());
        shared = shared.substr(0, size_t(differs.first - shared.begin()));
    }
    return std::string(shared.substr(std::min(typed, shared.size())));
}

completion complete(tvrscript& script, session& of, std::string_view line) {
    const tvr_global_lock hold;
    const std::vector<std::string> path = path_at_end(line);
    completion result;
    result.typed = path.back().size();
    names all = path.size() == 1 ? names_at_start(script, of) : names_below(script, of, path);
    for (std::string& name : all) {
        if (name.starts_with(path.back())) result.names.push_back(std::move(name));
    }
    std::sort(result.names.begin(), result.names.end());
    result.names.erase(std::unique(result.names.begin(), result.names.end()), result.names.end());
    return result;
}

}  // namespace repl
