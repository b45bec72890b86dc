#pragma once

// From source text to syntax tree.
//
//     text --stage 1--> tokens --stage 2--> commands --stage 3--> tree
//
// Stage 1 makes tokens, takes in the included files and sets kernel declarations aside
// (tokenizer.h, source_files.h, declarations.h). Stage 2 matches brackets and finds the statements
// (stage_2.h). Stage 3 knows the grammar (ast_parser.h). The tree (ast.h) keeps the commands, these
// keep the tokens, and these the sources, so that every node can point at its place.
//
//     tvr_lexer lexer;
//     std::unique_ptr<tvr_ast> tree = lexer.load_file("show.tvio");
//
// An error is reported once, in the log and in `report`, and the result is null. A lexer serves one
// compile unit on one thread. It reads files through tvr_filesys_local() and may block on them.

#include <memory>
#include <string>
#include <unordered_set>

#include "frontend/source/declaration_hook.h"
#include "frontend/source/token_view.h"
#include "frontend/syntax/ast.h"
#include "frontend/syntax/command.h"
#include "frontend/syntax/syntax_report.h"

inline constexpr uint32_t tvr_max_include_depth = 64;

class tvr_lexer {
public:
    // The hook takes the kernel declarations of the unit; it must outlive the lexer.
    explicit tvr_lexer(tvr_declaration_hook* takes_declarations = nullptr)
        : hook(takes_declarations) {}

    std::unique_ptr<tvr_ast> load_file(const std::string& path);
    std::unique_ptr<tvr_ast> load_source(std::string text, const std::string& path = "<memory>");

    std::shared_ptr<tvr_src_token_view> stage_1(std::string text, const std::string& path);
    std::unique_ptr<tvr_src_command_view> stage_2(std::shared_ptr<const tvr_src_token_view> view);
    std::unique_ptr<tvr_ast> stage_3(std::unique_ptr<tvr_src_command_view> view);

    // Finds a module or script file by name: as it stands, with .tvio, with .tvx, or as a folder
    // with an __init__.tvio or __init__.tvx. Empty, with an error in the log, when there is none.
    static std::string find_source(const std::string& name);

    // Prints tokens to the log, for debugging.
    static void print_tokens(const tvr_large_vector<tvr_src_token>& tokens);

    tvr_syntax_report report;

private:
    bool stage_1_process(tvr_src_token_view& view);
    bool stage_1_includes(tvr_src_token_view& view);
    bool place_declarations(tvr_src_token_view& view);
    bool take_statement(tvr_src_token_view& view, tvr_declared_statement& statement,
                        tvr_large_vector<tvr_src_token>& out);

    // Inside stage_1_includes: each takes the directive at `at` and moves behind it.
    bool take_directive(tvr_src_token_view& view, size_t& at, tvr_large_vector<tvr_src_token>& out);
    bool take_include(tvr_src_token_view& view, size_t& at, tvr_large_vector<tvr_src_token>& out);
    bool take_strict(tvr_src_token_view& view, size_t& at);
    bool include_file(tvr_src_token_view& view, const tvr_src_token& name,
                      tvr_large_vector<tvr_src_token>& out);

    tvr_declaration_hook* hook;
    std::unordered_set<std::string> included_paths;  // of the unit, the main file's too
    uint32_t include_depth = 0;
};
