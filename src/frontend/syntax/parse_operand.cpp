#include <charconv>
#include <limits>

#include "frontend/syntax/ast_parser.h"
#include "frontend/syntax/operators.h"
#include "frontend/syntax/string_escape.h"

tvr_ast_node* tvr_ast_parser::parse_operand(cursor& row) {
    switch (row.here()) {
    case code::number: return parse_number(row.take());
    case code::string_text: return parse_string(row.take());
    case code::round_open: return is_lambda(row) ? parse_lambda(row) : parse_parentheses(row);
    case code::square_open: return parse_list(row);
    case code::curly_open: return fail(row.token(), "Cannot parse sub-block.");
    default: break;
    }
    if (tvr_is_reserved_word(row.here())) return parse_reserved_word(row);
    return tvr_is_name(row.here()) ? parse_word(row) : refuse_symbol(row);
}

tvr_ast_node* tvr_ast_parser::refuse_symbol(const cursor& row) {
    if (row.done()) return fail(row.token(), "Cannot parse expression.");
    if (tvr_is_operator(row.here()))
        return fail(row.token(), "Invalid operator '", row.token()->text(), "'.");
    const bool known = row.here() != code::unknown_symbol && row.here() != code::backslash &&
                       row.here() != code::hash;
    return fail(row.token(), known ? "Invalid token." : "Unknown symbol.");
}

tvr_ast_node* tvr_ast_parser::parse_word(cursor& row) {
    const tvr_src_token* word = row.take();
    const auto& definitions = ast.command_view().definitions;
    if (!definitions.empty()) {
        const auto found = definitions.find(word->text());
        if (found != definitions.end()) return parse_define(word, found->second);
    }
    auto* node = ast.make<tvr_ast_node_variable>(word);
    return node;
}

tvr_ast_node* tvr_ast_parser::parse_reserved_word(cursor& row) {
    const tvr_src_token* word = row.token();
    switch (row.here()) {
    case code::word_this:
    case code::word_super:
    case code::word_True:
    case code::word_true:
    case code::word_False:
    case code::word_false:
    case code::word_None:
    case code::word_none:
    case code::word_null: return parse_word(row);
    case code::word_def: return parse_def_lambda(row);
    case code::word_new:
        return fail(word, "'new' is not supported, call the class directly: 'Name(...)'.");
    case code::word_while:
        return fail(word, "'while' is not supported, use 'for (condition) { ... }'.");
    case code::word_switch:
        return fail(word, "'switch' is not supported, use 'if / else if / else'.");
    case code::word_nil:
    case code::word_nullptr: return fail(word, "'", word->text(), "' does not exist, use 'None'.");
    default:
        if (tvr_is_assignment(row.following()))
            return fail(word, "Cannot parse left side of assignment.");
        return fail(word, "Invalid expression");
    }
}

tvr_ast_node* tvr_ast_parser::parse_parentheses(cursor& row) {
    const tvr_nesting_level level(depth);
    if (level.too_deep()) return fail_nesting(row.token());
    const tvr_src_command& round = row.take_command();
    cursor within = inside_bracket(round);
    if (within.done()) return fail(round.start, "Too few expressions inside bracket.");
    tvr_ast_node* node = stage_3_check_assign(within);
    if (within.here() == code::comma)
        return fail(within.token(), "Too many expressions inside bracket.");
    return all_of(within, node);
}

namespace {

struct number_form {
    int base = 10;
    std::string_view digits;
};

number_form form_of(std::string_view text) {
    if (text.size() > 1 && text[0] == '0') {
        switch (text[1] | 0x20) {
        case 'x': return {16, text.substr(2)};
        case 'o': return {8, text.substr(2)};
        case 'b': return {2, text.substr(2)};
        default: break;
        }
    }
    return {10, text};
}

}  // namespace

tvr_ast_node* tvr_ast_parser::parse_number(const tvr_src_token* token) {
    const auto [base, digits] = form_of(token->text());
    if (base == 10 && digits.find_first_of(".eEfF") != std::string_view::npos)
        return parse_float(token);
    uint64_t value = 0;
    const char* end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, value, base);
    if (digits.empty() || read.ptr != end)
        return fail(token, "Invalid number literal '", token->text(), "'.");
    if (read.ec != std::errc())
        return fail(token, "Integer literal '", token->text(), "' is out of range (64 bit).");
    auto* node = ast.make<tvr_ast_node_int>(token);
    node->value = int64_t(value);
    return node;
}

tvr_ast_node* tvr_ast_parser::parse_float(const tvr_src_token* token) {
    std::string_view digits = token->text();
    if (digits.ends_with('f') || digits.ends_with('F')) {
        digits.remove_suffix(1);
        if (digits.find_first_of("eE") != std::string_view::npos)  // no suffix behind an exponent
            return fail(token, "Invalid number literal '", token->text(), "'.");
    }
    double value = 0;
    const char* end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, value);
    const bool tiny = read.ec == std::errc::result_out_of_range &&
                      digits.find('-') != std::string_view::npos;  // only an exponent has a sign
    if (read.ptr != end || (read.ec != std::errc() && !tiny))
        return fail(token, "Invalid number literal '", token->text(), "'.");
    auto* node = ast.make<tvr_ast_node_float>(token);
    node->value = tiny ? 0.0 : value;
    return node;
}

