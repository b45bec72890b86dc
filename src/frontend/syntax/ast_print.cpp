#include <charconv>
#include <vector>

#include "base/join.h"
#include "frontend/syntax/ast.h"
#include "frontend/syntax/string_escape.h"

// One node a line: its role where that is not plain, its type, and what it holds besides nodes. The
// walk keeps its own stack, since chains to the left are as deep as the source is long.

namespace {

using type = tvr_ast_node_type;

struct item {
    const tvr_ast_node* node;
    const char* role;  // or ""
    size_t depth;
};

std::string word_text(const tvr_ast_word& word) {
    std::string text(word.word->text());
    if (word.element != nullptr) text += tvr_join("<", word.element->text(), ">");
    return text;
}

std::string keywords_text(const tvr_ast_list<tvr_ast_word>& keywords) {
    std::string text;
    for (const tvr_ast_word& word : keywords) {
        text += text.empty() ? " [" : " ";
        text += word_text(word);
    }
    return text.empty() ? text : text + "]";
}

std::string names_text(const tvr_ast_list<const tvr_src_token*>& names, const char* separator) {
    std::string text;
    for (const tvr_src_token* name : names) {
        if (!text.empty()) text += separator;
        text += name->text();
    }
    return text;
}

std::string float_text(double value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value);
    std::string out(text, end.ptr);
    if (out.find_first_not_of("-0123456789") == std::string::npos) out += ".0";
    return out;
}

std::string quoted(std::string_view text) {
    return tvr_join("\"", tvr_escape_string(text), "\"");
}

std::string function_text(const tvr_ast_node_function_def& function) {
    std::string text(function.lambda ? "lambda" : function.name->text());
    if (function.return_type.word != nullptr)
        text += tvr_join(" returns ", word_text(function.return_type));
    text += keywords_text(function.keywords);
    return text + (function.no_except ? " noexcept" : "");
}

std::string param_text(const tvr_ast_node_function_def_param& param) {
    std::string text(param.by_reference ? "&" : "");
    text += param.name->text();
    if (param.declared.word != nullptr) text += tvr_join(" ", word_text(param.declared));
    return text + keywords_text(param.keywords);
}

std::string class_text(const tvr_ast_node_class_def& node) {
    std::string text(node.is_interface ? "interface " : "");
    text += node.name->text();
    if (!node.bases.empty()) text += tvr_join(" : ", names_text(node.bases, ", "));
    return text + keywords_text(node.keywords);
}

// What stands behind the type of an operand.
std::string operand_text(const tvr_ast_node& node) {
    switch (node.type) {
    case type::node_int: return tvr_join(node.as<tvr_ast_node_int>().value);
    case type::node_float: return float_text(node.as<tvr_ast_node_float>().value);
    case type::node_string: return quoted(node.as<tvr_ast_node_string>().text);
    case type::node_variable: {
        const auto& variable = node.as<tvr_ast_node_variable>();
        return tvr_join(variable.name(), keywords_text(variable.keywords));
    }
    case type::node_json_literal: {
        const auto& member = node.as<tvr_ast_node_json_literal>();
        return tvr_join(member.scoped ? "::" : ".", member.name->text());
    }
    case type::node_unary: {
        const auto& unary = node.as<tvr_ast_node_unary>();
        return tvr_join(unary.op->text(), unary.postfix ? " postfix" : "");
    }
    default: return {};
    }
}

// What stands behind the type.
std::string details(const tvr_ast_node& node) {
    switch (node.type) {
    case type::node_binary: return std::string(node.as<tvr_ast_node_binary>().op->text());
    case type::node_assign: {
        const auto& assign = node.as<tvr_ast_node_assign>();
        return tvr_join(assign.op->text(), keywords_text(assign.keywords));
    }
    case type::node_function_call_param: {
        const auto& param = node.as<tvr_ast_node_function_call_param>();
        return param.name != nullptr ? tvr_join(param.name->text(), " =") : std::string();
    }
    case type::node_function_def: return function_text(node.as<tvr_ast_node_function_def>());
    case type::node_function_def_param:
        return param_text(node.as<tvr_ast_node_function_def_param>());
    case type::node_class_def: return class_text(node.as<tvr_ast_node_class_def>());
    case type::node_try_catch:
        return std::string(node.as<tvr_ast_node_try_catch>().variable->text());
    case type::node_initializer_list_add: {
        const auto& element = node.as<tvr_ast_node_initializer_list_add>();
        return element.key != nullptr ? quoted(element.key->text) + " =" : std::string();
    }
    case type::node_using_namespace: {
        const auto& node_using = node.as<tvr_ast_node_using_namespace>();
        return tvr_join(node_using.import ? "import " : "", names_text(node_using.path, "."));
    }
    default: return operand_text(node);
    }
}

