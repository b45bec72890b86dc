#include "front_end.h"
#include "frontend/syntax/source_files.h"

#include <filesystem>

#include <gtest/gtest.h>

namespace {

class include_test : public testing::Test {
protected:
    std::string load(const std::string& path) {
        tvr_lexer lexer;
        ast = lexer.load_file(path);
        const tvr_syntax_finding& error = lexer.report.first_error();
        if (ast != nullptr) return ast->print();
        return tvr_join(error.message, " ", error.path, ":", error.line, ":", error.column);
    }

    front_end scope;
    std::map<std::string, std::string>& files = scope.files.texts;
    std::unique_ptr<tvr_ast> ast;
};

TEST_F(include_test, tokens_take_the_place_of_the_directive) {
    files["main.tvio"] = "a;\n#include \"lib/b\"\nc;\n";
    files["lib/b.tvio"] = "b1;\n#include \"d.tvio\";\nb2;";
    files["lib/d.tvio"] = "d;";
    EXPECT_EQ(load("main.tvio"), "variable a\nvariable b1\nvariable d\nvariable b2\nvariable c\n");
    EXPECT_EQ(scope.log.lines[1], "Include file: lib/b.tvio");
    ASSERT_NE(ast, nullptr);
    const tvr_src_token* token = ast->roots[2]->get_start_token();
    EXPECT_EQ(token->view()->path, "lib/d.tvio");
    EXPECT_EQ(token->line, 1u);
}

TEST_F(include_test, search_order) {
    files["a/main.tvio"] = "#include name\n";
    files["search/name.tvio"] = "found_by_search;";
    scope.files.search_paths = {"search"};
    EXPECT_EQ(load("a/main.tvio"), "variable found_by_search\n");
    files["name.tvio"] = "found_as_it_stands;";
    EXPECT_EQ(load("a/main.tvio"), "variable found_as_it_stands\n");
    files["a/name.tvio"] = "found_beside;";
    EXPECT_EQ(load("a/main.tvio"), "variable found_beside\n");
}

TEST_F(include_test, each_file_once) {
    files["main.tvio"] = "#include \"b\"\n#include \"./b.tvio\"\n#include \"main\"\nx;";
    files["b.tvio"] = "#include \"b\"\nb;";
    EXPECT_EQ(load("main.tvio"), "variable b\nvariable x\n");
    EXPECT_EQ(scope.log.details.size(), 3u);
    EXPECT_EQ(scope.log.details[0], "Skipping include (again): b.tvio");
}

TEST_F(include_test, empty_file_is_said) {
    files["main.tvio"] = "#include \"b\"\nx;";
    files["b.tvio"] = "";
    EXPECT_EQ(load("main.tvio"), "variable x\n");
    EXPECT_EQ(scope.log.warnings, std::vector<std::string>{"Empty include file: b.tvio"});
}

TEST_F(include_test, errors_and_their_places) {
    struct row {
        const char* main;
        const char* included;
        const char* error;
    };
    const row rows[] = {
        {"#include \"none\"\n", "", "File not found: none main.tvio:1:10"},
        {"\n  #include 5", "", "invalid include directive main.tvio:2:3"},
        {"#include", "", "invalid include directive main.tvio:1:1"},
        {"#include b c", "", "invalid include directive main.tvio:1:1"},
        {"#import b", "", "Invalid directive. main.tvio:1:1"},
        {"#include b", "x = 'a\n", "unterminated string b.tvio:1:5"},
        {"#include b", "\nx = ;", "Cannot parse right side of assignment. b.tvio:2:3"},
    };
    for (const row& r : rows) {
        files = {{"main.tvio", r.main}, {"b.tvio", r.included}};
        EXPECT_EQ(load("main.tvio"), r.error);
    }
}

TEST_F(include_test, failure_in_a_file_is_told_by_the_file) {
    files = {{"main.tvio", "#include b"}, {"b.tvio", "'"}};
    load("main.tvio");
    const std::vector<std::string> said(scope.log.errors.begin() + 1, scope.log.errors.end() - 1);
    EXPECT_EQ(said,
              (std::vector<std::string>{"stage_1 failed.", "Failed to lex include file: b.tvio",
                                        "stage_1 failed."}));
}

TEST_F(include_test, a_chain_of_files_ends) {
    for (int i = 0; i < 70; ++i)
        files[tvr_join("f", i, ".tvio")] = tvr_join("#include \"f", i + 1, "\"\n");
    EXPECT_EQ(load("f0.tvio"), "Includes are nested too deeply (limit 64). f64.tvio:1:10");
    files["f64.tvio"] = "x;";
    EXPECT_EQ(load("f0.tvio"), "variable x\n");
}

TEST_F(include_test, place_words) {
    const std::string folder = std::filesystem::current_path().string();
    files["main.tvio"] = "a = __DIR__;\n#include \"lib/b\"\n";
    files["lib/b.tvio"] = "\nb = __DIR__; c = __LINE__;";
    EXPECT_EQ(load("main.tvio"), "assign =\n  variable a\n  string \"" + folder +
                                     "\"\nassign =\n  variable b\n  string \"" + folder +
                                     "/lib\"\nassign =\n  variable c\n  int 2\n");
    EXPECT_EQ(scope.tree("x = __DIR__;"), "assign =\n  variable x\n  string \".\"\n");
}

TEST_F(include_test, strict_marks) {
    files["main.tvio"] = "a;\n#strict\nb;\n#include \"lib\"\nc;\n#strict off\nd;\n";
    files["lib.tvio"] = "e;\n#strict on\nf;\n";
    load("main.tvio");
    ASSERT_NE(ast, nullptr);
    EXPECT_TRUE(ast->token_view().has_strict_marks());
    std::string strict;
    for (const tvr_ast_node* node : ast->roots) {
        const tvr_src_token& token = *node->get_start_token();
        strict += tvr_join(token.text(), token.view()->is_strict_at(token, false) ? "+" : "-");
    }
    EXPECT_EQ(strict, "a-b+e-f+c+d-");
    EXPECT_TRUE(ast->roots[0]->start->view()->is_strict_at(*ast->roots[0]->start, true));
    const std::pair<const char*, const char*> rows[] = {
        {"#strict maybe",
         "Invalid #strict directive, expected '#strict', '#strict on' or '#strict off'."},
        {"#strict on x", "Unexpected token after #strict directive."},
    };
    for (const auto& [source, message] : rows)
        EXPECT_EQ(scope.tree(source), std::string("error: ") + message);
    tvr_lexer lexer;
    EXPECT_FALSE(lexer.stage_1("a;", "<memory>")->has_strict_marks());
}

TEST_F(include_test, find_source_tries_endings_in_order) {
    scope.files.search_paths = {"lib"};
    const char* endings[] = {"/__init__.tvx", "/__init__.tvio", ".tvx", ".tvio", ""};
    for (const char* ending : endings) {
        const std::string path = std::string("lib/shapes") + ending;
        files[path] = ending;
        EXPECT_EQ(tvr_lexer::find_source("shapes"), path);
        std::string text;
        EXPECT_TRUE(resolve_source_text("shapes", text));
        EXPECT_EQ(text, ending);
    }
    EXPECT_EQ(tvr_lexer::find_source("nothing"), "");
    EXPECT_EQ(scope.log.errors.back(), "Cannot find script file nothing");
}

}  // namespace
