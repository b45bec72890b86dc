// Classes: their tables, and what their methods promise to those who know a base only.

#include "frontend/strict/checker.h"

#include <algorithm>

#include "frontend/builder/tree_walk.h"
#include "frontend/program/program_block.h"

namespace {

using node_type = tvr_ast_node_type;

bool is_lifetime_method(std::string_view name) {
    return name == "__init__" || name == "__deinit__";
}

}  // namespace

// Classes can name each other before they stand; their bases have to stand before them.
void tvr_strict_checker_impl::declare_definitions(tvr_ast_list<tvr_ast_node*> nodes) {
    for (const tvr_ast_node* node : nodes) {
        if (node->type != node_type::node_class_def) continue;
        const auto& def = node->as<tvr_ast_node_class_def>();
        tvr_strict_class& made = classes.emplace_back();
        made.name = def.name->text();
        made.def = &def;
        made.is_interface = def.is_interface;
        made.open_below = survey.inner_bases.count(made.name) > 0;
        class_for[node] = &made;
        names.define(made.name, {nullptr, &made});
    }
    for (const tvr_ast_node* node : nodes) {
        if (node->type == node_type::node_class_def) declare_class(*class_for[node]);
    }
    for (const tvr_ast_node* node : nodes) {
        if (node->type != node_type::node_function_def) continue;
        const auto& def = node->as<tvr_ast_node_function_def>();
        if (def.lambda) continue;
        tvr_strict_function* made = declare_function(def, nullptr);
        names.define(made->name, {made, nullptr});
    }
}

void tvr_strict_checker_impl::declare_class(tvr_strict_class& made) {
    made.levels.push_back(&made);
    for (const token base : made.def->bases) add_base(made, base);
    for (const tvr_ast_node* node : made.def->members) add_members(made, *node);
}

void tvr_strict_checker_impl::add_base(tvr_strict_class& made, token name) {
    const tvr_strict_class* base = names.find(name->text()).class_def;
    if (base == nullptr || base == &made || base->levels.empty() ||
        (made.is_interface && !base->is_interface)) {
        made.is_whole = false;
        return;
    }
    made.is_whole = made.is_whole && base->is_whole;
    if (base->is_interface && !made.is_interface) {
        made.interfaces.push_back(base);
        return;
    }
    for (const tvr_strict_class* level : base->levels) {
        if (made.derives_from(*level)) continue;
        if (made.levels.size() == tvr_max_class_levels) {
            made.is_whole = false;
            return;
        }
        made.levels.push_back(level);
        level->derived.push_back(&made);
    }
    for (const tvr_strict_class* contract : base->interfaces) made.interfaces.push_back(contract);
}

void tvr_strict_checker_impl::add_members(tvr_strict_class& made, const tvr_ast_node& node) {
    switch (node.type) {
    case node_type::node_variable:
        return add_member(made, node.start, node.as<tvr_ast_node_variable>().keywords);
    case node_type::node_assign: {
        const auto& assign = node.as<tvr_ast_node_assign>();
        add_member(made, assign.target->start, assign.keywords);
        const auto added = made.members.find(assign.target->start->text());
        if (added != made.members.end() && tvr_strict_literal_type(*assign.value).is_none())
            added->second.none_at_first = true;
        return;
    }
    case node_type::node_function_def: {
        const auto& def = node.as<tvr_ast_node_function_def>();
        if (def.lambda) return;
        tvr_strict_function* method = declare_function(def, &made);
        made.methods.try_emplace(method->name, method);
        return;
    }
    case node_type::node_multi_command:
        for (const tvr_ast_node* part : node.as<tvr_ast_node_multi_command>().commands)
            add_members(made, *part);
        return;
    default: return;
    }
}

// A member of a base stays that base's, and can only become more private.
void tvr_strict_checker_impl::add_member(tvr_strict_class& made, token name,
                                         tvr_ast_list<tvr_ast_word> words) {
    const tvr_strict_member* inherited = made.find_member(name->text());
    tvr_strict_member member;
    member.in = inherited != nullptr ? inherited->in : &made;
    member.is_private = inherited != nullptr && inherited->is_private;
    for (const tvr_ast_word& word : words)
        member.is_private = member.is_private || word.word->is(code::word_private);
    member.declared = declared_type(words);
    if (!member.declared.is_known() && inherited != nullptr) member.declared = inherited->declared;
    made.members.try_emplace(name->text(), member);
}

