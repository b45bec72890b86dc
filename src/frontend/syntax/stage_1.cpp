#include <algorithm>

#include "frontend/syntax/bracket.h"
#include "frontend/syntax/declarations.h"
#include "frontend/syntax/lexer.h"
#include "frontend/syntax/source_files.h"
#include "frontend/syntax/tokenizer.h"
#include "runtime/filesys/filesys.h"
#include "runtime/log/log.h"

// Stage 1 of one file: its tokens, without its kernel declarations, and with the tokens of included
// files in the places of their directives.

namespace {

using code = tvr_token_code;

// Behind the directive's last token stands the line's end.
bool ends_line(const tvr_src_token& token) {
    return token.is(code::line_end) || token.is(code::end_of_file);
}

void replace_place_word(tvr_src_token_view& view, tvr_src_token& token) {
    if (token.is(code::word___LINE__)) {
        token.set_text(view.keep_text(std::to_string(token.line)));
        token.code = code::number;
    } else if (token.is(code::word___DIR__)) {
        token.set_text(view.keep_text(tvr_absolute_folder_of(view.path)));
        token.code = code::string_text;
        token.raw = true;
    }
}

// The declarations of a whole unit in order.
struct declarations_of_unit {
    std::vector<tvr_declaration> all;
    const tvr_src_token* nested;  // the first that an #include brought into a block, or null
};

// The declaration that stood where this token marks its place. A file's are in the order of its
// text.
const tvr_declaration& declaration_at(const tvr_src_token& place) {
    return *std::ranges::lower_bound(
        place.view()->declarations, place.begin, {},
        [](const tvr_declaration& declaration) { return declaration.text.data(); });
}

declarations_of_unit collect_declarations(const tvr_src_token_view& unit) {
    declarations_of_unit found{};
    size_t depth = 0;
    for (const tvr_src_token& token : unit.tokens) {
        if (tvr_is_open_bracket(token.code)) ++depth;
        if (tvr_is_close_bracket(token.code) && depth > 0) --depth;
        if (!tvr_is_declaration_place(token)) continue;
        if (depth > 0 && found.nested == nullptr) found.nested = &token;
        found.all.push_back(declaration_at(token));
    }
    return found;
}

bool any_declarations(const tvr_src_token_view& view) {
    if (!view.declarations.empty()) return true;
    for (const auto& included : view.included)
        if (any_declarations(*included)) return true;
    return false;
}

}  // namespace

bool tvr_lexer::stage_1_process(tvr_src_token_view& view) {
    return tvr_tokenizer(view, report).run() && tvr_cut_declarations(view, report);
}

bool tvr_lexer::stage_1_includes(tvr_src_token_view& view) {
    if (view.has_place_words)
        for (tvr_src_token& token : view.tokens) replace_place_word(view, token);
    if (!view.has_directives) return true;
    tvr_large_vector<tvr_src_token> out;
    out.reserve(view.tokens.size());
    for (size_t at = 0; at < view.tokens.size();) {
        if (!view.tokens[at].is(code::hash))
            out.push_back(view.tokens[at++]);
        else if (!take_directive(view, at, out))
            return false;
    }
    view.tokens = std::move(out);
    return true;
}

bool tvr_lexer::take_directive(tvr_src_token_view& view, size_t& at,
                               tvr_large_vector<tvr_src_token>& out) {
    if (view.is_word(at + 1, "include")) return take_include(view, at, out);
    if (view.is_word(at + 1, "strict")) return take_strict(view, at);
    if (view.is_word(at + 1, "define")) {  // stage 2 reads it
        out.push_back(view.tokens[at++]);
        return true;
    }
    report.syntax_error(&view.tokens[at], "Invalid directive.");
    return false;
}

