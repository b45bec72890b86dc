#include "frontend/strict/finding.h"

#include "frontend/syntax/syntax_report.h"
#include "runtime/log/log.h"

void tvr_strict_findings::print(bool as_errors) const {
    for (const tvr_strict_finding& finding : all) {
        std::string text = "[strict] " + finding.text;
        if (!as_errors) text += " (warning, an error with --strict-errors)";
        const std::string framed = tvr_syntax_report::frame("Warning", finding.token, text);
        as_errors ? tvr_log().err(framed) : tvr_log().warn(framed);
    }
}