void tvr_strict_checker_impl::walk_class(const tvr_ast_node_class_def& def) {
    const auto known = class_for.find(&def);
    if (known == class_for.end()) return;
    const tvr_strict_class& of = *known->second;
    if (of.is_interface) return check_extension(of);
    function_frame frame;
    frame.of_class = &of;
    frame.has_this = true;
    function_frame* outer = std::exchange(here, &frame);
    const uint32_t outer_floor = flow.enter_function(false);
    for (const tvr_ast_node* node : def.members) walk_class_member(of, *node);
    flow.leave_function(outer_floor);
    here = outer;
    check_constructor(of);
    check_destructor(of);
    check_overrides(of);
    check_promises(of);
}

void tvr_strict_checker_impl::walk_class_member(const tvr_strict_class& of,
                                                const tvr_ast_node& node) {
    switch (node.type) {
    case node_type::node_function_def: return walk_definition(node);
    case node_type::node_multi_command:
        for (const tvr_ast_node* part : node.as<tvr_ast_node_multi_command>().commands)
            walk_class_member(of, *part);
        return;
    case node_type::node_assign: break;
    default: return;
    }
    const auto& assign = node.as<tvr_ast_node_assign>();
    const token name = assign.target->start;
    const tvr_strict_member* member = of.find_member(name->text());
    const type declared = member != nullptr ? member->declared : type();
    const type value = shared(infer_for(declared, *assign.value));
    if (!value.is_none() && !tvr_strict_fits(declared, value))
        find(name, "Cannot assign ", tvr_strict_type_name(value), " to '", name->text(),
             "', it is ", tvr_strict_type_name(declared), ".");
}

bool tvr_strict_checker_impl::calls_super_constructor(const tvr_ast_node_function_def& def) {
    bool calls = false;
    tvr_walk_all(*def.body, [&](const tvr_ast_node& node) {
        if (node.type == node_type::node_json_literal) {
            const auto& member = node.as<tvr_ast_node_json_literal>();
            calls = calls || (member.left->start->is(code::word_super) &&
                              member.left->type == node_type::node_variable &&
                              member.name->text() == "__init__");
        }
        return !calls;
    });
    return calls;
}

void tvr_strict_checker_impl::check_constructor(const tvr_strict_class& of) {
    const auto own = of.methods.find("__init__");
    const tvr_strict_function* inherited = of.find_method("__init__", 1);
    if (own == of.methods.end() || inherited == nullptr) return;
    if (calls_super_constructor(*own->second->def)) return;
    find(own->second->def->name, "'", of.name, ".__init__' does not call super.__init__(...) of '",
         inherited->owner->name, "' (base constructors are not called automatically).");
}

void tvr_strict_checker_impl::check_destructor(const tvr_strict_class& of) {
    const auto own = of.methods.find("__deinit__");
    if (own == of.methods.end()) return;
    const tvr_strict_function& method = *own->second;
    if (!method.params.empty())
        find(method.def->name, "'", of.name,
             ".__deinit__' is called without arguments, it cannot have parameters.");
    if (method.result_declared)
        find(method.def->return_type.word, "'", of.name,
             ".__deinit__' declares a return type, its result is never used.");
}

void tvr_strict_checker_impl::check_overrides(const tvr_strict_class& of) {
    for (const tvr_ast_node* node : of.def->members) {
        const auto known = made_for.find(node);
        if (known == made_for.end() || is_lifetime_method(known->second->name)) continue;
        const tvr_strict_function* base = of.find_method(known->second->name, 1);
        if (base != nullptr) check_override(*known->second, *base);
    }
}

// Every call that the base allows has to be possible.
void tvr_strict_checker_impl::check_override(const tvr_strict_function& method,
                                             const tvr_strict_function& base) {
    const token at = method.def->name;
    if (method.required() > base.required() || method.params.size() < base.params.size())
        find(at, "'", method.owner->name, ".", method.name, "' takes ", method.params.size(),
             " parameter(s), the method it overrides in '", base.owner->name, "' takes ",
             base.params.size(), ".");
    const bool typed = method.result_declared && base.result_declared;
    if (typed && !tvr_strict_fits(base.result, method.result))
        find(at, "'", method.owner->name, ".", method.name, "' returns ",
             tvr_strict_type_name(method.result), ", the method it overrides in '",
             base.owner->name, "' returns ", tvr_strict_type_name(base.result), ".");
}
