#pragma once

// The classes of the syntax tree.
//
// Nodes are plain records in the arena of their tvr_ast: nothing owns, nothing is destroyed, and a
// tree of any depth is freed at once. A later floor switches over `type` and casts:
//
//     case tvr_ast_node_type::binary: return compile(node->as<tvr_ast_node_binary>());
//
// Chains that grow to the left (a + b + c, a.b.c, f()()) are as deep as the source is long: walk
// their left side in a loop. Everything else nests at most tvr_max_nesting levels.
//
// Texts and tokens live as long as the tree. Pointers are never null unless it says so.

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "frontend/source/token.h"

// NODE(name): the class is tvr_ast_node_##name.
#define TVR_AST_NODES(NODE)    \
    NODE(noop)                 \
    NODE(int)                  \
    NODE(float)                \
    NODE(string)               \
    NODE(variable)             \
    NODE(json_literal)         \
    NODE(json)                 \
    NODE(unary)                \
    NODE(binary)               \
    NODE(ternary)              \
    NODE(assign)               \
    NODE(function_call)        \
    NODE(function_call_param)  \
    NODE(function_def)         \
    NODE(function_def_param)   \
    NODE(class_def)            \
    NODE(sub_block)            \
    NODE(multi_command)        \
    NODE(condition)            \
    NODE(condition_stack)      \
    NODE(loop)                 \
    NODE(try_catch)            \
    NODE(return )              \
    NODE(break)                \
    NODE(continue)             \
    NODE(initializer_list)     \
    NODE(initializer_list_add) \
    NODE(using_namespace)

enum class tvr_ast_node_type : uint8_t {
#define TVR_NODE_TYPE(name) node_##name,
    TVR_AST_NODES(TVR_NODE_TYPE)
#undef TVR_NODE_TYPE
};

// "binary", "function_call" ...
const char* tvr_ast_node_type_name(tvr_ast_node_type type);

struct tvr_ast_node {
    tvr_ast_node() {}  // not left to the compiler, so that small members of a class fill its gap

    const tvr_src_token* get_start_token() const { return start; }

    template <typename T>
    const T& as() const {
        assert(type == T::node_type);
        return static_cast<const T&>(*this);
    }

    const tvr_src_token* start = nullptr;  // the first token of what the node stands for
    tvr_ast_node_type type = tvr_ast_node_type::node_noop;
};

// The token to report a node at; null for a null node only.
inline const tvr_src_token* get_start_token_safe(const tvr_ast_node* node) {
    return node != nullptr ? node->start : nullptr;
}

// A row of things in the arena, one pointer long: their number stands in front of them.
template <typename T>
struct tvr_ast_list {
    static_assert(alignof(T) == alignof(size_t));

    const T* begin() const { return items; }
    const T* end() const { return items + size(); }
    size_t size() const {
        return items == nullptr ? 0 : reinterpret_cast<const size_t*>(items)[-1];
    }
    bool empty() const { return items == nullptr; }
    const T& operator[](size_t i) const {
        assert(i < size());
        return items[i];
    }

    const T* items = nullptr;  // null: none
};

// A word in front of a name: a keyword such as `var`, or a type such as `int` or `list<float>`.
struct tvr_ast_word {
    const tvr_src_token* word = nullptr;     // null: no such word
    const tvr_src_token* element = nullptr;  // between < and >, or null
};

// Whether one of the words in front of a name makes a variable: var, let, managed.
inline bool tvr_makes_variable(tvr_ast_list<tvr_ast_word> words) {
    for (const tvr_ast_word& word : words)
        if (tvr_is_variable_word(word.word->code)) return true;
    return false;
}

#define TVR_NODE(name) static constexpr tvr_ast_node_type node_type = tvr_ast_node_type::node_##name

// A #define that puts nothing where a statement was.
struct tvr_ast_node_noop : tvr_ast_node {
    TVR_NODE(noop);
};

struct tvr_ast_node_int : tvr_ast_node {
    TVR_NODE(int);
    int64_t value;  // from 2^63 on the bit pattern
};

struct tvr_ast_node_float : tvr_ast_node {
    TVR_NODE(float);
    double value;
};

struct tvr_ast_node_string : tvr_ast_node {
    TVR_NODE(string);
    std::string_view text;  // escapes resolved
};

// A name, also `this`, `true`, `None`. With keywords and no assignment it declares a variable.
struct tvr_ast_node_variable : tvr_ast_node {
    TVR_NODE(variable);
    std::string_view name() const { return start->text(); }
    tvr_ast_list<tvr_ast_word> keywords;
};

// left.name or left::name
struct tvr_ast_node_json_literal : tvr_ast_node {
    TVR_NODE(json_literal);
    bool scoped;  // `::`
    tvr_ast_node* left;
    const tvr_src_token* name;
};

// left[index]
struct tvr_ast_node_json : tvr_ast_node {
    TVR_NODE(json);
    tvr_ast_node* left;
    tvr_ast_node* index;
};

struct tvr_ast_node_unary : tvr_ast_node {
    TVR_NODE(unary);
    bool postfix;
    const tvr_src_token* op;
    tvr_ast_node* operand;
};

// Also `??`.
struct tvr_ast_node_binary : tvr_ast_node {
    TVR_NODE(binary);
    const tvr_src_token* op;
    tvr_ast_node* left;
    tvr_ast_node* right;
};

struct tvr_ast_node_ternary : tvr_ast_node {
    TVR_NODE(ternary);
    tvr_ast_node* condition;
    tvr_ast_node* if_true;
    tvr_ast_node* if_false;
};

