// Launches of kernels that the same files declare: what they are given against what they declare.

#include "frontend/strict/checker.h"
#include "kernel/program.h"
#include "kernel/script/kernel_extract.h"
#include "kernel/unit.h"
#include "runtime/object/metadata.h"

namespace {

bool is_launch(std::string_view method) {
    return method == "launch" || method == "launch_async";
}

std::string list_of(const std::vector<tvrk_param>& params) {
    std::string list;
    for (const tvrk_param& param : params) {
        if (!list.empty()) list += ", ";
        list += tvr_join(param.type_name, " ", param.name);
    }
    return list;
}

// The text of a number as it is written, with the minus in front of it; empty for no number.
std::string written_number(const tvr_ast_node& node, tvr_ast_node_type of) {
    if (node.type == of) return std::string(node.start->text());
    if (node.type != tvr_ast_node_type::node_unary) return {};
    const auto& unary = node.as<tvr_ast_node_unary>();
    if (!unary.op->is(tvr_token_code::minus) || unary.operand->type != of) return {};
    return tvr_join("-", unary.operand->start->text());
}

// What is wrong with a number or text for a parameter that is one number; empty for nothing.
std::string wrong_for_scalar(const tvrk_param& param, const tvr_ast_node& node,
                             const tvr_strict_type& value) {
    const std::string whole = written_number(node, tvr_ast_node_type::node_int);
    const std::string real = written_number(node, tvr_ast_node_type::node_float);
    const tvrk_prim prim = param.type.prim;
    if (value.is == tvr_strict_kind::text) return "cannot be a string";
    if (prim == tvrk_prim::boolean) return {};
    if (tvrk_is_float(prim)) {
        if (whole.empty()) return {};
        return tvr_join("expects ", param.type_name, " but got the int ", whole, " (write ", whole,
                        ".0)");
    }
    if (value.is == tvr_strict_kind::real)
        return tvr_join("expects ", param.type_name, " but got ", real.empty() ? "a" : "the",
                        " float", real.empty() ? "" : " ", real);
    const bool negative = !whole.empty() && whole[0] == '-' && whole != "-0";
    if (negative && !tvrk_is_signed(prim)) return tvr_join("is unsigned and cannot be ", whole);
    return {};
}

}  // namespace

// __tvr_kernel_unit.get("name"), as kernel declarations become it.
tvr_strict_type tvr_strict_checker_impl::kernel_of_unit(const link_value& of, const call_node& node,
                                                        token name) const {
    const bool fetches = kernels != nullptr && of.name == tvr_kernel_unit_name &&
                         name->text() == "get" && node.params.size() == 1 &&
                         node.params[0]->value->type == node_type::node_string;
    if (!fetches) return {};
    const auto program =
        kernels->find_kernel(node.params[0]->value->as<tvr_ast_node_string>().text);
    type made;
    if (program == nullptr) return made;
    made.is = kind::kernel;
    made.program = program.get();
    return made;
}

tvr_strict_type tvr_strict_checker_impl::call_kernel_method(const type& of, const call_node& node,
                                                            token name) {
    const tvrobject_metadata* metadata = natives.class_of(of);
    if (is_launch(name->text())) {
        check_launch(*of.program, node, name);
    } else {
        if (metadata != nullptr && metadata->find_function(name->text()) == nullptr)
            no_member(of, name);
        walk_arguments(node, false);
    }
    uncertain = call_ends = false;
    const tvr_function_def* method =
        metadata != nullptr ? metadata->find_function(name->text()) : nullptr;
    return method != nullptr ? natives.result_of(*metadata, *method) : type();
}

void tvr_strict_checker_impl::check_launch(const tvrk_program& kernel, const call_node& node,
                                           token name) {
    const size_t wanted = kernel.params.size();
    if (node.params.empty())
        return find(name, name->text(), "() of kernel '", kernel.name, "' needs a domain: '",
                    kernel.name, "(count, ...)'.");
    const size_t given = node.params.size() - 1;
    if (given != wanted)
        find(name, "kernel '", kernel.name, "' expects ", wanted, " argument",
             wanted == 1 ? "" : "s", " (", list_of(kernel.params), ") but got ", given, ".");
    for (size_t i = 0; i < node.params.size(); ++i) {
        const tvr_ast_node& value = *node.params[i]->value;
        const type is = shared(infer_value(value));
        if (i > 0 && i <= wanted) check_kernel_argument(kernel, i, value, is);
    }
}

void tvr_strict_checker_impl::check_kernel_argument(const tvrk_program& kernel, size_t place,
                                                    const tvr_ast_node& node, const type& value) {
    const tvrk_param& param = kernel.params[place - 1];
    std::string wrong;
    if (!param.is_pointer)
        wrong = wrong_for_scalar(param, node, value);
    else if (value.is_numeric())
        wrong = "expects a std.buffer, not a number";
    if (wrong.empty()) return;
    find(node.start, "argument ", place, " of kernel '", kernel.name, "' ('", param.name, "') ",
         wrong, ".");
}
