#include <algorithm>
#include <utility>

#include "frontend/syntax/ast_parser.h"

namespace {

using code = tvr_token_code;

bool is_class_word(code word) {
    return word == code::word_class || word == code::word_struct || word == code::word_interface;
}

}  // namespace

bool tvr_ast_parser::begins_generic(const cursor& row) {
    if (row.here() != code::word_list && row.here() != code::word_map) return false;
    constexpr ptrdiff_t length = 4;  // list < T >, on one line
    return row.end - row.at >= length && row.at[1].is(code::less) && tvr_is_name(row.at[2].code) &&
           row.at[3].is(code::greater);
}

bool tvr_ast_parser::begins_typed_name(const cursor& row) {
    if (!begins_generic(row)) return false;
    cursor look = row;
    look.skip_to(row.at + 4);
    return tvr_is_name(look.here());
}

tvr_ast_word tvr_ast_parser::take_word(cursor& row) {
    const bool generic = begins_generic(row);
    tvr_ast_word word{row.take(), nullptr};
    if (generic) {
        row.take();
        word.element = row.take();
        row.take();
    }
    return word;
}

// Definitions, with the words in front of them: `private int f() { }`, `def f() { }`,
// `class A { }`. Does not match what turns out to be an expression.
tvr_ast_node* tvr_ast_parser::parse_leading_words(cursor& row, bool& matched) {
    const code first = row.here();
    matched = first == code::word_def || is_class_word(first) ||
              (tvr_is_name(first) && (tvr_is_name(row.following()) || begins_typed_name(row)));
    if (!matched) return nullptr;
    if (first == code::word_cstruct) return fail(row.token(), "implement cstructs!");
    const size_t mark = words.size();
    cursor look = row;
    while (tvr_is_name(look.here()) && look.here() != code::word_def &&
           !is_class_word(look.here()) && look.here() != code::word_noexcept)
        words.push_back(take_word(look));
    definition_head head{row.token(), {}, {}, nullptr};
    if (look.here() == code::word_def || is_class_word(look.here())) {
        head.keywords = take_words(mark);
        row = look;
        return look.here() == code::word_def ? parse_def(row, head) : parse_class(row, head);
    }
    const bool typed = look.here() == code::round_open && words.size() >= mark + 2;
    const bool has_type = typed && tvr_is_type_word(words[words.size() - 2].word->code);
    matched = typed && (is_lambda(look) || (look.following() == code::end_of_file && has_type));
    if (matched) {
        head.name = words.back().word;
        head.type = words[words.size() - 2];
        words.resize(words.size() - 2);
        head.keywords = take_words(mark);
        row = look;
        return parse_typed_function(row, head);
    }
    words.resize(mark);
    return nullptr;
}

tvr_ast_node* tvr_ast_parser::parse_def(cursor& row, definition_head head) {
    const tvr_src_token* def = row.token();
    const code next = row.following();
    // A lambda begins an expression statement.
    if (next == code::round_open && head.keywords.empty()) return parse_commands(row);
    row.take();
    if (row.done() || next == code::round_open) return fail(def, "Missing name after 'def'.");
    if (!tvr_is_name(next) || row.following() == code::dot || tvr_is_name(row.following()))
        return fail(row.token(), "Unknown token in def.");
    head.name = row.take();
    return parse_function(row, head);
}

tvr_ast_node* tvr_ast_parser::parse_typed_function(cursor& row, definition_head head) {
    return check_type(head.type) ? parse_function(row, head) : nullptr;
}

// From the parenthesis on.
tvr_ast_node_function_def* tvr_ast_parser::parse_function(cursor& row,
                                                          const definition_head& head) {
    if (head.name != nullptr && tvr_is_reserved_word(head.name->code))
        return fail(head.name, "Cannot define a function named '", head.name->text(), "'.");
    if (row.here() != code::round_open) return fail(row.token(), "Invalid arguments");
    auto* function = ast.make<tvr_ast_node_function_def>(head.start);
    function->name = head.name;
    function->lambda = head.name == nullptr;
    function->return_type = head.type;
    function->keywords = head.keywords;
    const tvr_src_command& round = row.take_command();
    if (!parse_params(round, *function)) return nullptr;
    if (row.here() == code::word_noexcept) {
        function->no_except = true;
        row.take();
    }
    if (row.here() == code::arrow)
        return fail(row.token(), "Return type definition not supported yet");
    if (row.here() != code::curly_open)
        return fail(row.token(),
                    function->lambda ? "Cannot parse lambda." : "Cannot parse function body.");
    const tvr_src_command& curly = row.take_command();
    const uint32_t outer_loops = std::exchange(loops, 0);
    function->body = parse_block(curly);
    loops = outer_loops;
    return function->body != nullptr ? function : nullptr;
}

// A parenthesis with a body behind it.
bool tvr_ast_parser::is_lambda(const cursor& row) const {
    cursor look = row;
    look.take_command();
    if (look.here() == code::arrow) {  // a return type, which is refused later
        look.take();
        return look.following() == code::curly_open;
    }
    return look.here() == code::curly_open ||
           (look.here() == code::word_noexcept && look.following() == code::curly_open);
}

tvr_ast_node* tvr_ast_parser::parse_lambda(cursor& row) {
    const tvr_nesting_level level(depth);
    if (level.too_deep()) return fail_nesting(row.token());
    return parse_function(row, {row.token(), {}, {}, nullptr});
}

