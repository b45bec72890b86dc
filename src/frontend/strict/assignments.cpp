// Assignments, and the types that variables and members are declared with.

#include "frontend/source/source_excerpt.h"
#include "frontend/strict/checker.h"
#include "runtime/object/metadata.h"

namespace {

constexpr const char* initialize_hint =
    " into a json object. Initialize it with [] (or std.json()) instead.";

bool is_plain(const tvr_strict_type& of) {
    return of.is_numeric() || of.is == tvr_strict_kind::text;
}

}  // namespace

tvr_strict_type tvr_strict_checker_impl::infer_assign(const tvr_ast_node_assign& node) {
    switch (node.target->type) {
    case node_type::node_variable: return assign_variable(node);
    case node_type::node_json_literal: return assign_member(node);
    case node_type::node_json: return assign_element(node);
    default: break;
    }
    shared(infer_value(*node.target));
    return shared(infer_value(*node.value));
}

// The value that goes to a target which held `before`.
tvr_strict_type tvr_strict_checker_impl::assigned_value(const tvr_ast_node_assign& node,
                                                        const type& before, const type& declared) {
    if (node.op->is(code::assign)) return infer_for(declared, *node.value);
    const type right = shared(infer_value(*node.value));
    check_divisor(node.op, *node.value);
    return combine(node.op, {shared(before), node.target}, {right, node.value});
}

// The value of a node for a place where a type is declared.
tvr_strict_type tvr_strict_checker_impl::infer_for(const type& declared, const tvr_ast_node& node) {
    if (node.type == node_type::node_initializer_list)
        return infer_list(node.as<tvr_ast_node_initializer_list>(), declared);
    return infer_value(node);
}

void tvr_strict_checker_impl::check_element(const type& container, const type& value, token at) {
    const bool typed = container.is_any_of(kind::list, kind::map) && !container.literal &&
                       container.element != nullptr;
    if (!typed || tvr_strict_fits(*container.element, value)) return;
    find(at, "Element of this ", tvr_strict_type_name(container), " has to be ",
         tvr_strict_type_name(*container.element), ", not ", tvr_strict_type_name(value), ".");
}

tvr_strict_type tvr_strict_checker_impl::assign_variable(const tvr_ast_node_assign& node) {
    const token name = node.target->start;
    const type declared = declared_type(node.keywords);
    const bool is_new = tvr_makes_variable(node.keywords);
    link_value target;
    if (!is_new) target = find_name(name);
    if (target.is_member) return assign_own_member(node, name);
    const bool missing = target.variable == tvr_strict_flow::no_variable;
    if (missing &&
        (target.is.is_any_of(kind::class_def, kind::function) || target.is_native_variable) &&
        target.native == nullptr)
        return shared(infer_value(*node.value));
    int64_t variable = target.variable;
    if (!missing && declared.is_known()) flow.at(variable).declared = declared;
    // A function of the root can call itself.
    if (missing && flow.in_root_scope() && node.value->type == node_type::node_function_def)
        variable = define_variable(name, declared, kind::function);
    const type expected =
        variable != tvr_strict_flow::no_variable ? flow.at(variable).declared : declared;
    type value = assigned_value(node, target.is, expected);
    if (variable == tvr_strict_flow::no_variable && !is_new) variable = flow.find(name->text());
    if (variable == tvr_strict_flow::no_variable || (is_new && !flow.in_root_scope()) ||
        (is_new && node.value->type != node_type::node_function_def))
        variable = define_variable(name, declared, {});
    const bool fresh = node.op->is(code::assign) &&
                       node.value->type == node_type::node_initializer_list &&
                       is_followed(variable) && survey.shared.count(name->text()) == 0;
    if (!fresh) value = shared(value);
    return store_variable(variable, value, name);
}

// A member named without `this`.
tvr_strict_type tvr_strict_checker_impl::assign_own_member(const tvr_ast_node_assign& node,
                                                           token name) {
    link_value self = this_value();
    const bool compound = !node.op->is(code::assign);
    const tvr_strict_member* member = here->of_class->find_member(name->text());
    const type declared = member != nullptr ? member->declared : type();
    const type value = shared(assigned_value(node, compound ? declared : type(), declared));
    set_member_of(self, name, value);
    return value;
}

