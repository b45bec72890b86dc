// Interfaces: names of methods that a class can promise. They leave no code; strict checks look
// whether a class keeps its promise.

#include "frontend/builder/builder.h"

using node_type = tvr_ast_node_type;

bool tvr_asm_builder::compile_interface(const tvr_ast_node_class_def& def) {
    const std::string_view name = def.name->text();
    if (find_declared(name).record != nullptr)
        return refuse(def.name, "Interface '", name,
                      "' is defined twice (interface names cannot be used by other interfaces or "
                      "classes).");
    for (const token base : def.bases) {
        if (find_interface(base->text()) == nullptr)
            return refuse(base, "Interface '", name, "' can only extend interfaces, '",
                          base->text(),
                          "' is none (an interface has to be defined before it is extended).");
    }
    for (const tvr_ast_node* node : def.members) {
        if (!check_interface_method(def, *node)) return false;
    }
    here->declared[name] = {tvr_declared_name::kind::interface, 0, nullptr, &def, nullptr};
    return true;
}

bool tvr_asm_builder::check_interface_method(const tvr_ast_node_class_def& def,
                                             const tvr_ast_node& node) {
    if (node.type == node_type::node_noop) return true;
    const bool method =
        node.type == node_type::node_function_def && !node.as<tvr_ast_node_function_def>().lambda;
    if (!method)
        return refuse(node.start, "Methods of interface '", def.name->text(),
                      "' can only declare methods, like 'float area() {}'.");
    const auto& promised = node.as<tvr_ast_node_function_def>();
    if (!promised.keywords.empty())
        return refuse(promised.keywords[0].word, "Methods of interface '", def.name->text(),
                      "' are always public and abstract, '", promised.keywords[0].word->text(),
                      "' is not allowed.");
    if (!promised.body->statements.empty())
        return refuse(promised.name, "Method '", promised.name->text(),
                      "' of an interface has no implementation, its body has to be empty: '{}'.");
    return true;
}
