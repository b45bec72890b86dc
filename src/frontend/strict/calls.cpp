// Calls of every kind, and what their arguments have to be.

#include "frontend/strict/checker.h"

#include "runtime/object/metadata.h"

namespace {

constexpr size_t no_place = SIZE_MAX;

// Which parameter an argument is for; no_place for none.
size_t place_of(const tvr_strict_function& function,
                const tvr_ast_node_function_call_param& argument, size_t position) {
    if (argument.name == nullptr) return position < function.params.size() ? position : no_place;
    for (size_t i = 0; i < function.params.size(); ++i) {
        if (function.params[i].name == argument.name->text()) return i;
    }
    return no_place;
}

bool can_be_called(const tvr_strict_type& value) {
    using kind = tvr_strict_kind;
    return !value.is_known() || value.is == kind::function || value.is == kind::class_def ||
           value.is_none() || value.is == kind::object;
}

// Reading the result of such a call shares the list with nobody.
bool leaves_list_alone(std::string_view method) {
    return method == "size" || method == "pop" || method == "pop_back" || method == "has" ||
           method == "key";
}

}  // namespace

void tvr_strict_checker_impl::walk_call(chain& walked, const call_node& node, token name) {
    use(walked.value, name, "calling it", walked.wanted);
    const link_value callee = walked.value;
    walked.value = {};
    if (callee.native != nullptr) {
        walked.value.is = call_native(*callee.native, node, name);
    } else if (callee.is.is == kind::function && callee.is.function != nullptr) {
        const tvr_strict_function& function = *callee.is.function;
        const std::string_view title = callee.name.empty() ? function.name : callee.name;
        walked.value.is = call_function(function, node, name, title);
    } else if (callee.is.is == kind::class_def && callee.is.of_class != nullptr) {
        walked.value.is = call_class(*callee.is.of_class, node, name);
    } else {
        if (!can_be_called(callee.is)) {
            const std::string what =
                callee.name.empty() ? "This value" : tvr_join("'", callee.name, "'");
            find(name, what, " is not a function (", tvr_strict_type_name(callee.is), ").");
        }
        const bool any = survey.lambdas_take_references || !survey.takes_references.empty();
        walk_arguments(node, any);
    }
}

void tvr_strict_checker_impl::walk_method_call(chain& walked, const call_node& node, token name) {
    use(walked.value, name, "calling a method", walked.wanted);
    const link_value of = walked.value;
    const bool kept = next_link(walked) == nullptr && walked.wanted == want::discarded;
    walked.value = {};
    switch (of.is.is) {
    case kind::instance: walked.value.is = call_instance_method(of, node, name); return;
    case kind::list:
    case kind::map:
    case kind::json:
    case kind::text:
    case kind::object: walked.value.is = call_native_method(of, node, name); break;
    case kind::kernel: walked.value.is = call_kernel_method(of.is, node, name); break;
    case kind::boolean:
    case kind::integer:
    case kind::real:
    case kind::number:
    case kind::function:
    case kind::class_def:
        if (of.native == nullptr) no_member(of.is, name);
        [[fallthrough]];
    default: walk_arguments(node, may_take_references(name->text()));
    }
    if (of.is.literal && !kept && !leaves_list_alone(name->text())) shared(of.is);
}

tvr_strict_type tvr_strict_checker_impl::call_instance_method(const link_value& of,
                                                              const call_node& node, token name) {
    if (of.is.of_class == nullptr) {
        walk_arguments(node, may_take_references(name->text()));
        return {};
    }
    const tvr_strict_class& in = *of.is.of_class;
    const tvr_strict_function* method = in.find_method(name->text());
    if (method == nullptr) {
        const tvr_strict_member* member = in.find_member(name->text());
        if (member != nullptr && member->is_private && !may_see(member->in))
            private_member(in, name);
        if (!has_member(of.is, name->text())) no_member(of.is, name);
        walk_arguments(node, may_take_references(name->text()));
        return {};
    }
    if (method->is_private && !may_see(method->owner)) private_member(in, name);
    const bool replaced = !of.is.exact && in.has_below(name->text());
    if (!replaced) return call_function(*method, node, name, name->text());
    walk_arguments(node, may_take_references(name->text()));
    return result_of(of.is, *method);
}

