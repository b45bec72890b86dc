#include "frontend/syntax/ast_parser.h"
#include "frontend/syntax/operators.h"

namespace {

// Words that may stand in front of the target of an assignment; the builder judges them.
bool can_be_keyword(tvr_token_code word) {
    if (!tvr_is_reserved_word(word)) return tvr_is_name(word);
    return word >= tvr_token_code::word_var && word <= tvr_token_code::word_abstract;
}

// Words that declare a variable without an assignment.
bool can_declare(const tvr_ast_word& keyword) {
    const tvr_token_code word = keyword.word->code;
    return tvr_is_type_word(word) ||
           (word >= tvr_token_code::word_var && word <= tvr_token_code::word_private);
}

bool makes_variable(const tvr_ast_word& keyword) {
    return keyword.word->code != tvr_token_code::word_public &&
           keyword.word->code != tvr_token_code::word_private;
}

// Words that cannot stand behind a keyword: there a `;` is missing.
bool begins_statement(tvr_token_code word) {
    return word >= tvr_token_code::word_if && word <= tvr_token_code::word_import;
}

bool is_separator(tvr_token_code here) {
    return here == tvr_token_code::end_of_file || here == tvr_token_code::comma ||
           here == tvr_token_code::semicolon || here == tvr_token_code::colon;
}

}  // namespace

tvr_ast_node* tvr_ast_parser::stage_3_check_assign(cursor& row) {
    if (tvr_is_assignment(row.here())) return fail(row.token(), "No value to assign to.");
    const size_t mark = words.size();
    take_keywords(row);
    tvr_ast_node* target = parse_choice(row);
    if (target == nullptr) return nullptr;
    if (tvr_is_assignment(row.here())) return parse_assignment(row, target, mark);
    return words.size() == mark ? target : declare(target, mark);
}

void tvr_ast_parser::take_keywords(cursor& row) {
    while (can_be_keyword(row.here())) {
        const code next = row.following();
        if (!(tvr_is_name(next) && !begins_statement(next)) && !begins_typed_name(row)) return;
        words.push_back(take_word(row));
    }
}

// `var x;`
tvr_ast_node* tvr_ast_parser::declare(tvr_ast_node* target, size_t mark) {
    bool declares = target->type == tvr_ast_node_type::node_variable;
    for (size_t i = mark; i < words.size(); ++i) declares = declares && can_declare(words[i]);
    if (!declares) return fail_unexpected(target->start);
    static_cast<tvr_ast_node_variable*>(target)->keywords = take_words(mark);
    return target;
}

tvr_ast_node* tvr_ast_parser::parse_assignment(cursor& row, tvr_ast_node* target, size_t mark) {
    const tvr_src_token* op = row.take();
    if (words.size() > mark && !check_keywords(op, target, mark)) return nullptr;
    if (is_separator(row.here()) || tvr_is_assignment(row.here()))
        return fail(op, "Cannot parse right side of assignment.");
    auto* node =
        ast.make<tvr_ast_node_assign>(words.size() > mark ? words[mark].word : target->start);
    node->op = op;
    node->target = target;
    node->keywords = take_words(mark);
    const tvr_nesting_level level(depth);
    if (level.too_deep()) return fail_nesting(op);
    node->value = is_launch(row) ? parse_launch(row) : stage_3_check_assign(row);
    return node->value != nullptr ? node : nullptr;
}

bool tvr_ast_parser::check_keywords(const tvr_src_token* op, const tvr_ast_node* target,
                                    size_t mark) {
    const tvr_src_token* first = words[mark].word;
    if (!op->is(code::assign))
        return refuse(first, "Cannot use assignment keywords with compound assignment.");
    if (target->type == tvr_ast_node_type::node_variable) return true;
    for (size_t i = mark; i < words.size(); ++i) {
        if (makes_variable(words[i]))
            return refuse(first, "Assign keywords are not valid for this expression.");
    }
    report.syntax_warn(first, "Assign keywords ignored for non-variable expression.");
    return true;
}

