#include "frontend/strict/finding.h"

#include "frontend/syntax/syntax_report.h"
#include "runtime/log/log.h"

bool tvr_strict_findings::is_strict_code(const tvr_src_token* token) const {
    if (token == nullptr || token->view() == nullptr) return false;
    const tvr_src_token& use = tvr_place_of_use(*token);
    return use.view()->is_strict_at(use, strict_everywhere);
}

void tvr_strict_findings::print(bool as_errors) const {
    for (const tvr_strict_finding& finding : all) {
        std::string text = "[strict] " + finding.text;
        if (!as_errors) text += " (warning, an error with --strict-errors)";
        const std::string framed = tvr_syntax_report::frame("Warning", finding.token, text);
        as_errors ? tvr_log().err(framed) : tvr_log().warn(framed);
    }
}
