#include "frontend/syntax/stage_2.h"

#include "frontend/syntax/bracket.h"
#include "frontend/syntax/nesting.h"
#include "runtime/log/log.h"

namespace {

using code = tvr_token_code;
using position = const tvr_src_token*;

position skip_line_ends(position at) {
    while (at->is(code::line_end)) ++at;
    return at;
}

bool ends_statement(code c) {
    return tvr_is_close_bracket(c) || c == code::end_of_file;
}

}  // namespace

tvr_stage_2::tvr_stage_2(tvr_src_command_view& of, tvr_large_vector<tvr_src_command>& into,
                         tvr_syntax_report& to)
    : view(of), commands(into), report(to) {}

bool tvr_stage_2::stage_2_top_level(const tvr_src_token* first) {
    position at = skip_line_ends(first);
    while (at != nullptr && !at->is(code::end_of_file)) {
        at = tvr_is_close_bracket(at->code)
                 ? fail(at, tvr_join("Invalid closing bracket: ", at->text()))
                 : stage_2_process_statement(at);
        if (at != nullptr) at = skip_line_ends(at);
    }
    return at != nullptr || report_failure(first);
}

bool tvr_stage_2::take_replacement(const tvr_src_token* first) {
    position at = first;
    while (at != nullptr && !at->is(code::end_of_file)) at = take_in_list(at);
    return at != nullptr || report_failure(first);
}

size_t tvr_stage_2::open(tvr_command_kind kind, position start) {
    commands.push_back({start, start, 1, kind});
    return commands.size() - 1;
}

void tvr_stage_2::close(size_t index, position end) {
    commands[index].end = end;
    commands[index].span = uint32_t(commands.size() - index);
}

position tvr_stage_2::fail(position where, std::string message) {
    failed_at = where;
    failure = std::move(message);
    return nullptr;
}

position tvr_stage_2::fail_nesting(position where) {
    return fail(where, TVR_NESTING_MESSAGE);
}

// An unmatched bracket in front of the place where the walk stopped is the true reason.
bool tvr_stage_2::report_failure(position first) {
    const tvr_bracket_fault fault = find_bracket_fault(first);
    if (fault.token != nullptr && fault.token <= failed_at)
        report.syntax_error(fault.token, fault.message);
    else
        report.syntax_error(failed_at, failure);
    return false;
}

position tvr_stage_2::stage_2_process_statement(position at) {
    switch (at->code) {
    case code::hash: return stage_2_process_directive(at);
    case code::word_if:
    case code::word_else:
    case code::word_for:
    case code::word_try:
    case code::word_catch: return stage_2_process_for_if_else(at);
    default: break;
    }
    return at->is(code::semicolon) ? at + 1 : stage_2_process_generic(at);
}

// Up to a `;`, the `}` of a block that was opened in the statement, or the end of what it stands
// in.
position tvr_stage_2::stage_2_process_generic(position at) {
    const size_t index = open(tvr_command_kind::statement, at);
    position last = at;
    while (!ends_statement(at->code)) {
        if (at->is(code::semicolon)) {
            ++at;
            break;
        }
        const bool block = at->is(code::curly_open), line_end = at->is(code::line_end);
        const position behind = take_in_list(at);
        if (behind == nullptr) return nullptr;
        if (!line_end) last = behind - 1;
        at = behind;
        if (block) break;
    }
    close(index, last);
    return at;
}

// One token or bracket of an expression.
position tvr_stage_2::take_in_list(position at) {
    switch (at->code) {
    case code::round_open: return take_list(at, tvr_command_kind::round, code::round_close);
    case code::square_open: return take_list(at, tvr_command_kind::square, code::square_close);
    case code::curly_open: return take_block(at);
    case code::round_close:
    case code::square_close:
    case code::curly_close: return fail(at, tvr_join("Invalid closing bracket: ", at->text()));
    default: return at + 1;
    }
}

position tvr_stage_2::take_list(position at, tvr_command_kind kind, tvr_token_code closing) {
    const tvr_nesting_level level(depth);
    if (level.too_deep()) return fail_nesting(at);
    const size_t index = open(kind, at);
    const position opening = at++;
    while (!at->is(closing)) {
        if (at->is(code::end_of_file)) return fail(opening, "Cannot find closing bracket.");
        at = take_in_list(at);
        if (at == nullptr) return nullptr;
    }
    close(index, at);
    return at + 1;
}

