#pragma once

// Commands to syntax tree: stage 3, the grammar of the language.
//
// Recursive descent over the commands of one statement; brackets are matched already, so what
// stands in one is a row of its own. Every step takes what it understands from the front of its
// row and moves the cursor behind it; null means an error that has been reported. The order in
// which forms are tried: statements with a keyword and definitions, assignment, `?:` and `??`,
// binary operators, prefixes, and behind an operand its calls, members and indices.
//
// One compile on one thread.

#include <cstddef>
#include <vector>

#include "frontend/syntax/ast.h"
#include "frontend/syntax/nesting.h"
#include "frontend/syntax/syntax_report.h"

#define TVR_MAX_DEFINE_EXPANSION_DEPTH 64

// Nested definitions could grow without end: each may use others several times.
inline constexpr size_t tvr_max_define_tokens = 1000000;

class tvr_ast_parser {
public:
    tvr_ast_parser(tvr_ast& ast, tvr_syntax_report& report);

    // Fills the tree's roots. False after an error, which has been reported.
    bool stage_3_create_ast();

private:
    using code = tvr_token_code;

    // A stretch of tokens that is being read, and the next command in it: the bracket that opens
    // here or further on, or a body. Always stands on a token, never on a line end.
    struct cursor {
        bool done() const { return at >= end; }
        // Of the token here; end_of_file behind the last.
        code here() const { return at < end ? at->code : code::end_of_file; }
        // Of the token behind this one, or behind the bracket that opens here.
        code following() const;
        // For reports; behind the last: the last token of the stretch.
        const tvr_src_token* token() const { return at < end ? at : last; }
        // The word or symbol here.
        const tvr_src_token* take() {
            const tvr_src_token* taken = at;
            skip_to(at + 1);
            return taken;
        }
        // The bracket that opens here, or the body that stands here.
        const tvr_src_command& take_command() {
            const tvr_src_command& taken = *next;
            if (!taken.is_empty()) skip_to(taken.end + 1);
            next += taken.span;
            return taken;
        }
        void skip_to(const tvr_src_token* to);

        const tvr_src_token* at;
        const tvr_src_token* end;  // behind the last
        const tvr_src_token* last;
        const tvr_src_command* next;
    };
    static cursor inside_statement(const tvr_src_command& statement);
    static cursor inside_bracket(const tvr_src_command& bracket);

    // What stands in front of a definition's name or parenthesis.
    struct definition_head {
        const tvr_src_token* start;
        tvr_ast_list<tvr_ast_word> keywords;
        tvr_ast_word type;
        const tvr_src_token* name;
    };

    // Statements (parse_statement.cpp).
    tvr_ast_node* stage_3_parse_cmd(const tvr_src_command& statement);
    tvr_ast_node* stage_3_check_structured(cursor& row, bool& matched);
    tvr_ast_node* parse_expression_statement(cursor& row);
    tvr_ast_node* parse_commands(cursor& row);
    tvr_ast_node_sub_block* parse_block(const tvr_src_command& curly);
    tvr_ast_node_sub_block* parse_body(cursor& row);
    bool parse_statements(const tvr_src_command& curly, tvr_ast_list<tvr_ast_node*>& into);
    tvr_ast_node* parse_conditions(cursor& row);
    tvr_ast_node* parse_condition(const tvr_src_command& round);
    tvr_ast_node* parse_loop(cursor& row);
    bool parse_loop_head(const tvr_src_command& round, tvr_ast_node_loop& loop);
    tvr_ast_node* parse_try(cursor& row);
    tvr_ast_node* parse_return(cursor& row);
    tvr_ast_node* parse_jump(cursor& row);
    tvr_ast_node* parse_using(cursor& row);

    // Definitions (parse_definition.cpp).
    tvr_ast_node* parse_leading_words(cursor& row, bool& matched);
    tvr_ast_node* parse_def(cursor& row, definition_head head);
    tvr_ast_node* parse_typed_function(cursor& row, definition_head head);
    tvr_ast_node_function_def* parse_function(cursor& row, const definition_head& head);
    tvr_ast_node* parse_class(cursor& row, const definition_head& head);
    bool parse_class_head(cursor& row, const tvr_src_token* keyword, tvr_ast_node_class_def& node);
    bool parse_params(const tvr_src_command& round, tvr_ast_node_function_def& function);
    tvr_ast_node_function_def_param* parse_param(cursor& row, const tvr_src_command& round);
    bool parse_param_words(cursor& row, const tvr_src_command& round,
                           tvr_ast_node_function_def_param& param);
    bool is_lambda(const cursor& row) const;
    tvr_ast_node* parse_lambda(cursor& row);
    tvr_ast_node* parse_def_lambda(cursor& row);
    tvr_ast_word take_word(cursor& row);
    static bool begins_generic(const cursor& row);     // list<T> or map<T>
    static bool begins_typed_name(const cursor& row);  // a name behind it
    bool check_type(const tvr_ast_word& type);
    bool is_known_class(std::string_view name);

