#include "base/utf8.h"
#include "frontend/syntax/ast_parser.h"
#include "frontend/syntax/bracket.h"

tvr_ast_parser::tvr_ast_parser(tvr_ast& into, tvr_syntax_report& to) : ast(into), report(to) {}

void tvr_ast_parser::cursor::skip_to(const tvr_src_token* to) {
    at = to;
    while (at < end && at->is(code::line_end)) ++at;
}

tvr_token_code tvr_ast_parser::cursor::following() const {
    if (done()) return code::end_of_file;
    cursor look = *this;
    look.skip_to(tvr_is_open_bracket(at->code) ? next->end + 1 : at + 1);
    return look.here();
}

tvr_ast_parser::cursor tvr_ast_parser::inside_statement(const tvr_src_command& statement) {
    return {statement.start, statement.end + 1, statement.end, &statement + 1};
}

tvr_ast_parser::cursor tvr_ast_parser::inside_bracket(const tvr_src_command& bracket) {
    cursor row{bracket.start, bracket.end, bracket.end, &bracket + 1};
    row.skip_to(bracket.start + 1);
    return row;
}

bool tvr_ast_parser::stage_3_create_ast() {
    const tvr_src_command_view& view = ast.command_view();
    for (const tvr_src_command* at = view.begin(); at != view.end(); at += at->span) {
        tvr_ast_node* node = stage_3_parse_cmd(*at);
        if (node == nullptr) return false;
        nodes.push_back(node);
    }
    ast.roots = take_nodes<tvr_ast_node*>(0);
    return true;
}

std::nullptr_t tvr_ast_parser::fail_unexpected(const tvr_src_token* token) {
    constexpr size_t longest_shown = 60;
    const std::string_view shown = tvr_cut_utf8(token->text(), longest_shown);
    return fail(token, "Unexpected token '", shown, token->length > shown.size() ? "..." : "",
                "' after expression (missing operator or ';'?).");
}

tvr_ast_node* tvr_ast_parser::stage_3_parse_cmd(const tvr_src_command& statement) {
    cursor row = inside_statement(statement);
    bool matched = false;
    tvr_ast_node* node = stage_3_check_structured(row, matched);
    if (!matched) node = parse_expression_statement(row);
    return all_of(row, node);
}

// Forms that begin with a keyword, and definitions.
tvr_ast_node* tvr_ast_parser::stage_3_check_structured(cursor& row, bool& matched) {
    matched = true;
    switch (row.here()) {
    case code::word_if: return parse_conditions(row);
    case code::word_else: return fail(row.token(), "Invalid statement.");
    case code::word_for: return parse_loop(row);
    case code::word_try: return parse_try(row);
    case code::word_catch: return fail(row.token(), "catch without try.");
    case code::word_return: return parse_return(row);
    case code::word_break:
    case code::word_continue: return parse_jump(row);
    case code::word_using:
    case code::word_import: return parse_using(row);
    case code::curly_open: return parse_block(row.take_command());
    default: return parse_leading_words(row, matched);
    }
}

tvr_ast_node* tvr_ast_parser::parse_expression_statement(cursor& row) {
    if (is_launch(row)) return parse_launch(row);
    const auto& definitions = ast.command_view().definitions;
    if (row.following() == code::end_of_file && !definitions.empty()) {
        const auto found = definitions.find(row.token()->text());
        if (row.here() == code::identifier && found != definitions.end() &&
            found->second.commands.empty())
            return ast.make<tvr_ast_node_noop>(row.take());
    }
    return parse_commands(row);
}

// One expression, or several that run in sequence.
tvr_ast_node* tvr_ast_parser::parse_commands(cursor& row) {
    const tvr_src_token* start = row.token();
    tvr_ast_node* first = stage_3_check_assign(row);
    if (first == nullptr || row.here() != code::comma) return first;
    const size_t mark = nodes.size();
    nodes.push_back(first);
    while (row.here() == code::comma) {
        row.take();
        tvr_ast_node* next = stage_3_check_assign(row);
        if (next == nullptr) return nullptr;
        nodes.push_back(next);
    }
    auto* multi = ast.make<tvr_ast_node_multi_command>(start);
    multi->commands = take_nodes<tvr_ast_node*>(mark);
    return multi;
}

bool tvr_ast_parser::parse_statements(const tvr_src_command& curly,
                                      tvr_ast_list<tvr_ast_node*>& into) {
    const tvr_nesting_level level(depth);
    if (level.too_deep()) return refuse(curly.start, TVR_NESTING_MESSAGE);
    const size_t mark = nodes.size();
    const tvr_src_command* end = &curly + curly.span;
    for (const tvr_src_command* at = &curly + 1; at != end; at += at->span) {
        tvr_ast_node* statement = stage_3_parse_cmd(*at);
        if (statement == nullptr) return false;
        nodes.push_back(statement);
    }
    into = take_nodes<tvr_ast_node*>(mark);
    return true;
}

tvr_ast_node_sub_block* tvr_ast_parser::parse_block(const tvr_src_command& curly) {
    auto* block = ast.make<tvr_ast_node_sub_block>(curly.start);
    block->end = curly.end;
    return parse_statements(curly, block->statements) ? block : nullptr;
}

// The block or the one statement behind a head. An empty statement makes an empty block.
tvr_ast_node_sub_block* tvr_ast_parser::parse_body(cursor& row) {
    const tvr_src_command& body = row.take_command();
    if (body.kind == tvr_command_kind::curly) return parse_block(body);
    const tvr_nesting_level level(depth);
    if (level.too_deep()) return fail_nesting(body.start);
    auto* block = ast.make<tvr_ast_node_sub_block>(body.is_empty() ? row.token() : body.start);
    block->end = body.is_empty() ? row.token() : body.end;
    if (body.is_empty()) {
        row.take();
        return block;
    }
    if (row.here() == code::semicolon) row.take();  // of the body, no statement of its own
    tvr_ast_node* statement = stage_3_parse_cmd(body);
    if (statement == nullptr) return nullptr;
    block->statements = ast.make_list<tvr_ast_node*>(1, [&](size_t) { return statement; });
    return block;
}