tvr_ast_node* tvr_ast_parser::parse_string(const tvr_src_token* token) {
    auto* node = ast.make<tvr_ast_node_string>(token);
    node->text = string_value(token);
    return node;
}

std::string_view tvr_ast_parser::string_value(const tvr_src_token* token) {
    if (token->raw || token->text().find('\\') == std::string_view::npos) return token->text();
    return ast.keep_text(tvr_unescape_string(token->text()));
}

// [a, b], [key = value], ["key": value]; one comma may stand behind the last element.
tvr_ast_node* tvr_ast_parser::parse_list(cursor& row) {
    const tvr_nesting_level level(depth);
    if (level.too_deep()) return fail_nesting(row.token());
    const tvr_src_command& square = row.take_command();
    auto* list = ast.make<tvr_ast_node_initializer_list>(square.start);
    const size_t mark = nodes.size();
    for (cursor within = inside_bracket(square); !within.done();) {
        tvr_ast_node* element = parse_list_element(within);
        if (element == nullptr) return nullptr;
        nodes.push_back(element);
        if (within.here() == code::comma)
            within.take();
        else if (!within.done())
            return fail_unexpected(within.token());
    }
    list->elements = take_nodes<tvr_ast_node_initializer_list_add*>(mark);
    return list;
}

tvr_ast_node* tvr_ast_parser::parse_list_element(cursor& row) {
    auto* element = ast.make<tvr_ast_node_initializer_list_add>(row.token());
    const bool can_be_key = tvr_is_name(row.here()) || row.here() == code::string_text;
    if (can_be_key && (row.following() == code::assign || row.following() == code::colon)) {
        const tvr_src_token* key = row.take();
        auto* text = ast.make<tvr_ast_node_string>(key);
        text->text = key->is(code::string_text) ? string_value(key) : key->text();
        element->key = text;
        row.take();
    }
    if (row.done() || row.here() == code::comma)
        return fail(row.token(), "Cannot parse initializer list.");
    element->value = stage_3_check_assign(row);
    return element->value != nullptr ? element : nullptr;
}

// A defined word is its replacement, as one operand: with S defined as 1 + 2, S * 3 is 9.
tvr_ast_node* tvr_ast_parser::parse_define(const tvr_src_token* use,
                                           const tvr_src_definition& definition) {
    const tvr_nesting_level level(depth);
    if (level.too_deep()) return fail_nesting(use);
    if (!may_expand(use, definition)) return nullptr;
    cursor row = expand(use, definition);
    if (row.done()) return fail(use, "Invalid expression");
    expanding.push_back(&definition);
    tvr_ast_node* node = all_of(row, stage_3_check_assign(row));
    expanding.pop_back();
    return node;
}

bool tvr_ast_parser::may_expand(const tvr_src_token* use, const tvr_src_definition& definition) {
    for (const tvr_src_definition* outer : expanding) {
        if (outer == &definition) return refuse(use, "Recursive #define '", use->text(), "'.");
    }
    if (expanding.size() == TVR_MAX_DEFINE_EXPANSION_DEPTH)
        return refuse(use, "Too many nested #define expansions (limit ",
                      TVR_MAX_DEFINE_EXPANSION_DEPTH, ") while expanding '", use->text(), "'.");
    expanded_tokens += definition.tokens.size();
    if (expanded_tokens <= tvr_max_define_tokens) return true;
    return refuse(use, "Too many tokens from #define expansions (limit ", tvr_max_define_tokens,
                  ") while expanding '", use->text(), "'.");
}

// A copy of the replacement whose tokens know where they are used.
tvr_ast_parser::cursor tvr_ast_parser::expand(const tvr_src_token* use,
                                              const tvr_src_definition& definition) {
    const size_t token_count = definition.tokens.size(), count = definition.commands.size();
    auto* tokens = ast.make_array<tvr_src_token>(token_count);
    std::copy(definition.tokens.begin(), definition.tokens.end(), tokens);
    auto* origin = ast.make_array<tvr_src_origin>(1);
    *origin = {definition.tokens.front().view(), use};
    for (size_t i = 0; i < token_count; ++i) tokens[i].origin = origin;
    auto* commands = ast.make_array<tvr_src_command>(count);
    const tvr_src_token* original = definition.tokens.data();
    for (size_t i = 0; i < count; ++i) {
        commands[i] = definition.commands[i];
        commands[i].start = tokens + (commands[i].start - original);
        commands[i].end = tokens + (commands[i].end - original);
    }
    const tvr_src_token* end = tokens + token_count - 1;
    return {tokens, end, end, commands};
}
