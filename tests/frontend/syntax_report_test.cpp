#include "frontend/syntax/syntax_report.h"

#include "front_end.h"
#include "frontend/source/source_excerpt.h"

#include <gtest/gtest.h>

namespace {

const std::string heading = "*** Syntax Error ***\n" + std::string(60, '-') + "\n";

// The whole report of a source that does not compile.
std::string report_of(const std::string& text) {
    front_end scope;
    tvr_lexer lexer;
    EXPECT_EQ(lexer.load_source(text, "show.tvio"), nullptr);
    return scope.log.errors.empty() ? "" : scope.log.errors.front();
}

TEST(syntax_report, shows_the_place) {
    EXPECT_EQ(report_of("x = 1;\ny = foo 5;\n"),
              heading +
                  "--> show.tvio:2:9\n"
                  " | y = foo 5;\n"
                  " |         ^~~~~\n"
                  "Unexpected token '5' after expression (missing operator or ';'?).");
}

TEST(syntax_report, caret_stands_under_the_token) {
    struct row {
        const char* what;
        std::string source, excerpt;
    };
    const row rows[] = {
        {"tabs", "\tx =\t@;", "--> show.tvio:1:6\n | \tx =\t@;\n | \t   \t^~~~~\n"},
        {"umlauts", "ä = 'ü' @", "--> show.tvio:1:9\n | ä = 'ü' @\n |         ^~~~~\n"},
        {"wide characters", "日 = '本' @",
         "--> show.tvio:1:9\n | 日 = '本' @\n |           ^~~~~\n"},
        {"combining marks", "a\u0301 = @", "--> show.tvio:1:6\n | a\u0301 = @\n |     ^~~~~\n"},
        {"carriage return", "x = @\r\n", "--> show.tvio:1:5\n | x = @\n |     ^~~~~\n"},
        {"control characters", "x = '\x1B[31m' @",
         "--> show.tvio:1:13\n | x = '?[31m' @\n |             ^~~~~\n"},
        {"broken bytes", "x = '\xFF' @", "--> show.tvio:1:9\n | x = '?' @\n |         ^~~~~\n"},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        const std::string report = report_of(r.source);
        ASSERT_GE(report.size(), heading.size());
        EXPECT_EQ(report.substr(heading.size(), r.excerpt.size()), r.excerpt);
    }
}

TEST(syntax_report, cuts_long_lines_around_the_caret) {
    const std::string many(1000, 'x');
    const std::string middle = tvr_join(many, " = ", many, " @ ", many, ";");
    const std::string report = report_of(middle);
    EXPECT_NE(
        report.find("\n | ..." + std::string(99, 'x') + " @ " + std::string(98, 'x') + "...\n"),
        std::string::npos)
        << report;
    EXPECT_NE(report.find("\n | " + std::string(103, ' ') + "^~~~~\n"), std::string::npos);
    EXPECT_NE(report_of("@" + many).find(" | @" + std::string(199, 'x') + "...\n | ^~~~~\n"),
              std::string::npos);
    EXPECT_EQ(report_of(std::string(196, 'x') + " @ x").find("..."), std::string::npos);
    const std::string word(59, 'x');
    EXPECT_NE(report_of("x = 1 '" + word + "ä';").find("Unexpected token '" + word + "...' after"),
              std::string::npos);
}

TEST(syntax_report, shows_use_and_definition_of_a_define) {
    EXPECT_EQ(report_of("#define LOUD (gain foo)\n#define LOUDER LOUD + 1\nx = LOUDER;\n"),
              heading +
                  "--> show.tvio:3:5\n"
                  " | x = LOUDER;\n"
                  " |     ^~~~~\n"
                  "Unexpected token 'foo' after expression (missing operator or ';'?).\n"
                  "in a definition:\n"
                  "--> show.tvio:1:20\n"
                  " | #define LOUD (gain foo)\n"
                  " |                    ^~~~~");
}

TEST(syntax_report, says_the_first_error_only) {
    front_end scope;
    tvr_syntax_report report;
    report.syntax_error(nullptr, "first ", 1);
    report.syntax_error(nullptr, "second");
    EXPECT_EQ(report.first_error().message, "first 1");
    ASSERT_EQ(scope.log.errors.size(), 1u);
    EXPECT_EQ(scope.log.errors[0],
              heading + "While handling an error, a token without AST was passed.\nfirst 1");
}

TEST(syntax_report, warnings_let_the_compile_go_on) {
    front_end scope;
    EXPECT_EQ(scope.tree("public a.b = 1;"),
              "assign = [public]\n  json_literal .b\n    variable a\n  int 1\n");
    ASSERT_EQ(scope.log.warnings.size(), 1u);
    EXPECT_EQ(scope.log.warnings[0], "*** Info ***\n" + std::string(60, '-') +
                                         "\n--> <memory>:1:1\n | public a.b = 1;\n | ^~~~~\n"
                                         "Assign keywords ignored for non-variable expression.");
}

TEST(syntax_report, loading_tells_its_steps) {
    front_end scope;
    scope.files.texts["show.tvio"] = "x = 1;\n";
    tvr_lexer lexer;
    EXPECT_NE(lexer.load_file("show.tvio"), nullptr);
    ASSERT_EQ(scope.log.lines.size(), 3u);
    EXPECT_EQ(scope.log.lines[0], "Loading show.tvio");
    EXPECT_EQ(scope.log.lines[1].rfind("Read 2 lines in ", 0), 0u);
    EXPECT_EQ(scope.log.lines[2].rfind("AST creation took ", 0), 0u);
    EXPECT_EQ(lexer.load_file("missing.tvio"), nullptr);
    EXPECT_EQ(scope.log.errors.back(), "Cannot find script file missing.tvio");
}

TEST(syntax_report, failures_name_their_stage) {
    const std::pair<const char*, const char*> rows[] = {
        {"'", "token_map creation failed after "},
        {"(", "command_map creation failed after "},
        {"x = ;", "AST creation failed after "},
    };
    for (const auto& [source, line] : rows) {
        front_end scope;
        scope.tree(source);
        ASSERT_GE(scope.log.errors.size(), 2u);
        EXPECT_EQ(scope.log.errors.back().rfind(line, 0), 0u) << scope.log.errors.back();
    }
}

}  // namespace