tvr_ast_node* tvr_ast_parser::parse_conditions(cursor& row) {
    auto* stack = ast.make<tvr_ast_node_condition_stack>(row.token());
    const size_t mark = nodes.size();
    while (!row.done()) {
        const tvr_src_token* start = row.take();
        if (start->is(code::word_else) && row.here() != code::word_if) {
            stack->else_body = parse_body(row);
            if (stack->else_body == nullptr) return nullptr;
            break;
        }
        if (start->is(code::word_else)) row.take();
        const tvr_src_command& round = row.take_command();
        auto* condition = ast.make<tvr_ast_node_condition>(start);
        condition->condition = parse_condition(round);
        if (condition->condition == nullptr) return nullptr;
        condition->body = parse_body(row);
        if (condition->body == nullptr) return nullptr;
        nodes.push_back(condition);
    }
    stack->conditions = take_nodes<tvr_ast_node_condition*>(mark);
    return stack;
}

tvr_ast_node* tvr_ast_parser::parse_condition(const tvr_src_command& round) {
    cursor row = inside_bracket(round);
    if (row.done()) return fail(round.start, "if statement without condition");
    tvr_ast_node* condition = stage_3_check_assign(row);
    if (row.here() == code::comma || row.here() == code::semicolon)
        return fail(row.token(), "Invalid condition");
    return all_of(row, condition);
}

tvr_ast_node* tvr_ast_parser::parse_loop(cursor& row) {
    auto* loop = ast.make<tvr_ast_node_loop>(row.take());
    const tvr_src_command& round = row.take_command();
    if (!parse_loop_head(round, *loop)) return nullptr;
    ++loops;
    loop->body = parse_body(row);
    --loops;
    return loop->body != nullptr ? loop : nullptr;
}

// (condition) or (initializer; condition; increment)
bool tvr_ast_parser::parse_loop_head(const tvr_src_command& round, tvr_ast_node_loop& loop) {
    cursor row = inside_bracket(round);
    tvr_ast_node* first = nullptr;
    if (!row.done() && row.here() != code::semicolon) {
        first = parse_commands(row);
        if (first == nullptr) return false;
    }
    if (row.done()) {
        if (first == nullptr) return refuse(row.token(), "Loop needs a condition.");
        if (first->type == tvr_ast_node_type::node_multi_command)
            return refuse(row.token(), "Invalid for condition");
        loop.condition = first;
        return true;
    }
    if (row.here() != code::semicolon) return fail_unexpected(row.token()) != nullptr;
    row.take();
    loop.initializer = first;
    if (row.done() || row.here() == code::semicolon)
        return refuse(row.token(), "Loop needs a condition.");
    loop.condition = stage_3_check_assign(row);
    if (loop.condition == nullptr) return false;
    if (row.done() || row.here() == code::comma)
        return refuse(row.token(), "Invalid for condition");
    if (row.here() != code::semicolon) return fail_unexpected(row.token()) != nullptr;
    row.take();
    if (row.done()) return true;
    if (row.here() == code::semicolon) return refuse(row.token(), "Invalid for condition");
    loop.increment = parse_commands(row);
    if (loop.increment == nullptr) return false;
    if (row.here() == code::semicolon) return refuse(row.token(), "Invalid for condition");
    return all_of(row, loop.increment) != nullptr;
}

tvr_ast_node* tvr_ast_parser::parse_try(cursor& row) {
    auto* node = ast.make<tvr_ast_node_try_catch>(row.take());
    node->body = parse_body(row);
    if (node->body == nullptr) return nullptr;
    if (row.here() != code::word_catch) return fail(node->start, "Invalid try block.");
    row.take();
    const tvr_src_command& round = row.take_command();
    cursor head = inside_bracket(round);
    if (head.done()) return fail(round.start, "Invalid catch condition");
    if (head.following() != code::end_of_file || !tvr_is_name(head.here()) ||
        tvr_is_reserved_word(head.here()))
        return fail(head.token(), "Cannot parse catch condition.");
    node->variable = head.take();
    node->catch_body = parse_body(row);
    return node->catch_body != nullptr ? node : nullptr;
}

tvr_ast_node* tvr_ast_parser::parse_return(cursor& row) {
    auto* node = ast.make<tvr_ast_node_return>(row.take());
    if (row.done()) return node;
    node->value = is_launch(row) ? parse_launch(row) : stage_3_check_assign(row);
    return node->value != nullptr ? node : nullptr;
}

tvr_ast_node* tvr_ast_parser::parse_jump(cursor& row) {
    if (loops == 0) return fail(row.token(), "Invalid statement.");
    const tvr_src_token* word = row.take();
    if (word->is(code::word_break)) return ast.make<tvr_ast_node_break>(word);
    return ast.make<tvr_ast_node_continue>(word);
}

tvr_ast_node* tvr_ast_parser::parse_using(cursor& row) {
    const tvr_src_token* before = row.take();
    auto* node = ast.make<tvr_ast_node_using_namespace>(before);
    node->import = before->is(code::word_import);
    const size_t mark = words.size();
    for (;;) {
        if (!tvr_is_name(row.here()))
            return fail(before, "Missing name after '", before->text(), "'.");
        words.push_back({row.take(), nullptr});
        if (row.here() != code::dot && row.here() != code::scope) break;
        before = row.take();
    }
    node->path = take_names(mark);
    return node;
}