// A derived class may give back something else, unless the type is declared.
tvr_strict_type tvr_strict_checker_impl::result_of(const type& of,
                                                   const tvr_strict_function& method) {
    const bool replaced = !of.exact && of.of_class->has_below(method.name);
    return method.result_declared || !replaced ? method.result : type();
}

tvr_strict_type tvr_strict_checker_impl::call_native_method(const link_value& of,
                                                            const call_node& node, token name) {
    const tvrobject_metadata* metadata = natives.class_of(of.is);
    const tvr_function_def* method =
        metadata != nullptr ? metadata->find_function(name->text()) : nullptr;
    const bool plain = of.is.is != kind::object;
    // An entry that can be called comes before the method of its name.
    const bool entry = of.is.is_json() && !(of.is.literal && of.is.facts->sure);
    const bool counts = !entry || of.is.is == kind::list;
    if (method != nullptr && counts)
        check_count(node, name, name->text(), method->min_params, method->max_params);
    if (method == nullptr && plain && metadata != nullptr) {
        if (of.is.is == kind::text && metadata->find_member(name->text()) < 0)
            no_member(of.is, name);
        else
            check_literal_member(of.is, name);
    }
    walk_pushed(of, node, name);
    if (const type known = kernel_of_unit(of, node, name); known.is_known()) return known;
    uncertain = call_ends = false;
    if (method == nullptr) uncertain = true;
    return method != nullptr && counts ? natives.result_of(*metadata, *method) : type();
}

// The arguments of a method of a value that is no instance; what goes into a typed list is looked
// at.
void tvr_strict_checker_impl::walk_pushed(const link_value& of, const call_node& node, token name) {
    const bool adds = name->text() == "push" || name->text() == "push_back";
    const bool typed = of.is.is == kind::list && !of.is.literal && of.is.element != nullptr;
    if (!adds || !typed || node.params.size() != 1)
        return walk_arguments(node, of.is.is_json() && may_take_references(name->text()));
    const tvr_ast_node& value = *node.params[0]->value;
    check_element(of.is, shared(infer_for(*of.is.element, value)), value.start);
}

tvr_strict_type tvr_strict_checker_impl::call_function(const tvr_strict_function& function,
                                                       const call_node& node, token name,
                                                       std::string_view title) {
    if (!node.has_names() || node.params.size() > function.params.size())
        check_count(node, name, title, function.required(), function.params.size());
    for (size_t i = 0; i < node.params.size(); ++i) {
        const tvr_ast_node& value = *node.params[i]->value;
        const size_t place = place_of(function, *node.params[i], i);
        if (place == no_place) {
            pass_argument(value, false);
            continue;
        }
        const tvr_strict_param& param = function.params[place];
        const type given = shared(infer_for(param.declared, value));
        check_argument(param, place, given, value.start, title);
        pass_argument_variable(value, param.by_reference);
    }
    uncertain = !function.walked;
    call_ends = function.never_returns;
    return function.result;
}

void tvr_strict_checker_impl::check_argument(const tvr_strict_param& param, size_t place,
                                             const type& value, token at, std::string_view title) {
    if (param.none_by_default && value.is_none()) return;
    if (tvr_strict_fits(param.declared, value)) return;
    find(at, "Argument ", place + 1, " ('", param.name, "') of ", title, " has to be ",
         tvr_strict_type_name(param.declared), ", not ", tvr_strict_type_name(value), ".");
}

