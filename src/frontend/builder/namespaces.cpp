// using, import, and paths through namespaces: `std.math.sin` or `std::math::sin`.

#include "frontend/builder/builder.h"
#include "runtime/log/log.h"
#include "runtime/script/script.h"

using node_type = tvr_ast_node_type;

namespace {

std::string joined(const tvr_ast_list<const tvr_src_token*>& path) {
    std::string text(path[0]->text());
    for (size_t i = 1; i < path.size(); ++i) text += tvr_join(".", path[i]->text());
    return text;
}

// A function can be the head of longer names as well, as std.json is that of std.json.bool: the
// namespace of its name, if that knows the next one.
tvr_found_name namespace_of(const tvr_found_name& function, std::string_view name,
                            std::string_view next) {
    tvr_found_name below;
    tvr_namespace* child = function.space.space->find_child(name);
    if (child == nullptr || child->find_function(next) == nullptr) return below;
    below.is = tvr_found_name::kind::name_space;
    below.space.space = child;
    below.space.path = tvr_join(function.space.path, ".", name);
    return below;
}

}  // namespace

bool tvr_asm_builder::compile_using(const tvr_ast_node_using_namespace& node) {
    const std::string path = joined(node.path);
    if (!is_allowed({nullptr, path}, node.path[0])) return false;
    found what = find_in_namespaces(node.path[0]->text());
    if (node.import && what.is != found::kind::name_space) {
        const std::string package(node.path[0]->text());
        if (!imports.load(package)) return refuse(node.path[0], "Cannot load module: ", package);
        what = find_in_namespaces(package);
    }
    for (size_t i = 1; i < node.path.size() && what.is == found::kind::name_space; ++i)
        what = find_in(what.space, node.path[i]->text());
    if (what.is != found::kind::name_space)
        return refuse(node.path[0], "Cannot import namespace '", path, "'");
    if (!is_allowed(what.space, node.path[0])) return false;
    tvr_log().log("Using namespace: ", what.space.path);
    // Files that are put together open the same one again and again.
    if (used.empty() || used.back().space != what.space.space)
        used.push_back(std::move(what.space));
    return true;
}

// What `using` has opened comes first, the innermost at its head.
tvr_found_name tvr_asm_builder::find_in_namespaces(std::string_view name) const {
    for (auto opened = used.rbegin(); opened != used.rend(); ++opened) {
        found what = find_in(*opened, name);
        if (what.is != found::kind::nothing) return what;
    }
    return find_in({&script.root_namespace, ""}, name);
}

tvr_found_name tvr_asm_builder::find_in(const tvr_known_namespace& space, std::string_view name) {
    found what;
    what.function = space.space->find_function(name);
    what.variable = what.function == nullptr ? space.space->find_variable(name) : nullptr;
    what.space.space = space.space;
    what.space.path = space.path;
    if (what.function != nullptr) {
        what.is = found::kind::native_function;
    } else if (what.variable != nullptr) {
        what.is = found::kind::native_variable;
    } else if (tvr_namespace* child = space.space->find_child(name); child != nullptr) {
        what.is = found::kind::name_space;
        what.space.space = child;
        what.space.path = space.path.empty() ? std::string(name) : tvr_join(space.path, ".", name);
    }
    return what;
}

bool tvr_asm_builder::is_allowed(const tvr_known_namespace& space, token at) {
    if (space.path.empty() || script.is_namespace_allowed(space.path)) return true;
    return refuse(at, "Cannot import namespace '", space.path, "'");
}

// A path that begins with a namespace, as far as it leads; the links behind it stay.
bool tvr_asm_builder::compile_path(chain& path, found what) {
    token name = path.value->start;
    while (what.is == found::kind::name_space) {
        if (path.next_is(node_type::node_function_call))
            return refuse(name, "Invalid function call (cannot call a namespace)");
        if (!path.next_is(node_type::node_json_literal))
            return refuse(name, "Cannot return namespace.");
        name = path.next()->as<tvr_ast_node_json_literal>().name;
        path.links.pop_back();
        what = find_in(what.space, name->text());
    }
    if (what.is == found::kind::nothing) return refuse(name, "Name doesnt exist in namespace.");
    return compile_native(path, what, name);
}

bool tvr_asm_builder::compile_native(chain& path, const found& what, token name) {
    if (what.is == found::kind::native_function && path.next_is(node_type::node_json_literal)) {
        const token next = path.next()->as<tvr_ast_node_json_literal>().name;
        found below = namespace_of(what, name->text(), next->text());
        if (below.is == found::kind::name_space) return compile_path(path, std::move(below));
    }
    if (!is_allowed(what.space, name)) return false;
    if (what.is == found::kind::native_variable) {
        emit(tvr_instruction_draft(tvr_op_return_namespace_variable).field(8, what.variable), name);
        path.assignable = true;
        return true;
    }
    if (path.next_is(node_type::node_function_call)) {
        const auto& call = path.next()->as<call_node>();
        path.links.pop_back();
        return compile_native_call(call, *what.function, name);
    }
    emit(tvr_instruction_draft(tvr_op_return_external_function).field(8, what.function), name);
    return true;
}