position tvr_stage_2::take_block(position at) {
    const tvr_nesting_level level(depth);
    if (level.too_deep()) return fail_nesting(at);
    const size_t index = open(tvr_command_kind::curly, at);
    const position opening = at;
    at = skip_line_ends(at + 1);
    while (!at->is(code::curly_close)) {
        if (at->is(code::end_of_file)) return fail(opening, "Cannot find closing bracket.");
        if (tvr_is_close_bracket(at->code))
            return fail(at, tvr_join("Invalid closing bracket: ", at->text()));
        at = stage_2_process_statement(at);
        if (at == nullptr) return nullptr;
        at = skip_line_ends(at);
    }
    close(index, at);
    return at + 1;
}

// A whole chain of `if / else if / else`, or of `try / catch`, is one statement; the loop takes
// one head and its body a turn.
position tvr_stage_2::stage_2_process_for_if_else(position at) {
    const size_t index = open(tvr_command_kind::statement, at);
    for (;;) {
        const code word = at->code;
        position behind = take_head(at);
        if (behind != nullptr) behind = take_body(behind);
        if (behind == nullptr) return nullptr;
        const position next = skip_line_ends(behind);
        const bool goes_on = (word == code::word_if && next->is(code::word_else)) ||
                             (word == code::word_try && next->is(code::word_catch));
        // An `else if` goes on as its `if` does.
        const bool else_if = word == code::word_else && next->is(code::word_else) &&
                             skip_line_ends(at + 1)->is(code::word_if);
        if (!goes_on && !else_if) {
            close(index, behind - 1);
            return behind;
        }
        at = next;
    }
}

// The words of a head and its parenthesis; returns what stands behind.
position tvr_stage_2::take_head(position word) {
    position at = skip_line_ends(word + 1);
    if (word->is(code::word_try)) return at;
    if (word->is(code::word_else)) {
        if (!at->is(code::word_if)) return at;
        word = at;
        at = skip_line_ends(word + 1);
    }
    if (!at->is(code::round_open))
        return fail(word, tvr_join("Expected '()' after '", word->text(), "'."));
    return take_list(at, tvr_command_kind::round, code::round_close);
}

position tvr_stage_2::take_body(position at) {
    at = skip_line_ends(at);
    while (at->is(code::hash)) {
        at = stage_2_process_directive(at);
        if (at == nullptr) return nullptr;
        at = skip_line_ends(at);
    }
    if (at->is(code::curly_open)) return take_block(at);
    if (ends_statement(at->code)) return fail(at, "Expected codeblock after statement.");
    const tvr_nesting_level level(depth);
    if (level.too_deep()) return fail_nesting(at);
    if (!at->is(code::semicolon)) return stage_2_process_statement(at);
    commands.push_back({nullptr, nullptr, 1, tvr_command_kind::statement});  // an empty body
    return at + 1;
}

position tvr_stage_2::stage_2_process_directive(position at) {
    const position name = at + 2;
    if (at[1].text() != "define" || !tvr_is_name(at[1].code) || !tvr_is_name(name->code))
        return fail(at, "Invalid directive.");
    tvr_src_definition definition;
    at = take_definition_text(name + 1, definition.tokens);
    tvr_log().verbose("DEF ", name->text());
    tvr_stage_2 inside(view, definition.commands, report);
    inside.depth = depth;
    if (!inside.take_replacement(definition.tokens.data())) return nullptr;
    view.definitions[name->text()] = std::move(definition);
    return at;
}

// Copies the replacement up to the line's end; a `\` there continues it on the next line.
position tvr_stage_2::take_definition_text(position at, tvr_large_vector<tvr_src_token>& tokens) {
    while (!at->is(code::end_of_file) && !at->is(code::line_end)) {
        const bool continued = at->is(code::backslash) && at[1].is(code::line_end);
        if (continued) {
            const bool next_line = at[2].line == at->line + 1;
            at += 2;
            if (!next_line) break;
        } else {
            tokens.push_back(*at++);
        }
    }
    tvr_src_token& last = tokens.emplace_back(*at);
    last.code = code::end_of_file;
    last.set_text({});
    return at;
}