tvr_strict_type tvr_strict_checker_impl::call_class(const tvr_strict_class& of,
                                                    const call_node& node, token name) {
    if (const tvr_strict_function* missing = of.first_abstract())
        find(name, "Class '", of.name, "' cannot be instantiated, the abstract method '",
             missing->name, "' is not implemented.");
    if (const tvr_strict_function* constructor = of.find_method("__init__")) {
        call_function(*constructor, node, name,
                      tvr_join("the constructor of class '", of.name, "'"));
    } else {
        if (of.is_whole && !node.params.empty())
            find(name, "Class '", of.name, "' has no __init__ and takes no arguments (",
                 node.params.size(), " given).");
        walk_arguments(node, false);
    }
    uncertain = call_ends = false;
    type made = kind::instance;
    made.of_class = &of;
    made.exact = true;
    return made;
}

tvr_strict_type tvr_strict_checker_impl::call_native(const tvr_function_def& function,
                                                     const call_node& node, token name) {
    check_count(node, name, function.name, function.min_params, function.max_params);
    for (const tvr_ast_node_function_call_param* param : node.params) {
        shared(infer_value(*param->value));
        if (in_condition) forget_none(*param->value);
    }
    uncertain = false;
    call_ends = natives.role_of(function) == tvr_strict_natives::role::ends;
    type result = natives.result_of(function);
    if (result.maybe_none)
        result.why = reason_of(tvr_join("'", function.name, "' gives None when there is nothing"));
    return result;
}

tvr_strict_type tvr_strict_checker_impl::call_super(const call_node& node, token name) {
    const tvr_strict_function* method =
        here->of_class != nullptr ? here->of_class->find_method(name->text(), 1) : nullptr;
    if (method != nullptr) return call_function(*method, node, name, name->text());
    walk_arguments(node, may_take_references(name->text()));
    return {};
}

void tvr_strict_checker_impl::check_count(const call_node& node, token name, std::string_view title,
                                          size_t least, size_t most) {
    const size_t given = node.params.size();
    if (given < least)
        find(name, "Not enough arguments for ", title, " (", given, " given, ", least,
             " required).");
    if (given > most)
        find(name, "Too many arguments for ", title, " (", given, " given, at most ", most, ").");
}

// The arguments of a call of which nothing is known.
void tvr_strict_checker_impl::walk_arguments(const call_node& node, bool by_reference) {
    for (const tvr_ast_node_function_call_param* param : node.params)
        pass_argument(*param->value, by_reference);
    uncertain = true;
    call_ends = false;
}

void tvr_strict_checker_impl::pass_argument(const tvr_ast_node& value, bool by_reference) {
    shared(infer_value(value));
    pass_argument_variable(value, by_reference);
}

// Whoever got a variable may have looked whether it is None, and gone another way.
void tvr_strict_checker_impl::pass_argument_variable(const tvr_ast_node& value, bool by_reference) {
    if (value.type != node_type::node_variable) return;
    forget_none(value);
    const int64_t variable = by_reference ? flow.find(value.start->text()) : -1;
    if (variable != tvr_strict_flow::no_variable) set_variable(variable, {});
}

bool tvr_strict_checker_impl::may_take_references(std::string_view name) const {
    return survey.lambdas_take_references || survey.takes_references.count(name) > 0;
}

// Whether a call may take a reference to the variable that it is given.
bool tvr_strict_checker_impl::may_change_argument(const tvr_strict_write& write) {
    if (!survey.lambdas_take_references && survey.takes_references.empty()) return false;
    const auto& call = write.node->as<call_node>();
    if (called_native(call) != nullptr) return false;
    if (call.callee->type == node_type::node_json_literal)
        return may_take_references(call.callee->as<tvr_ast_node_json_literal>().name->text());
    if (call.callee->type != node_type::node_variable) return true;
    const link_value callee = find_name(call.callee->start);
    const tvr_strict_function* function =
        callee.is.is == kind::function ? callee.is.function : nullptr;
    if (function == nullptr) return true;
    const size_t place = place_of(*function, *call.params[write.argument], write.argument);
    return place != no_place && function->params[place].by_reference;
}
