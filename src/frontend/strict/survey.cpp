#include "frontend/strict/survey.h"

#include "frontend/source/token_code.h"

using code = tvr_token_code;
using node_type = tvr_ast_node_type;
using how = tvr_strict_write::how;

tvr_strict_type tvr_strict_literal_type(const tvr_ast_node& node) {
    switch (node.type) {
    case node_type::node_int: return tvr_strict_kind::integer;
    case node_type::node_float: return tvr_strict_kind::real;
    case node_type::node_string: return tvr_strict_kind::text;
    case node_type::node_initializer_list: return tvr_strict_kind::json;
    case node_type::node_function_def: return tvr_strict_kind::function;
    case node_type::node_unary: {
        const auto& unary = node.as<tvr_ast_node_unary>();
        const node_type operand = unary.operand->type;
        if (unary.op->is(code::exclaim)) return tvr_strict_kind::boolean;
        const bool number = operand == node_type::node_int || operand == node_type::node_float;
        if (!unary.op->is(code::minus) || !number) return {};
        return operand == node_type::node_int ? tvr_strict_kind::integer : tvr_strict_kind::real;
    }
    case node_type::node_variable: break;
    default: return {};
    }
    switch (node.start->code) {
    case code::word_true:
    case code::word_True:
    case code::word_false:
    case code::word_False: return tvr_strict_kind::boolean;
    case code::word_None:
    case code::word_none:
    case code::word_null: return tvr_strict_kind::none;
    default: return {};
    }
}

// Walks the root first and then each function, so that it knows the root's names by then.
// Recursion is as deep as the tree nests; chains to the left are followed in loops.
class tvr_strict_surveyor {
public:
    explicit tvr_strict_surveyor(tvr_strict_survey& into) : survey(into) {}

    void run(const tvr_ast& ast) {
        visit_all(ast.roots);
        in_root = false;
        for (size_t i = 0; i < functions.size(); ++i) visit_function(*functions[i]);
        if (survey.lambdas_take_references || !survey.takes_references.empty())
            survey.written_by_functions.merge(passed);
    }

private:
    using set = std::unordered_set<std::string_view>;

    template <typename T>
    void visit_all(const tvr_ast_list<T>& nodes) {
        for (const tvr_ast_node* node : nodes) visit(node);
    }

    void visit_function(const tvr_ast_node_function_def& def) {
        own.clear();
        in_lambda = def.lambda;
        for (const tvr_ast_node_function_def_param* param : def.params) {
            own.insert(param->name->text());
            visit(param->default_value);
            if (!param->by_reference) continue;
            if (def.lambda)
                survey.lambdas_take_references = true;
            else
                survey.takes_references.insert(def.name->text());
        }
        visit(def.body);
    }

    void visit(const tvr_ast_node* node) {
        while (node != nullptr) node = visit_one(*node);
    }

    // The left side of a chain, which is visited next; else null.
    const tvr_ast_node* visit_one(const tvr_ast_node& node) {
        switch (node.type) {
        case node_type::node_variable: see(node.as<tvr_ast_node_variable>()); return nullptr;
        case node_type::node_json_literal: return node.as<tvr_ast_node_json_literal>().left;
        case node_type::node_json:
            visit(node.as<tvr_ast_node_json>().index);
            return node.as<tvr_ast_node_json>().left;
        case node_type::node_binary:
            visit(node.as<tvr_ast_node_binary>().right);
            return node.as<tvr_ast_node_binary>().left;
        case node_type::node_unary: return visit_unary(node.as<tvr_ast_node_unary>());
        case node_type::node_assign: return visit_assign(node.as<tvr_ast_node_assign>());
        case node_type::node_function_call:
            return visit_call(node.as<tvr_ast_node_function_call>());
        default: visit_group(node); return nullptr;
        }
    }

    void visit_group(const tvr_ast_node& node) {
        switch (node.type) {
        case node_type::node_ternary:
            visit(node.as<tvr_ast_node_ternary>().condition);
            visit(node.as<tvr_ast_node_ternary>().if_true);
            visit(node.as<tvr_ast_node_ternary>().if_false);
            return;
        case node_type::node_function_call_param:
            visit(node.as<tvr_ast_node_function_call_param>().value);
            return;
        case node_type::node_multi_command:
            visit_all(node.as<tvr_ast_node_multi_command>().commands);
            return;
        case node_type::node_initializer_list:
            for (const auto* element : node.as<tvr_ast_node_initializer_list>().elements)
                visit(element->value);
            return;
        case node_type::node_function_def:
            survey.has_functions = true;
            functions.push_back(&node.as<tvr_ast_node_function_def>());
            return;
        case node_type::node_class_def: visit_class(node.as<tvr_ast_node_class_def>()); return;
        case node_type::node_using_namespace:
            survey.imports = survey.imports || node.as<tvr_ast_node_using_namespace>().import;
            return;
        default: visit_statement(node);
        }
    }