struct tvr_ast_node_assign : tvr_ast_node {
    TVR_NODE(assign);
    const tvr_src_token* op;  // `=` or a compound form
    tvr_ast_node* target;
    tvr_ast_node* value;
    tvr_ast_list<tvr_ast_word> keywords;
};

struct tvr_ast_node_function_call_param : tvr_ast_node {
    TVR_NODE(function_call_param);
    const tvr_src_token* name;  // of a named argument, or null
    tvr_ast_node* value;
};

// Also `launch callee(params) : domain`, which is callee.launch(domain, params).
struct tvr_ast_node_function_call : tvr_ast_node {
    TVR_NODE(function_call);
    bool has_names() const {
        for (const tvr_ast_node_function_call_param* param : params)
            if (param->name != nullptr) return true;
        return false;
    }
    tvr_ast_node* callee;
    tvr_ast_list<tvr_ast_node_function_call_param*> params;
};

struct tvr_ast_node_sub_block : tvr_ast_node {
    TVR_NODE(sub_block);
    tvr_ast_list<tvr_ast_node*> statements;
    const tvr_src_token* end;  // its `}`, or the last token of the one statement without braces
};

struct tvr_ast_node_function_def_param : tvr_ast_node {
    TVR_NODE(function_def_param);
    const tvr_src_token* name;
    tvr_ast_word declared;                // its type; without a word when it has none
    tvr_ast_list<tvr_ast_word> keywords;  // other words in front of it
    tvr_ast_node* default_value;          // or null
    bool by_reference;
};

struct tvr_ast_node_function_def : tvr_ast_node {
    TVR_NODE(function_def);
    const tvr_src_token* name;  // null for a lambda
    tvr_ast_word return_type;   // without a word behind `def` and for a lambda
    tvr_ast_list<tvr_ast_word> keywords;
    tvr_ast_list<tvr_ast_node_function_def_param*> params;
    tvr_ast_node_sub_block* body;
    bool no_except;
    bool lambda;
};

struct tvr_ast_node_class_def : tvr_ast_node {
    TVR_NODE(class_def);
    const tvr_src_token* name;
    bool is_interface;
    tvr_ast_list<tvr_ast_word> keywords;
    tvr_ast_list<const tvr_src_token*> bases;  // classes and interfaces, as listed
    tvr_ast_list<tvr_ast_node*> members;       // the statements of its body
};

// Expressions separated by commas, run in their order.
struct tvr_ast_node_multi_command : tvr_ast_node {
    TVR_NODE(multi_command);
    tvr_ast_list<tvr_ast_node*> commands;
};

// One `if` or `else if`.
struct tvr_ast_node_condition : tvr_ast_node {
    TVR_NODE(condition);
    tvr_ast_node* condition;
    tvr_ast_node_sub_block* body;
};

struct tvr_ast_node_condition_stack : tvr_ast_node {
    TVR_NODE(condition_stack);
    tvr_ast_list<tvr_ast_node_condition*> conditions;  // at least one
    tvr_ast_node_sub_block* else_body;                 // or null
};

struct tvr_ast_node_loop : tvr_ast_node {
    TVR_NODE(loop);
    tvr_ast_node* initializer;  // or null
    tvr_ast_node* condition;
    tvr_ast_node* increment;  // or null
    tvr_ast_node_sub_block* body;
};

struct tvr_ast_node_try_catch : tvr_ast_node {
    TVR_NODE(try_catch);
    tvr_ast_node_sub_block* body;
    const tvr_src_token* variable;
    tvr_ast_node_sub_block* catch_body;
};

struct tvr_ast_node_return : tvr_ast_node {
    TVR_NODE(return );
    tvr_ast_node* value;  // or null
};

struct tvr_ast_node_break : tvr_ast_node {
    TVR_NODE(break);
};

struct tvr_ast_node_continue : tvr_ast_node {
    TVR_NODE(continue);
};

struct tvr_ast_node_initializer_list_add : tvr_ast_node {
    TVR_NODE(initializer_list_add);
    const tvr_ast_node_string* key;  // its text is the key, a word's too; or null
    tvr_ast_node* value;
};

struct tvr_ast_node_initializer_list : tvr_ast_node {
    TVR_NODE(initializer_list);
    tvr_ast_list<tvr_ast_node_initializer_list_add*> elements;
};

// using a.b; or import a.b;
struct tvr_ast_node_using_namespace : tvr_ast_node {
    TVR_NODE(using_namespace);
    tvr_ast_list<const tvr_src_token*> path;
    bool import;
};

#undef TVR_NODE

static_assert(sizeof(tvr_ast_node_variable) == 24 && sizeof(tvr_ast_node_json_literal) == 32);

// What the last link of a chain (a member, an index, a call, ++ or -- behind an operand) stands
// behind; null for an operand. Chains are as long as their source: walk them in a loop.
inline const tvr_ast_node* tvr_left_of_link(const tvr_ast_node& node) {
    using node_type = tvr_ast_node_type;
    switch (node.type) {
    case node_type::node_json_literal: return node.as<tvr_ast_node_json_literal>().left;
    case node_type::node_json: return node.as<tvr_ast_node_json>().left;
    case node_type::node_function_call: return node.as<tvr_ast_node_function_call>().callee;
    case node_type::node_unary:
        return node.as<tvr_ast_node_unary>().postfix ? node.as<tvr_ast_node_unary>().operand
                                                     : nullptr;
    default: return nullptr;
    }
}
