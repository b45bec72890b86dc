// Interfaces: whether classes keep what they promise.

#include "frontend/strict/checker.h"

#include <algorithm>

namespace {

// Whether every call that `promised` allows is possible.
bool takes_calls_of(const tvr_strict_function& method, const tvr_strict_function& promised) {
    return method.required() <= promised.required() &&
           method.params.size() >= promised.params.size();
}

}  // namespace

void tvr_strict_checker_impl::check_promises(const tvr_strict_class& of) {
    for (const tvr_strict_class* contract : of.interfaces) {
        for (const tvr_strict_class* level : contract->levels) {
            for (const tvr_ast_node* node : level->def->members) {
                const auto promised = made_for.find(node);
                if (promised != made_for.end()) check_promise(of, *level, *promised->second);
            }
        }
    }
}

void tvr_strict_checker_impl::check_promise(const tvr_strict_class& of,
                                            const tvr_strict_class& contract,
                                            const tvr_strict_function& promised) {
    const tvr_strict_function* method = of.find_method(promised.name);
    if (method == nullptr) {
        if (of.is_whole)
            find(of.def->name, "Class '", of.name, "' has no method '", promised.name,
                 "' of interface '", contract.name, "'.");
        return;
    }
    const bool own = method->owner == &of;
    const token at = own ? method->def->name : of.def->name;
    const std::string title = tvr_join("Method '", promised.name, "' of class '", of.name, "'");
    if (method->is_private)
        find(at, title, " is private, interface '", contract.name, "' needs it public.");
    if (!takes_calls_of(*method, promised))
        find(at, title, " cannot be called with the parameters of '", contract.name, ".",
             promised.name, "'.");
    check_promised_types(*method, promised, contract, title, at);
}

void tvr_strict_checker_impl::check_promised_types(const tvr_strict_function& method,
                                                   const tvr_strict_function& promised,
                                                   const tvr_strict_class& contract,
                                                   const std::string& title, token at) {
    const size_t shared_params = std::min(method.params.size(), promised.params.size());
    for (size_t i = 0; i < shared_params; ++i) {
        const type &takes = method.params[i].declared, &passes = promised.params[i].declared;
        if (tvr_strict_fits(takes, passes)) continue;
        find(at, title, " takes ", tvr_strict_type_name(takes), " as parameter '",
             method.params[i].name, "', interface '", contract.name, "' passes ",
             tvr_strict_type_name(passes), ".");
    }
    if (method.result_declared && promised.result_declared &&
        !tvr_strict_fits(promised.result, method.result))
        find(at, title, " returns ", tvr_strict_type_name(method.result), ", interface '",
             contract.name, "' returns ", tvr_strict_type_name(promised.result), ".");
}

void tvr_strict_checker_impl::check_extension(const tvr_strict_class& contract) {
    for (const tvr_ast_node* node : contract.def->members) {
        const auto own = made_for.find(node);
        if (own == made_for.end()) continue;
        const tvr_strict_function* base = contract.find_method(own->second->name, 1);
        if (base == nullptr || takes_calls_of(*own->second, *base)) continue;
        find(own->second->def->name, "'", contract.name, ".", own->second->name,
             "' cannot be called like '", base->owner->name, ".", base->name,
             "' of the interface it extends.");
    }
}
