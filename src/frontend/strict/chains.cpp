// Chains: an operand with members, indices, calls and increments behind it, of any length.

#include "frontend/strict/checker.h"

#include <algorithm>

#include "runtime/object/namespaces.h"
#include "runtime/script/script.h"

namespace {

using node_type = tvr_ast_node_type;

// Methods of lists that every list has, whatever the library says of them.
bool is_list_method(std::string_view name) {
    constexpr std::string_view known[] = {"push",     "push_back", "push_cyclic", "pop",
                                          "pop_back", "insert",    "copy"};
    return std::find(std::begin(known), std::end(known), name) != std::end(known);
}

}  // namespace

tvr_strict_type tvr_strict_checker_impl::infer_chain(const tvr_ast_node& node, want wanted) {
    chain walked = begin_chain(node, wanted);
    walk_links(walked);
    return walked.value.variable != tvr_strict_flow::no_variable ? shared(walked.value.is)
                                                                 : walked.value.is;
}

// The leftmost operand is looked at; the links behind it wait.
tvr_strict_checker_impl::chain tvr_strict_checker_impl::begin_chain(const tvr_ast_node& node,
                                                                    want wanted) {
    chain walked;
    walked.first = links.size();
    walked.wanted = wanted;
    const tvr_ast_node* value = &node;
    for (const auto* left = tvr_left_of_link(*value); left != nullptr;
         left = tvr_left_of_link(*left)) {
        links.push_back(value);
        value = left;
    }
    if (value->type == node_type::node_variable)
        begin_with_name(walked, value->start);
    else
        walked.value.is = infer_value(*value);
    return walked;
}

void tvr_strict_checker_impl::walk_links(chain& walked) {
    while (links.size() > walked.first) walk_link(walked);
}

const tvr_ast_node* tvr_strict_checker_impl::next_link(const chain& walked) const {
    return links.size() > walked.first ? links.back() : nullptr;
}

const tvr_ast_node_function_call* tvr_strict_checker_impl::take_call(const chain& walked) {
    const tvr_ast_node* next = next_link(walked);
    if (next == nullptr || next->type != node_type::node_function_call) return nullptr;
    links.pop_back();
    return &next->as<call_node>();
}

void tvr_strict_checker_impl::begin_with_name(chain& walked, token name) {
    if (name->is(code::word_super)) return begin_with_super(walked);
    walked.value = find_name(name);
    if (walked.value.is_member) {
        const link_value self = this_value();
        if (const call_node* call = take_call(walked)) {
            walked.value = {};
            walked.value.is = call_instance_method(self, *call, name);
        } else {
            walked.value.is = read_instance_member(self.is, name);
            walked.value.is_member = false;
        }
        return;
    }
    const type& found = walked.value.is;
    if (found.is == kind::class_def && found.of_class != nullptr && found.of_class->is_interface) {
        find(name, "'", name->text(),
             "' is an interface, it is only a type: it has no value at runtime and cannot be "
             "instantiated.");
        walked.value = {};
    }
}

// super.method(...)
void tvr_strict_checker_impl::begin_with_super(chain& walked) {
    const tvr_ast_node* next = next_link(walked);
    if (next == nullptr || next->type != node_type::node_json_literal) return;
    const token name = next->as<tvr_ast_node_json_literal>().name;
    links.pop_back();
    if (const call_node* call = take_call(walked)) walked.value.is = call_super(*call, name);
}

void tvr_strict_checker_impl::walk_link(chain& walked) {
    const tvr_ast_node& link = *links.back();
    links.pop_back();
    switch (link.type) {
    case node_type::node_json_literal: {
        const token name = link.as<tvr_ast_node_json_literal>().name;
        if (walked.value.space != nullptr) {
            walked.value = find_in(*walked.value.space, name->text());
            return;
        }
        if (const call_node* call = take_call(walked)) return walk_method_call(walked, *call, name);
        use(walked.value, name, "reading a member", walked.wanted);
        walked.value = value_of(read_member(walked, name));
        return;
    }
    case node_type::node_json: return walk_index(walked, link.as<tvr_ast_node_json>());
    case node_type::node_function_call: return walk_call(walked, link.as<call_node>(), link.start);
    default: return walk_count(walked, link.as<tvr_ast_node_unary>());
    }
}

