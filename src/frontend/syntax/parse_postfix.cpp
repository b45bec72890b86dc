#include "frontend/syntax/ast_parser.h"

namespace {

bool is_number(const tvr_ast_node* node) {
    return node->type == tvr_ast_node_type::node_int || node->type == tvr_ast_node_type::node_float;
}

}  // namespace

// Members, indices, calls, `++` and `--` behind an operand, in a loop: such chains have no limit.
tvr_ast_node* tvr_ast_parser::stage_3_check_json(cursor& row, tvr_ast_node* left) {
    while (left != nullptr) {
        switch (row.here()) {
        case code::dot:
        case code::scope: left = parse_member(row, left); break;
        case code::square_open: left = parse_index(row, left); break;
        case code::round_open: left = parse_call(row, left); break;
        case code::increment:
        case code::decrement: {
            auto* node = ast.make<tvr_ast_node_unary>(left->start);
            node->op = row.take();
            node->operand = left;
            node->postfix = true;
            left = node;
            break;
        }
        default: return left;
        }
    }
    return nullptr;
}

tvr_ast_node* tvr_ast_parser::parse_member(cursor& row, tvr_ast_node* left) {
    const tvr_src_token* op = row.take();
    if (!tvr_is_name(row.here())) return fail(op, "Missing name after '", op->text(), "'.");
    auto* node = ast.make<tvr_ast_node_json_literal>(left->start);
    node->left = left;
    node->name = row.take();
    node->scoped = op->is(code::scope);
    return node;
}

tvr_ast_node* tvr_ast_parser::parse_index(cursor& row, tvr_ast_node* left) {
    const tvr_nesting_level level(depth);
    if (level.too_deep()) return fail_nesting(row.token());
    const tvr_src_command& square = row.take_command();
    if (is_number(left)) return fail(square.start, "Invalid '[]' expression.");
    cursor within = inside_bracket(square);
    if (within.done()) return fail(square.start, "No expression inside json.");
    auto* node = ast.make<tvr_ast_node_json>(left->start);
    node->left = left;
    node->index = stage_3_check_assign(within);
    if (within.here() == code::comma)
        return fail(within.token(), "Too many expressions inside bracket.");
    return all_of(within, node->index) != nullptr ? node : nullptr;
}

tvr_ast_node* tvr_ast_parser::parse_call(cursor& row, tvr_ast_node* left) {
    const tvr_nesting_level level(depth);
    if (level.too_deep()) return fail_nesting(row.token());
    if (is_lambda(row)) return fail(left->start, "Cannot parse function call or def.");
    const tvr_src_command& round = row.take_command();
    if (is_number(left) || left->type == tvr_ast_node_type::node_string)
        return fail(round.start, "Invalid function call");
    auto* node = ast.make<tvr_ast_node_function_call>(left->start);
    node->callee = left;
    return parse_call_params(round, node->params) ? node : nullptr;
}

bool tvr_ast_parser::parse_call_params(const tvr_src_command& round,
                                       tvr_ast_list<tvr_ast_node_function_call_param*>& into) {
    cursor row = inside_bracket(round);
    const size_t mark = nodes.size();
    while (!row.done()) {
        tvr_ast_node* param = parse_call_param(row);
        if (param == nullptr) return false;
        nodes.push_back(param);
        if (row.done()) break;
        if (row.here() != code::comma) return fail_unexpected(row.token()) != nullptr;
        const tvr_src_token* comma = row.take();
        if (row.done()) return refuse(comma, "Cannot parse argument.");
    }
    into = take_nodes<tvr_ast_node_function_call_param*>(mark);
    return true;
}

// A value, or name = value.
tvr_ast_node* tvr_ast_parser::parse_call_param(cursor& row) {
    auto* param = ast.make<tvr_ast_node_function_call_param>(row.token());
    if (tvr_is_name(row.here()) && row.following() == code::assign) {
        param->name = row.take();
        row.take();
    }
    if (row.done() || row.here() == code::comma) return fail(row.token(), "Cannot parse argument.");
    param->value = stage_3_check_assign(row);
    return param->value != nullptr ? param : nullptr;
}

// `launch name(` or `launch async name(`, the name perhaps a path; `launch` alone is a name.
bool tvr_ast_parser::is_launch(const cursor& row) {
    if (row.here() != code::word_launch || !tvr_is_name(row.following())) return false;
    cursor look = row;
    look.take();
    if (look.here() == code::word_async && tvr_is_name(look.following())) look.take();
    look.take();
    while (look.here() == code::dot && tvr_is_name(look.following())) {
        look.take();
        look.take();
    }
    return look.here() == code::round_open;
}

// `launch k(args) : domain` is k.launch(domain, args).
tvr_ast_node* tvr_ast_parser::parse_launch(cursor& row) {
    const tvr_src_token* method = row.take();
    if (row.here() == code::word_async && tvr_is_name(row.following()))
        method = renamed(*row.take(), "launch_async");
    std::string name(row.token()->text());
    tvr_ast_node* callee = parse_word(row);
    while (callee != nullptr && row.here() == code::dot) {
        callee = parse_member(row, callee);
        if (callee != nullptr)
            name += tvr_join(".", callee->as<tvr_ast_node_json_literal>().name->text());
    }
    if (callee == nullptr) return nullptr;
    const tvr_src_command& round = row.take_command();
    tvr_ast_list<tvr_ast_node_function_call_param*> args;
    if (!parse_call_params(round, args)) return nullptr;
    if (row.here() != code::colon)
        return fail(row.token(), "Kernel error: launch needs a domain: 'launch ", name,
                    "(...) : count;'");
    const tvr_src_token* colon = row.take();
    if (row.done()) return fail(colon, "Kernel error: launch needs a domain after ':'");
    tvr_ast_node* domain = parse_choice(row);
    if (domain == nullptr) return nullptr;
    if (row.done()) return make_launch(callee, method, domain, args);
    return fail(row.token(), "Kernel error: unexpected '", row.token()->text(),
                "' after the domain");
}

// A token of another text in the place of one.
const tvr_src_token* tvr_ast_parser::renamed(const tvr_src_token& token, std::string_view text) {
    auto* made = ast.make_array<tvr_src_token>(1);
    *made = token;
    made->code = code::identifier;
    made->set_text(ast.keep_text(text));
    return made;
}

tvr_ast_node* tvr_ast_parser::make_launch(tvr_ast_node* kernel, const tvr_src_token* method,
                                          tvr_ast_node* domain,
                                          tvr_ast_list<tvr_ast_node_function_call_param*> args) {
    auto* member = ast.make<tvr_ast_node_json_literal>(kernel->start);
    member->left = kernel;
    member->name = method;
    auto* first = ast.make<tvr_ast_node_function_call_param>(domain->start);
    first->value = domain;
    auto* node = ast.make<tvr_ast_node_function_call>(kernel->start);
    node->callee = member;
    node->params = ast.make_list<tvr_ast_node_function_call_param*>(
        args.size() + 1, [&](size_t i) { return i == 0 ? first : args[i - 1]; });
    return node;
}