// A `;` behind the file's name is forgiven: it is an empty statement.
bool tvr_lexer::take_include(tvr_src_token_view& view, size_t& at,
                             tvr_large_vector<tvr_src_token>& out) {
    const tvr_src_token& name = view.get_token(at + 2);
    const tvr_src_token& behind = view.get_token(at + 3);
    const bool named = name.is(code::string_text) || tvr_is_name(name.code);
    if (!named || !(ends_line(behind) || behind.is(code::semicolon))) {
        report.syntax_error(&view.tokens[at], "invalid include directive");
        return false;
    }
    at += 3;
    return include_file(view, name, out);
}

bool tvr_lexer::include_file(tvr_src_token_view& view, const tvr_src_token& name,
                             tvr_large_vector<tvr_src_token>& out) {
    const std::string path = tvr_find_include(view.directory, std::string(name.text()));
    std::string text;
    if (path.empty() || !tvr_filesys_local().read(path, text)) {
        report.syntax_error(&name, "File not found: ", name.text());
        return false;
    }
    if (included_paths.count(tvr_unique_path(path)) > 0) {
        tvr_log().verbose("Skipping include (again): ", path);
        return true;
    }
    if (include_depth == tvr_max_include_depth) {
        report.syntax_error(&name, "Includes are nested too deeply (limit ", tvr_max_include_depth,
                            ").");
        return false;
    }
    tvr_log().log("Include file: ", path);
    if (text.empty()) tvr_log().warn("Empty include file: ", path);
    ++include_depth;
    std::shared_ptr<tvr_src_token_view> file = stage_1(std::move(text), path);
    --include_depth;
    if (file == nullptr) {
        tvr_log().err("Failed to lex include file: ", path);
        return false;
    }
    out.insert(out.end(), file->tokens.begin(), file->tokens.end() - 1);  // but the end of file
    file->tokens = {};
    view.included.push_back(std::move(file));
    return true;
}

bool tvr_lexer::take_strict(tvr_src_token_view& view, size_t& at) {
    const tvr_src_token& start = view.tokens[at];
    at += 2;
    bool on = true;
    if (!ends_line(view.get_token(at))) {
        on = view.is_word(at, "on");
        if (!on && !view.is_word(at, "off")) {
            report.syntax_error(
                &view.get_token(at),
                "Invalid #strict directive, expected '#strict', '#strict on' or '#strict off'.");
            return false;
        }
        ++at;
    }
    if (!ends_line(view.get_token(at))) {
        report.syntax_error(&view.get_token(at), "Unexpected token after #strict directive.");
        return false;
    }
    view.strict_marks.push_back({start.line, start.column, on});
    return true;
}

// Puts the statements that the hook gives for the unit's kernel declarations in front of all
// others: a function can name kernels that are declared below it.
bool tvr_lexer::place_declarations(tvr_src_token_view& view) {
    if (!any_declarations(view)) return true;
    const declarations_of_unit found = collect_declarations(view);
    if (found.nested != nullptr) return tvr_refuse_nested_declaration(*found.nested, report);
    if (hook == nullptr) return true;
    std::vector<tvr_declared_statement> statements;
    std::string error;
    const tvr_src_token* place = nullptr;
    hook->take(found.all, statements, error, place);
    if (!error.empty()) {
        report.syntax_error(place != nullptr ? place : &found.all.front().start, error);
        return false;
    }
    tvr_large_vector<tvr_src_token> made;
    for (tvr_declared_statement& statement : statements)
        if (!take_statement(view, statement, made)) return false;
    view.tokens.insert(view.tokens.begin(), made.begin(), made.end());
    return true;
}

// Its tokens are reported at the declaration.
bool tvr_lexer::take_statement(tvr_src_token_view& view, tvr_declared_statement& statement,
                               tvr_large_vector<tvr_src_token>& out) {
    auto made = std::make_shared<tvr_src_token_view>();
    made->path = view.path;
    made->source = std::move(statement.text);
    made->made_for = *statement.place;
    made->origin.macro_origin = &*made->made_for;
    if (!tvr_tokenizer(*made, report).run()) return false;
    out.insert(out.end(), made->tokens.begin(), made->tokens.end() - 1);  // but the end of file
    made->tokens = {};
    view.included.push_back(std::move(made));
    return true;
}