// `a ?? b`, and weakest of all `c ? a : b`.
tvr_ast_node* tvr_ast_parser::parse_choice(cursor& row) {
    tvr_ast_node* left = stage_3_check_binary_ops(row, 1);
    if (left != nullptr && row.here() == code::coalesce) left = parse_coalesce(row, left);
    if (left != nullptr && row.here() == code::question) return parse_ternary(row, left);
    return left;
}

tvr_ast_node* tvr_ast_parser::parse_coalesce(cursor& row, tvr_ast_node* left) {
    while (row.here() == code::coalesce) {
        const tvr_src_token* op = row.take();
        if (!has_operand(row, op)) return nullptr;
        const tvr_nesting_level level(depth);
        if (level.too_deep()) return fail_nesting(op);
        tvr_ast_node* right = stage_3_check_binary_ops(row, 1);
        if (right == nullptr) return nullptr;
        left = make_binary(op, left, right);
    }
    return left;
}

tvr_ast_node* tvr_ast_parser::parse_ternary(cursor& row, tvr_ast_node* condition) {
    const tvr_src_token* op = row.take();
    if (!has_operand(row, op)) return nullptr;
    const tvr_nesting_level level(depth);
    if (level.too_deep()) return fail_nesting(op);
    auto* node = ast.make<tvr_ast_node_ternary>(condition->start);
    node->condition = condition;
    node->if_true = stage_3_check_assign(row);
    if (node->if_true == nullptr) return nullptr;
    if (row.here() != code::colon) return fail(op, "Invalid operator '?'.");
    const tvr_src_token* colon = row.take();
    if (!has_operand(row, colon)) return nullptr;
    node->if_false = parse_choice(row);
    return node->if_false != nullptr ? node : nullptr;
}

// Precedence climbing: an operand, then every operator that binds at least as strongly as
// `weakest`, each with a right side of stronger operators only.
tvr_ast_node* tvr_ast_parser::stage_3_check_binary_ops(cursor& row, int weakest) {
    tvr_ast_node* left = parse_unary(row);
    while (left != nullptr) {
        const int precedence = get_binary_precedence(row.here());
        if (precedence < weakest) return left;
        const tvr_src_token* op = row.take();
        if (!has_operand(row, op)) return nullptr;
        const tvr_nesting_level level(depth);
        if (level.too_deep()) return fail_nesting(op);
        tvr_ast_node* right = stage_3_check_binary_ops(row, precedence + 1);
        left = right != nullptr ? make_binary(op, left, right) : nullptr;
    }
    return nullptr;
}

tvr_ast_node* tvr_ast_parser::make_binary(const tvr_src_token* op, tvr_ast_node* left,
                                          tvr_ast_node* right) {
    auto* node = ast.make<tvr_ast_node_binary>(left->start);
    node->op = op;
    node->left = left;
    node->right = right;
    return node;
}

// False, with the operator reported, when nothing stands behind it.
bool tvr_ast_parser::has_operand(const cursor& row, const tvr_src_token* op) {
    if (!is_separator(row.here()) && !tvr_is_assignment(row.here())) return true;
    return refuse(op, "Invalid operator '", op->text(), "'.");
}

tvr_ast_node* tvr_ast_parser::parse_unary(cursor& row) {
    if (get_unary_precedence(row.here()) > 0 || row.here() == code::tilde) return parse_prefix(row);
    tvr_ast_node* operand = parse_operand(row);
    return operand != nullptr ? stage_3_check_json(row, operand) : nullptr;
}

tvr_ast_node* tvr_ast_parser::parse_prefix(cursor& row) {
    const tvr_src_token* op = row.take();
    if (!has_operand(row, op)) return nullptr;
    const bool literal = row.here() == code::number || row.here() == code::string_text;
    if (literal && (op->is(code::star) || op->is(code::ampersand)))
        return fail(op, "Invalid operator '", op->text(), "'.");
    const tvr_nesting_level level(depth);
    if (level.too_deep()) return fail_nesting(op);
    tvr_ast_node* operand = parse_unary(row);
    if (operand == nullptr) return nullptr;
    auto* node = ast.make<tvr_ast_node_unary>(op);
    node->op = op;
    node->operand = operand;
    return node;
}