int64_t tvr_strict_checker_impl::define_variable(token name, const type& declared,
                                                 const type& value) {
    const uint32_t made = flow.define(name->text(), declared, value);
    tvr_strict_variable& variable = flow.at(made);
    variable.not_followed =
        survey.referenced.count(name->text()) > 0 ||
        (variable.is_root && survey.written_by_functions.count(name->text()) > 0);
    return made;
}

// What the variable holds afterwards.
tvr_strict_type tvr_strict_checker_impl::store_variable(int64_t variable, type value, token at) {
    const type declared = flow.at(variable).declared;
    if (value.is_none() && value.why == 0)
        value.why = reason_of(
            tvr_join("'", at->text(), "' was set to None in line ", tvr_place_of_use(*at).line));
    type now = value;
    if (declared.is_known()) {
        const bool fits = tvr_strict_fits(declared, value);
        if (!fits)
            find(at, "Variable '", at->text(), "' is ", tvr_strict_type_name(declared),
                 ", cannot assign ", tvr_strict_type_name(value), ".");
        if (!fits || (!value.is_none() && value.is != kind::instance)) {
            now = declared;
            now.maybe_none = fits && value.maybe_none;
            now.why = value.why;
        }
    }
    set_variable(variable, now);
    return now.literal ? type(now.is) : now;
}

// Where it is not followed, its type stays what it is declared to be.
void tvr_strict_checker_impl::set_variable(int64_t variable, const type& value) {
    if (is_followed(variable)) flow.set(variable, value);
}

tvr_strict_type tvr_strict_checker_impl::assign_member(const tvr_ast_node_assign& node) {
    const token name = node.target->as<tvr_ast_node_json_literal>().name;
    chain walked = begin_chain(*node.target, want::value);
    while (links.size() > walked.first + 1) walk_link(walked);
    const bool whole = links.size() > walked.first;
    links.resize(walked.first);
    if (!whole || walked.value.space != nullptr) return shared(infer_value(*node.value));
    use(walked.value, name, "setting a member", want::value);
    type declared;
    if (walked.value.is.is == kind::instance && walked.value.is.of_class != nullptr) {
        const auto* member = walked.value.is.of_class->find_member(name->text());
        if (member != nullptr) declared = member->declared;
    }
    if (walked.value.is.is == kind::map && !walked.value.is.literal &&
        walked.value.is.element != nullptr)
        declared = *walked.value.is.element;
    const bool compound = !node.op->is(code::assign);
    const type value = shared(assigned_value(node, compound ? declared : type(), declared));
    set_member_of(walked.value, name, value);
    return value;
}

void tvr_strict_checker_impl::set_member_of(link_value& of, token name, const type& value) {
    const type& in = of.is;
    if (is_plain(in)) {
        find(name, "Setting member '", name->text(), "' turns this ", tvr_strict_type_name(in),
             initialize_hint);
        if (of.variable != tvr_strict_flow::no_variable) set_variable(of.variable, kind::json);
    } else if (in.is == kind::class_def || (in.is == kind::function && of.native == nullptr)) {
        find(name, "Cannot assign to '", name->text(), "', a ", tvr_strict_type_name(in),
             " has no members.");
    } else if (in.is == kind::instance && in.of_class != nullptr) {
        set_instance_member(in, name, value);
    } else {
        set_key(of, name->text(), name);
        if (in.is == kind::map) check_element(in, value, name);
    }
}

void tvr_strict_checker_impl::set_instance_member(const type& of, token name, const type& value) {
    const tvr_strict_class& in = *of.of_class;
    if (const tvr_strict_member* member = in.find_member(name->text())) {
        if (member->is_private && !may_see(member->in)) private_member(in, name);
        const bool none = value.is_none() && member->none_at_first;
        if (!none && !tvr_strict_fits(member->declared, value))
            find(name, "Cannot assign ", tvr_strict_type_name(value), " to '", name->text(),
                 "', it is ", tvr_strict_type_name(member->declared), ".");
    } else if (in.find_method(name->text()) != nullptr) {
        find(name, "Cannot assign to method '", name->text(), "' of class '", in.name, "'.");
    } else if (!has_member(of, name->text()) && !has_member(of, "__setitem__")) {
        no_member(of, name);
    }
}