    // Expressions (parse_expression.cpp).
    tvr_ast_node* stage_3_check_assign(cursor& row);
    tvr_ast_node* parse_assignment(cursor& row, tvr_ast_node* target, size_t keywords_mark);
    bool check_keywords(const tvr_src_token* op, const tvr_ast_node* target, size_t keywords_mark);
    tvr_ast_node* declare(tvr_ast_node* target, size_t keywords_mark);
    void take_keywords(cursor& row);
    tvr_ast_node* parse_choice(cursor& row);
    tvr_ast_node* parse_coalesce(cursor& row, tvr_ast_node* left);
    tvr_ast_node* parse_ternary(cursor& row, tvr_ast_node* condition);
    tvr_ast_node* stage_3_check_binary_ops(cursor& row, int weakest);
    tvr_ast_node* parse_unary(cursor& row);
    tvr_ast_node* parse_prefix(cursor& row);
    bool has_operand(const cursor& row, const tvr_src_token* op);
    tvr_ast_node* make_binary(const tvr_src_token* op, tvr_ast_node* left, tvr_ast_node* right);

    // Operands (parse_operand.cpp).
    tvr_ast_node* parse_operand(cursor& row);
    tvr_ast_node* parse_word(cursor& row);
    tvr_ast_node* parse_reserved_word(cursor& row);
    tvr_ast_node* refuse_symbol(const cursor& row);
    tvr_ast_node* parse_parentheses(cursor& row);
    tvr_ast_node* parse_number(const tvr_src_token* token);
    tvr_ast_node* parse_float(const tvr_src_token* token);
    tvr_ast_node* parse_string(const tvr_src_token* token);
    std::string_view string_value(const tvr_src_token* token);
    tvr_ast_node* parse_list(cursor& row);
    tvr_ast_node* parse_list_element(cursor& row);
    tvr_ast_node* parse_define(const tvr_src_token* use, const tvr_src_definition& definition);
    bool may_expand(const tvr_src_token* use, const tvr_src_definition& definition);
    cursor expand(const tvr_src_token* use, const tvr_src_definition& definition);

    // Behind an operand (parse_postfix.cpp).
    tvr_ast_node* stage_3_check_json(cursor& row, tvr_ast_node* left);
    tvr_ast_node* parse_member(cursor& row, tvr_ast_node* left);
    tvr_ast_node* parse_index(cursor& row, tvr_ast_node* left);
    tvr_ast_node* parse_call(cursor& row, tvr_ast_node* left);
    bool parse_call_params(const tvr_src_command& round,
                           tvr_ast_list<tvr_ast_node_function_call_param*>& into);
    tvr_ast_node* parse_call_param(cursor& row);
    static bool is_launch(const cursor& row);
    tvr_ast_node* parse_launch(cursor& row);
    const tvr_src_token* renamed(const tvr_src_token& token, std::string_view text);
    tvr_ast_node* make_launch(tvr_ast_node* kernel, const tvr_src_token* method,
                              tvr_ast_node* domain,
                              tvr_ast_list<tvr_ast_node_function_call_param*> args);

    // The same of names only.
    tvr_ast_list<const tvr_src_token*> take_names(size_t mark) {
        const auto list = ast.make_list<const tvr_src_token*>(
            words.size() - mark, [&](size_t i) { return words[mark + i].word; });
        words.resize(mark);
        return list;
    }

    template <typename... T>
    std::nullptr_t fail(const tvr_src_token* token, const T&... parts) {
        report.syntax_error(token, parts...);
        return nullptr;
    }
    // The same where the result is a bool.
    template <typename... T>
    bool refuse(const tvr_src_token* token, const T&... parts) {
        report.syntax_error(token, parts...);
        return false;
    }
    std::nullptr_t fail_unexpected(const tvr_src_token* token);
    std::nullptr_t fail_nesting(const tvr_src_token* token) {
        return fail(token, TVR_NESTING_MESSAGE);
    }
    // The whole row has to be used up.
    tvr_ast_node* all_of(const cursor& row, tvr_ast_node* node) {
        return node == nullptr || row.done() ? node : fail_unexpected(row.token());
    }

    // Lists are gathered at the ends of two vectors and moved into the tree when complete.
    template <typename T>
    tvr_ast_list<T> take_nodes(size_t mark) {
        const auto list = ast.make_list<T>(
            nodes.size() - mark, [&](size_t i) { return static_cast<T>(nodes[mark + i]); });
        nodes.resize(mark);
        return list;
    }
    tvr_ast_list<tvr_ast_word> take_words(size_t mark) {
        const auto list = ast.make_list<tvr_ast_word>(words.size() - mark,
                                                      [&](size_t i) { return words[mark + i]; });
        words.resize(mark);
        return list;
    }

    tvr_ast& ast;
    tvr_syntax_report& report;
    std::vector<tvr_ast_node*> nodes;
    std::vector<tvr_ast_word> words;
    std::vector<const tvr_src_definition*> expanding;
    std::vector<std::string_view> classes;  // of the unit; filled at first need
    size_t expanded_tokens = 0;
    uint32_t depth = 0;
    uint32_t loops = 0;  // around the statement, inside its function
    bool knows_classes = false;
    bool imports_classes = false;
};
