#include "frontend/syntax/lexer.h"

#include "base/clock.h"
#include "frontend/syntax/ast_parser.h"
#include "frontend/syntax/source_files.h"
#include "frontend/syntax/stage_2.h"
#include "frontend/syntax/tokenizer.h"
#include "runtime/filesys/filesys.h"
#include "runtime/log/log.h"

namespace {

class stopwatch {
public:
    double milliseconds() const { return (tvr_now_s() - start) * 1000; }

private:
    double start = tvr_now_s();
};

}  // namespace

std::unique_ptr<tvr_ast> tvr_lexer::load_file(const std::string& path) {
    std::string text;
    if (!tvr_filesys_local().read(path, text)) {
        tvr_log().err("Cannot find script file ", path);
        return nullptr;
    }
    return load_source(std::move(text), path);
}

std::unique_ptr<tvr_ast> tvr_lexer::load_source(std::string text, const std::string& path) {
    tvr_log_base& log = tvr_log();
    log.log("Loading ", path);
    const stopwatch since_start;
    std::shared_ptr<tvr_src_token_view> tokens = stage_1(std::move(text), path);
    if (tokens == nullptr) {
        log.err("token_map creation failed after ", since_start.milliseconds(), " ms");
        return nullptr;
    }
    const size_t lines = tokens->line_starts.size();
    std::unique_ptr<tvr_src_command_view> commands = stage_2(std::move(tokens));
    if (commands == nullptr) {
        log.err("command_map creation failed after ", since_start.milliseconds(), " ms");
        return nullptr;
    }
    log.log("Read ", lines, " lines in ", since_start.milliseconds(), " milliseconds.");
    const stopwatch since_commands;
    std::unique_ptr<tvr_ast> ast = stage_3(std::move(commands));
    if (ast == nullptr)
        log.err("AST creation failed after ", since_commands.milliseconds(), " ms");
    else
        log.log("AST creation took ", since_commands.milliseconds(), " ms");
    return ast;
}

std::shared_ptr<tvr_src_token_view> tvr_lexer::stage_1(std::string text, const std::string& path) {
    auto view = std::make_shared<tvr_src_token_view>();
    view->path = path;
    view->directory = tvr_folder_of(path);
    view->source = std::move(text);
    included_paths.insert(tvr_unique_path(path));
    const bool ok = stage_1_process(*view) && stage_1_includes(*view) &&
                    (include_depth > 0 || place_declarations(*view));
    if (ok) return view;
    tvr_log().err("stage_1 failed.");
    return nullptr;
}

std::unique_ptr<tvr_src_command_view> tvr_lexer::stage_2(
    std::shared_ptr<const tvr_src_token_view> view) {
    auto commands = std::make_unique<tvr_src_command_view>();
    constexpr size_t usual_command_tokens = 3;
    commands->commands.reserve(view->tokens.size() / usual_command_tokens + 16);
    tvr_stage_2 stage(*commands, commands->commands, report);
    if (!stage.stage_2_top_level(view->tokens.data())) return nullptr;
    commands->tokens = std::move(view);
    return commands;
}

std::unique_ptr<tvr_ast> tvr_lexer::stage_3(std::unique_ptr<tvr_src_command_view> view) {
    auto ast = std::make_unique<tvr_ast>(std::move(view));
    tvr_ast_parser parser(*ast, report);
    return parser.stage_3_create_ast() ? std::move(ast) : nullptr;
}

std::string tvr_lexer::find_source(const std::string& name) {
    std::string found = resolve_source_file(name);
    if (found.empty()) tvr_log().err("Cannot find script file ", name);
    return found;
}

void tvr_lexer::print_tokens(const tvr_large_vector<tvr_src_token>& tokens) {
    std::string text = "Processed tokens:\n";
    for (const tvr_src_token& token : tokens) {
        const std::string_view shown =
            token.is(tvr_token_code::line_end) ? "(line end)" : token.text();
        text +=
            tvr_join(token.line, ":", token.column, " ", int32_t(token.kind()), " ", shown, "\n");
    }
    tvr_log().debugmsg(text);
}