// A list that gets a key becomes a map.
void tvr_strict_checker_impl::set_key(link_value& of, std::string_view key, token at) {
    const bool known = of.is.is == kind::list && (!of.is.literal || of.is.facts->sure);
    if (known) {
        find(at, "A ", tvr_strict_type_name(of.is), " has no keys, '", key, "' makes it a map.");
        if (of.is.literal) of.is.facts->sure = false;
    }
    if (of.is.literal) of.is.facts->keys.push_back(key);
}

tvr_strict_type tvr_strict_checker_impl::assign_element(const tvr_ast_node_assign& node) {
    const auto& target = node.target->as<tvr_ast_node_json>();
    chain walked = begin_chain(*node.target, want::value);
    while (links.size() > walked.first + 1) walk_link(walked);
    links.resize(walked.first);
    const type index = shared(infer_value(*target.index));
    link_value of = walked.value;
    use(of, target.index->start, "setting an element", want::value);
    type element;
    if (of.is.is_any_of(kind::list, kind::map) && !of.is.literal && of.is.element != nullptr)
        element = *of.is.element;
    const type value = shared(assigned_value(node, element, element));
    if (of.is.is_numeric()) {
        find(target.index->start, "Setting an element turns this ", tvr_strict_type_name(of.is),
             initialize_hint);
        if (of.variable != tvr_strict_flow::no_variable) set_variable(of.variable, kind::json);
    } else if (target.index->type == node_type::node_string) {
        set_key(of, target.index->as<tvr_ast_node_string>().text, target.index->start);
    } else if (of.is.literal && index.is != kind::integer) {
        of.is.facts->sure = false;
    }
    check_element(of.is, value, node.value->start);
    return value;
}

// `var x;`
void tvr_strict_checker_impl::declare_variable(const tvr_ast_node_variable& node) {
    type none = kind::none;
    none.why = reason_of(tvr_join("'", node.name(), "' has no value yet"));
    const int64_t made = define_variable(node.start, declared_type(node.keywords), {});
    set_variable(made, none);
}

tvr_strict_type tvr_strict_checker_impl::declared_type(tvr_ast_list<tvr_ast_word> words) {
    for (const tvr_ast_word& word : words) {
        if (!tvr_is_reserved_word(word.word->code)) return declared_type(word);
    }
    return {};
}

tvr_strict_type tvr_strict_checker_impl::declared_type(const tvr_ast_word& word) {
    if (word.word == nullptr) return {};
    type made = type_of_word(*word.word);
    if (word.element == nullptr) return made;
    const tvr_src_token& name = *word.element;
    const bool known = (tvr_is_type_word(name.code) && !name.is(code::word_void)) ||
                       names.find(name.text()).class_def != nullptr;
    if (!known && !survey.imports) find(word.element, "Unknown element type '", name.text(), "'.");
    if (known) made.element = &element_types.emplace_back(type_of_word(name));
    return made;
}

tvr_strict_type tvr_strict_checker_impl::type_of_word(const tvr_src_token& word) {
    switch (word.code) {
    case code::word_int: return kind::integer;
    case code::word_float: return kind::real;
    case code::word_string: return kind::text;
    case code::word_bool: return kind::boolean;
    case code::word_any: return kind::any;
    case code::word_void: return kind::nothing;
    case code::word_object: return kind::object;
    case code::word_function: return kind::function;
    case code::word_json: return kind::json;
    case code::word_list: return kind::list;
    case code::word_map: return kind::map;
    default: break;
    }
    type made;
    const tvr_strict_class* of = names.find(word.text()).class_def;
    if (of == nullptr) return made;
    made.is = kind::instance;
    made.of_class = of;
    return made;
}