class printer {
public:
    std::string run(const tvr_ast_list<tvr_ast_node*>& roots) {
        for (const tvr_ast_node* root : roots) add(root);
        move_children();
        while (!waiting.empty()) {
            const item next = waiting.back();
            waiting.pop_back();
            print(next);
            depth = next.depth + 1;
            add_children(*next.node);
            move_children();
        }
        return std::move(out);
    }

private:
    void print(const item& next) {
        constexpr size_t deepest_indent = 60;
        out.append(2 * std::min(next.depth, deepest_indent), ' ');
        if (next.depth > deepest_indent) out += tvr_join("(", next.depth, ") ");
        if (*next.role != '\0') out += tvr_join(next.role, ": ");
        out += tvr_ast_node_type_name(next.node->type);
        const std::string text = details(*next.node);
        if (!text.empty()) out += tvr_join(" ", text);
        out += '\n';
    }

    void add(const tvr_ast_node* node, const char* role = "") {
        if (node != nullptr) children.push_back({node, role, depth});
    }
    template <typename T>
    void add(const tvr_ast_list<T>& nodes) {
        for (const tvr_ast_node* node : nodes) add(node);
    }
    void move_children() {
        waiting.insert(waiting.end(), children.rbegin(), children.rend());
        children.clear();
    }

    void add_children(const tvr_ast_node& node) {
        if (!add_operands(node)) add_parts(node);
    }

    bool add_operands(const tvr_ast_node& node) {
        switch (node.type) {
        case type::node_json_literal: add(node.as<tvr_ast_node_json_literal>().left); return true;
        case type::node_json:
            add(node.as<tvr_ast_node_json>().left);
            add(node.as<tvr_ast_node_json>().index, "index");
            return true;
        case type::node_unary: add(node.as<tvr_ast_node_unary>().operand); return true;
        case type::node_binary:
            add(node.as<tvr_ast_node_binary>().left);
            add(node.as<tvr_ast_node_binary>().right);
            return true;
        case type::node_ternary:
            add(node.as<tvr_ast_node_ternary>().condition, "condition");
            add(node.as<tvr_ast_node_ternary>().if_true, "true");
            add(node.as<tvr_ast_node_ternary>().if_false, "false");
            return true;
        case type::node_assign:
            add(node.as<tvr_ast_node_assign>().target);
            add(node.as<tvr_ast_node_assign>().value);
            return true;
        case type::node_function_call:
            add(node.as<tvr_ast_node_function_call>().callee);
            add(node.as<tvr_ast_node_function_call>().params);
            return true;
        case type::node_function_call_param:
            add(node.as<tvr_ast_node_function_call_param>().value);
            return true;
        case type::node_initializer_list:
            add(node.as<tvr_ast_node_initializer_list>().elements);
            return true;
        case type::node_initializer_list_add:
            add(node.as<tvr_ast_node_initializer_list_add>().value);
            return true;
        default: return false;
        }
    }

    void add_parts(const tvr_ast_node& node) {
        switch (node.type) {
        case type::node_function_def:
            add(node.as<tvr_ast_node_function_def>().params);
            add(node.as<tvr_ast_node_function_def>().body, "body");
            break;
        case type::node_function_def_param:
            add(node.as<tvr_ast_node_function_def_param>().default_value, "default");
            break;
        case type::node_class_def: add(node.as<tvr_ast_node_class_def>().members); break;
        case type::node_sub_block: add(node.as<tvr_ast_node_sub_block>().statements); break;
        case type::node_multi_command: add(node.as<tvr_ast_node_multi_command>().commands); break;
        case type::node_condition:
            add(node.as<tvr_ast_node_condition>().condition);
            add(node.as<tvr_ast_node_condition>().body, "body");
            break;
        case type::node_condition_stack:
            add(node.as<tvr_ast_node_condition_stack>().conditions);
            add(node.as<tvr_ast_node_condition_stack>().else_body, "else");
            break;
        case type::node_loop: add_loop(node.as<tvr_ast_node_loop>()); break;
        case type::node_try_catch:
            add(node.as<tvr_ast_node_try_catch>().body, "try");
            add(node.as<tvr_ast_node_try_catch>().catch_body, "catch");
            break;
        case type::node_return: add(node.as<tvr_ast_node_return>().value); break;
        default: break;
        }
    }

    void add_loop(const tvr_ast_node_loop& loop) {
        add(loop.initializer, "initializer");
        add(loop.condition, "condition");
        add(loop.increment, "increment");
        add(loop.body, "body");
    }

    std::string out;
    std::vector<item> waiting, children;
    size_t depth = 0;
};

}  // namespace

std::string tvr_ast::print() const {
    return printer().run(roots);
}