    void visit_statement(const tvr_ast_node& node) {
        switch (node.type) {
        case node_type::node_sub_block: {
            ++blocks;
            visit_all(node.as<tvr_ast_node_sub_block>().statements);
            --blocks;
            return;
        }
        case node_type::node_condition_stack: {
            const auto& stack = node.as<tvr_ast_node_condition_stack>();
            for (const tvr_ast_node_condition* condition : stack.conditions) {
                visit(condition->condition);
                visit(condition->body);
            }
            visit(stack.else_body);
            return;
        }
        case node_type::node_loop: visit_loop(node.as<tvr_ast_node_loop>()); return;
        case node_type::node_try_catch: {
            const auto& tried = node.as<tvr_ast_node_try_catch>();
            const size_t begin = survey.writes.size();
            visit(tried.body);
            survey.ranges[&node] = {begin, survey.writes.size()};
            visit(tried.catch_body);
            return;
        }
        case node_type::node_return: visit(node.as<tvr_ast_node_return>().value); return;
        default: return;
        }
    }

    void visit_loop(const tvr_ast_node_loop& loop) {
        visit(loop.initializer);
        const size_t begin = survey.writes.size();
        visit(loop.condition);
        visit(loop.body);
        visit(loop.increment);
        survey.ranges[&loop] = {begin, survey.writes.size()};
    }

    // Values of members are code of the place where the class stands.
    void visit_class(const tvr_ast_node_class_def& def) {
        if (!in_root || blocks > 0) {
            for (const tvr_src_token* base : def.bases) survey.inner_bases.insert(base->text());
        }
        for (const tvr_ast_node* member : def.members) {
            if (member->type == node_type::node_assign)
                visit(member->as<tvr_ast_node_assign>().value);
            else if (member->type != node_type::node_variable)
                visit(member);
        }
    }

    const tvr_ast_node* visit_unary(const tvr_ast_node_unary& unary) {
        const bool counts = unary.op->is(code::increment) || unary.op->is(code::decrement);
        if (unary.operand->type == node_type::node_variable) {
            const std::string_view name = unary.operand->start->text();
            if (counts) write({name, how::counted, 0, &unary});
            if (unary.op->is(code::ampersand)) survey.referenced.insert(name);
        } else if (counts) {
            touch(*unary.operand);
        }
        return unary.operand;
    }

    const tvr_ast_node* visit_assign(const tvr_ast_node_assign& assign) {
        const tvr_ast_node& target = *assign.target;
        visit(assign.value);
        if (target.type != node_type::node_variable) {
            touch(target);
            return &target;
        }
        const std::string_view name = target.start->text();
        if (!in_root && tvr_makes_variable(assign.keywords)) own.insert(name);
        if (makes_reference(*assign.value)) survey.referenced.insert(name);
        const how is = assign.op->is(code::assign) ? how::assigned : how::combined;
        write({name, is, 0, &assign});
        see(target.as<tvr_ast_node_variable>());
        return nullptr;
    }

    static bool makes_reference(const tvr_ast_node& value) {
        return value.type == node_type::node_unary &&
               value.as<tvr_ast_node_unary>().op->is(code::ampersand);
    }

    const tvr_ast_node* visit_call(const tvr_ast_node_function_call& call) {
        for (size_t i = 0; i < call.params.size(); ++i) {
            const tvr_ast_node& value = *call.params[i]->value;
            if (value.type == node_type::node_variable)
                write({value.start->text(), how::passed, uint8_t(i), &call});
            visit(&value);
        }
        touch(*call.callee);
        return call.callee;
    }

    // Whatever stands at the very left of a chain with at least one link.
    void touch(const tvr_ast_node& chain) {
        const tvr_ast_node* at = &chain;
        for (;;) {
            if (at->type == node_type::node_json_literal)
                at = at->as<tvr_ast_node_json_literal>().left;
            else if (at->type == node_type::node_json)
                at = at->as<tvr_ast_node_json>().left;
            else
                break;
        }
        if (at != &chain && at->type == node_type::node_variable)
            write({at->start->text(), how::touched, 0, &chain});
    }

    void see(const tvr_ast_node_variable& variable) {
        const std::string_view name = variable.name();
        if (!variable.keywords.empty()) {
            if (in_root)
                ++survey.assignments_of_root[name];
            else
                own.insert(name);
        }
        if (in_root) return;
        if (in_lambda || survey.assignments_of_root.count(name) > 0) survey.shared.insert(name);
    }

    void write(const tvr_strict_write& found) {
        survey.writes.push_back(found);
        if (found.is == how::touched) return;
        const bool known = survey.assignments_of_root.count(found.name) > 0;
        if (found.is == how::passed) {
            if (known && own.count(found.name) == 0) passed.insert(found.name);
        } else if (in_root) {
            ++survey.assignments_of_root[found.name];
        } else if (known && own.count(found.name) == 0) {
            survey.written_by_functions.insert(found.name);
        }
    }

    tvr_strict_survey& survey;
    std::vector<const tvr_ast_node_function_def*> functions;
    set own;     // variables that are the function's for sure
    set passed;  // variables of the root, to functions that may take references
    bool in_root = true;
    bool in_lambda = false;
    uint32_t blocks = 0;
};

tvr_strict_survey::tvr_strict_survey(const tvr_ast& ast) {
    tvr_strict_surveyor(*this).run(ast);
}

tvr_strict_survey::range tvr_strict_survey::writes_in(const tvr_ast_node& loop_or_try) const {
    const auto found = ranges.find(&loop_or_try);
    return found != ranges.end() ? found->second : range{};
}