// x++ and x--: the value before.
void tvr_strict_checker_impl::walk_count(chain& walked, const tvr_ast_node_unary& node) {
    use(walked.value, node.op, tvr_join("using it with '", node.op->text(), "'"), want::value);
    const type before = walked.value.is;
    if (walked.value.variable != tvr_strict_flow::no_variable)
        set_variable(walked.value.variable, counted(node.op, before));
    walked.value = value_of(before.is_numeric() ? before : type());
}

void tvr_strict_checker_impl::walk_index(chain& walked, const tvr_ast_node_json& node) {
    const type index = shared(infer_value(*node.index));
    use(walked.value, node.index->start, "indexing it", walked.wanted);
    const type& of = walked.value.is;
    type found;
    if (of.literal && index.is != kind::integer) {
        of.facts->sure = false;
    } else if (of.is == kind::text) {
        found = kind::text;
    } else if ((of.is == kind::list || of.is == kind::map) && !of.literal &&
               of.element != nullptr) {
        found = *of.element;
    } else if (of.is == kind::instance && of.of_class != nullptr) {
        const tvr_strict_function* method = of.of_class->find_method("__getitem__");
        if (method != nullptr) found = result_of(of, *method);
    }
    walked.value = value_of(found);
}

tvr_strict_checker_impl::link_value tvr_strict_checker_impl::value_of(const type& is) {
    link_value made;
    made.is = is;
    return made;
}

// The instance whose method this is; dynamic elsewhere.
tvr_strict_checker_impl::link_value tvr_strict_checker_impl::this_value() const {
    link_value made;
    if (!here->has_this || here->of_class == nullptr) return made;
    made.is = kind::instance;
    made.is.of_class = here->of_class;
    return made;
}

// As the builder looks for it: variables, members, definitions, namespaces.
tvr_strict_checker_impl::link_value tvr_strict_checker_impl::find_name(token name) {
    link_value found;
    found.name = name->text();
    switch (name->code) {
    case code::word_this: return this_value();
    case code::word_true:
    case code::word_True:
    case code::word_false:
    case code::word_False: return value_of(kind::boolean);
    case code::word_None:
    case code::word_none:
    case code::word_null: return value_of(kind::none);
    default: break;
    }
    found.variable = flow.find(found.name);
    if (found.variable != tvr_strict_flow::no_variable) {
        found.is = read_variable(found.variable);
        return found;
    }
    if (here->of_class != nullptr && here->has_this &&
        (here->of_class->find_member(found.name) != nullptr ||
         here->of_class->find_method(found.name) != nullptr)) {
        found.is_member = true;
        return found;
    }
    const tvr_strict_definition defined = names.find(found.name);
    if (defined.function != nullptr) {
        found.is = kind::function;
        found.is.function = defined.function;
    } else if (defined.class_def != nullptr) {
        found.is = kind::class_def;
        found.is.of_class = defined.class_def;
    } else {
        found = find_in_namespaces(found.name);
    }
    return found;
}

tvr_strict_checker_impl::link_value tvr_strict_checker_impl::find_in_namespaces(
    std::string_view name) const {
    for (auto space = used.rbegin(); space != used.rend(); ++space) {
        const link_value found = find_in(**space, name);
        if (found.space != nullptr || found.native != nullptr || found.is_native_variable)
            return found;
    }
    return find_in(script.root_namespace, name);
}

tvr_strict_checker_impl::link_value tvr_strict_checker_impl::find_in(tvr_namespace& space,
                                                                     std::string_view name) {
    link_value found;
    found.name = name;
    found.native = space.find_function(name);
    if (found.native != nullptr) {
        found.is = kind::function;
        return found;
    }
    found.is_native_variable = space.find_variable(name) != nullptr;
    if (!found.is_native_variable) found.space = space.find_child(name);
    return found;
}

// Of a variable whose writes are not followed, what is declared; of one of the root in a function,
// what it was given if that happens in one place only.
tvr_strict_type tvr_strict_checker_impl::read_variable(int64_t variable) {
    const tvr_strict_variable& of = flow.at(variable);
    if (is_followed(variable)) return of.now;
    if (of.declared.is_known() || of.not_followed) return of.declared;
    const auto writes = survey.assignments_of_root.find(of.name);
    const bool once = writes != survey.assignments_of_root.end() && writes->second == 1;
    return once && !of.now.may_be_none() ? of.now : type();
}

