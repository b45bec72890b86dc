#pragma once

// What the strict checker says of a text, for tests.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frontend/strict/checker.h"
#include "kernel/script/kernel_extract.h"
#include "program_maker.h"
#include "runtime/script/global.h"

class strict_findings {
public:
    strict_findings() {
        maker.script.config.strict_mode = true;
        tvr_global().init_all_modules(maker.script);
    }

    // Each finding as "line: text", a line feed behind each; a text that is none is said so.
    std::string of(std::string text, const std::string& path = "<memory>") {
        tvr_kernel_extract kernels;
        tvr_lexer lexer(&kernels);
        const auto ast = lexer.load_source(std::move(text), path);
        if (ast == nullptr) return "no tree: " + lexer.report.first_error().message + "\n";
        tvr_package_imports imports(maker.script);
        tvr_strict_checker_impl checker(maker.script, *ast, imports, kernels.unit.get());
        checker.infer();
        std::string said;
        for (const tvr_strict_finding& finding : checker.findings.found())
            said += tvr_join(finding.token->line, ": ", finding.text, "\n");
        return said;
    }

    program_maker maker;
};

struct strict_row {
    const char* source;
    const char* finding;  // its text, of a finding in line 1; empty: nothing is found
};

inline void expect_findings(const std::vector<strict_row>& rows) {
    strict_findings strict;
    for (const strict_row& row : rows) {
        SCOPED_TRACE(row.source);
        const std::string expected = *row.finding == '\0' ? "" : tvr_join("1: ", row.finding, "\n");
        EXPECT_EQ(strict.of(row.source), expected);
    }
}
