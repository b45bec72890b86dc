#include "host/check_command.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "frontend/syntax/lexer.h"
#include "host/command.h"
#include "host/script_log.h"
#include "runtime/script/script.h"

namespace host {

namespace {

bool print_tree(std::string text, const std::string& name, script_log& log) {
    tvr_lexer lexer;
    const auto tree = lexer.load_source(std::move(text), name);
    if (tree == nullptr) return false;
    log.on_cout(tree->print());
    return log.flush();
}

// Each file in an interpreter of its own, so that one file's packages do not help the next.
bool check_file(const check_options& asked, const std::string& path, script_log& log) {
    std::string text;
    if (!read_script(path, text)) return false;
    tvrscript script;
    tvrscript_config_default config = config_of(asked.options, path);
    config.log = &log;
    config.strict_mode = true;
    if (!script.init_minimal(config)) return false;
    if (asked.print_trees) return print_tree(std::move(text), script_name(path), log);
    return bool(script.create_program_from_source(std::move(text), script_name(path)));
}

}  // namespace

int check(const check_options& asked) {
    tvr_local().set_thread_name("main");
    script_log log(asked.options);
    bool good = true;
    for (const std::string& file : asked.files) good = check_file(asked, file, log) && good;
    return good ? exit_ok : exit_failed;
}

void add_check(CLI::App& app, command_run& chosen) {
    const auto asked = std::make_shared<check_options>();
    CLI::App* command = app.add_subcommand("check", "compile scripts and say what is wrong");
    command->add_option("FILE", asked->files, "scripts; - is standard input")->required();
    command->add_flag("--ast", asked->print_trees, "print the syntax trees, and check no more");
    command->add_flag("--strict", asked->options.strict, "check types, which is the default here");
    command->add_flag("--strict-errors", asked->options.strict_errors,
                      "findings of the type check are errors");
    add_path_options(*command, asked->options);
    command->callback([asked, &chosen] { chosen = [asked] { return check(*asked); }; });
}

}  // namespace host
