#include "frontend/syntax/syntax_report.h"

#include "frontend/source/source_excerpt.h"
#include "frontend/source/token_view.h"
#include "runtime/log/log.h"

namespace {

constexpr size_t rule_dashes = 60;

bool has_place(const tvr_src_token* token) {
    return token != nullptr && token->view() != nullptr;
}

std::string with_place(const tvr_src_token& token, std::string_view message) {
    const tvr_src_token& use = tvr_place_of_use(token);
    std::string text = tvr_join(tvr_source_excerpt(use), message);
    if (&use != &token && has_place(&token) && !token.view()->made_for) {
        std::string definition = tvr_source_excerpt(token);
        definition.pop_back();  // the last line feed
        text += tvr_join("\nin a definition:\n", definition);
    }
    return text;
}

}  // namespace

std::string tvr_syntax_report::frame(std::string_view heading, const tvr_src_token* token,
                                     std::string_view message) {
    const std::string head =
        tvr_join("*** ", heading, " ***\n", std::string(rule_dashes, '-'), "\n");
    if (has_place(token)) return head + with_place(*token, message);
    return tvr_join(head, "While handling an error, a token without AST was passed.\n", message);
}

void tvr_syntax_report::print_error(const tvr_src_token* token, std::string message) {
    has_failed = true;
    tvr_log().err(frame("Syntax Error", token, message));
    error.message = std::move(message);
    if (!has_place(token)) return;
    const tvr_src_token& use = tvr_place_of_use(*token);
    error.path = use.view()->path;
    error.line = use.line;
    error.column = use.column;
}

void tvr_syntax_report::print_warning(std::string_view heading, const tvr_src_token* token,
                                      std::string_view message) {
    tvr_log().warn(frame(heading, token, message));
}