// No other name may share a literal whose keys are to be known.
tvr_strict_type tvr_strict_checker_impl::shared(type value) {
    if (!value.literal) return value;
    value.facts->sure = false;
    value.literal = false;
    value.element = nullptr;
    return value;
}

// What may be None is reported and then taken for something.
void tvr_strict_checker_impl::use(link_value& value, token at, std::string_view how, want wanted) {
    if (!value.is.may_be_none()) return;
    if (wanted != want::optional) {
        report_none(value.is, at, how);
        if (is_followed(value.variable)) flow.set(value.variable, value.is.without_none());
    }
    value.is = value.is.without_none();
}

void tvr_strict_checker_impl::report_none(const type& value, token at, std::string_view how) {
    find(at, "This value may be None (", reasons[value.why], "), check it before ", how,
         " (e.g. 'if (x != None)' or 'x ?? default').");
}

uint32_t tvr_strict_checker_impl::reason_of(std::string reason) {
    reasons.push_back(std::move(reason));
    return uint32_t(reasons.size() - 1);
}

tvr_strict_type tvr_strict_checker_impl::read_member(const chain& walked, token name) {
    const type& of = walked.value.is;
    switch (of.is) {
    case kind::instance: return read_instance_member(of, name);
    case kind::list:
    case kind::map:
        if (walked.wanted != want::optional) check_literal_member(of, name);
        if (of.is == kind::map && !of.literal && of.element != nullptr &&
            natives.class_of(of) != nullptr &&
            natives.class_of(of)->find_function(name->text()) == nullptr)
            return *of.element;
        return {};
    case kind::text: {
        const tvrobject_metadata* metadata = natives.class_of(of);
        if (metadata == nullptr || metadata->find_function(name->text()) != nullptr ||
            metadata->find_member(name->text()) >= 0)
            return {};
        break;
    }
    case kind::boolean:
    case kind::integer:
    case kind::real:
    case kind::number:
    case kind::class_def: break;
    case kind::function:
        if (walked.value.native != nullptr) return {};
        break;
    default: return {};
    }
    no_member(of, name);
    return {};
}

void tvr_strict_checker_impl::no_member(const type& of, token name) {
    find(name, "Type '", tvr_strict_type_name(of), "' has no member '", name->text(), "'.");
}

// A key of a literal that nobody can have written. Reading it makes it.
void tvr_strict_checker_impl::check_literal_member(const type& of, token name) {
    if (!of.literal || !of.facts->sure) return;
    const std::string_view wanted = name->text();
    std::vector<std::string_view>& keys = of.facts->keys;
    if (std::find(keys.begin(), keys.end(), wanted) != keys.end()) return;
    const tvrobject_metadata* json = natives.class_of(of);
    if (json == nullptr || json->find_function(wanted) != nullptr || is_list_method(wanted)) return;
    no_member(of, name);
    keys.push_back(wanted);
}

tvr_strict_type tvr_strict_checker_impl::read_instance_member(const type& of, token name) {
    if (of.of_class == nullptr) return {};
    const tvr_strict_class& in = *of.of_class;
    if (const tvr_strict_member* member = in.find_member(name->text())) {
        if (member->is_private && !may_see(member->in)) private_member(in, name);
        return member->declared;
    }
    if (const tvr_strict_function* method = in.find_method(name->text())) {
        if (method->is_private && !may_see(method->owner)) private_member(in, name);
        type made = kind::function;
        if (of.exact || !in.has_below(name->text())) made.function = method;
        return made;
    }
    if (!has_member(of, name->text()) && !has_member(of, "__getitem__")) no_member(of, name);
    return {};
}

void tvr_strict_checker_impl::private_member(const tvr_strict_class& in, token name) {
    find(name, "Member '", name->text(), "' of class '", in.name, "' is private.");
}

bool tvr_strict_checker_impl::may_see(const tvr_strict_class* declaring) const {
    return declaring == nullptr ||
           (here->of_class != nullptr && here->of_class->derives_from(*declaring));
}

// Whether an instance may have a member or method of this name.
bool tvr_strict_checker_impl::has_member(const type& of, std::string_view name) {
    const tvr_strict_class& in = *of.of_class;
    return !in.is_whole || in.find_member(name) != nullptr || in.find_method(name) != nullptr ||
           (!of.exact && (in.is_interface || in.has_below(name)));
}