tvr_ast_node* tvr_ast_parser::parse_def_lambda(cursor& row) {
    const tvr_nesting_level level(depth);
    if (level.too_deep()) return fail_nesting(row.token());
    const tvr_src_token* def = row.take();
    if (row.here() != code::round_open) return fail(def, "Cannot parse lambda.");
    return parse_function(row, {def, {}, {}, nullptr});
}

bool tvr_ast_parser::parse_params(const tvr_src_command& round,
                                  tvr_ast_node_function_def& function) {
    const size_t mark = nodes.size();
    for (cursor row = inside_bracket(round); !row.done();) {
        tvr_ast_node* param = parse_param(row, round);
        if (param == nullptr) return false;
        nodes.push_back(param);
        if (row.done()) break;
        const tvr_src_token* separator = row.take();
        if (!separator->is(code::comma) || row.done())
            return refuse(separator, "Invalid arguments ", round.get_str());
    }
    function.params = take_nodes<tvr_ast_node_function_def_param*>(mark);
    return true;
}

// [words] [&] name [= default]
tvr_ast_node_function_def_param* tvr_ast_parser::parse_param(cursor& row,
                                                             const tvr_src_command& round) {
    auto* param = ast.make<tvr_ast_node_function_def_param>(row.token());
    if (!parse_param_words(row, round, *param)) return nullptr;
    param->name = row.take();
    if (row.here() != code::assign) return param;
    const tvr_src_token* op = row.take();
    if (row.done() || row.here() == code::comma) return fail(op, "Cannot parse default argument.");
    param->default_value = parse_choice(row);
    return param->default_value != nullptr ? param : nullptr;
}

bool tvr_ast_parser::parse_param_words(cursor& row, const tvr_src_command& round,
                                       tvr_ast_node_function_def_param& param) {
    const size_t mark = words.size();
    while (tvr_is_name(row.here()) && (tvr_is_name(row.following()) ||
                                       row.following() == code::ampersand || begins_generic(row)))
        words.push_back(take_word(row));
    if (row.here() == code::ampersand) {
        param.by_reference = true;
        row.take();
    }
    if (!tvr_is_name(row.here()) || tvr_is_reserved_word(row.here()))
        return refuse(row.token(), "Invalid arguments ", round.get_str());
    if (words.size() > mark && !tvr_is_reserved_word(words.back().word->code)) {
        param.declared = words.back();
        words.pop_back();
        if (!check_type(param.declared)) return false;
    }
    param.keywords = take_words(mark);
    return true;
}

tvr_ast_node* tvr_ast_parser::parse_class(cursor& row, const definition_head& head) {
    const tvr_src_token* keyword = row.take();
    auto* node = ast.make<tvr_ast_node_class_def>(head.start);
    node->keywords = head.keywords;
    node->is_interface = keyword->is(code::word_interface);
    if (!parse_class_head(row, keyword, *node)) return nullptr;
    const tvr_src_command& curly = row.take_command();
    const uint32_t outer_loops = std::exchange(loops, 0);
    const bool parsed = parse_statements(curly, node->members);
    loops = outer_loops;
    return parsed ? node : nullptr;
}

// Name : Base, Interface; ends on the body.
bool tvr_ast_parser::parse_class_head(cursor& row, const tvr_src_token* keyword,
                                      tvr_ast_node_class_def& node) {
    const auto refuse_head = [&](const tvr_src_token* token, const auto&... parts) {
        if (keyword->is(code::word_struct)) return refuse(token, "Unknown struct definition.");
        return refuse(token, parts...);
    };
    const auto is_plain_name = [&] {
        return tvr_is_name(row.here()) && !tvr_is_reserved_word(row.here());
    };
    if (!is_plain_name())
        return refuse_head(keyword, "Missing name after '", keyword->text(), "'.");
    node.name = row.take();
    const size_t mark = words.size();
    while (row.here() == code::colon || (words.size() > mark && row.here() == code::comma)) {
        const tvr_src_token* separator = row.take();
        if (!is_plain_name())
            return refuse_head(separator, "Missing base class name after '", separator->text(),
                               "'.");
        words.push_back({row.take(), nullptr});
    }
    node.bases = take_names(mark);
    return row.here() == code::curly_open || refuse_head(row.token(), "Cannot parse class body.");
}

// Classes of imported scripts are known to later floors only, so a unit that imports may name
// any type here.
bool tvr_ast_parser::check_type(const tvr_ast_word& type) {
    if (tvr_is_type_word(type.word->code) || is_known_class(type.word->text())) return true;
    return refuse(type.word, "Unknown type: ", type.word->text());
}

bool tvr_ast_parser::is_known_class(std::string_view name) {
    if (!knows_classes) {
        knows_classes = true;
        const tvr_src_token* previous = nullptr;
        for (const tvr_src_token& token : ast.token_view().tokens) {
            if (token.is(code::line_end)) continue;
            imports_classes = imports_classes || token.is(code::word_import);
            if (previous != nullptr && is_class_word(previous->code))
                classes.push_back(token.text());
            previous = &token;
        }
        std::sort(classes.begin(), classes.end());
    }
    return imports_classes || std::binary_search(classes.begin(), classes.end(), name);
}
