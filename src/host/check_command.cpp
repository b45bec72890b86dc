#include "host/check_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <memory>

#include "frontend/syntax/lexer.h"
#include "host/command.h"
#include "runtime/filesys/filesys.h"
#include "runtime/local/thread_local.h"
#include "runtime/log/log.h"

namespace host {

namespace {

std::vector<std::string> folders_of(const char* list) {
    std::vector<std::string> folders;
    std::string_view rest = list != nullptr ? list : "";
    while (!rest.empty()) {
        const std::string_view folder = rest.substr(0, rest.find(':'));
        if (!folder.empty()) folders.emplace_back(folder);
        rest.remove_prefix(std::min(rest.size(), folder.size() + 1));
    }
    return folders;
}

// The first line of an executable script is for the shell. Its place stays, for line numbers.
void blank_shell_line(std::string& text) {
    if (!text.starts_with("#!")) return;
    const size_t end = text.find('\n');
    text.erase(0, end == std::string::npos ? text.size() : end);
}

bool read_script(const std::string& path, std::string& text) {
    if (path == "-") {
        text.assign(std::istreambuf_iterator<char>(std::cin), {});
    } else if (!tvr_filesys_local().read(path, text)) {
        tvr_log().err("Cannot find script file ", path);
        return false;
    }
    blank_shell_line(text);
    return true;
}

bool check_file(const std::string& path, bool print_tree) {
    std::string text;
    if (!read_script(path, text)) return false;
    tvr_lexer lexer;
    const auto tree = lexer.load_source(std::move(text), path == "-" ? "<memory>" : path);
    if (tree == nullptr) return false;
    if (!print_tree) return true;
    const std::string printed = tree->print();
    if (std::fwrite(printed.data(), 1, printed.size(), stdout) == printed.size()) return true;
    tvr_log().err("Cannot write to standard output");
    return false;
}

}  // namespace

int check(const check_options& asked) {
    tvr_local().set_thread_name("main");
    tvr_log().mask = asked.verbose ? tvr_log_base::level_log | tvr_log_base::level_verbose : 0;
    std::vector<std::string> paths = asked.search_paths;
    for (const std::string& folder : folders_of(std::getenv("TAVRO_PATH"))) paths.push_back(folder);
    // Of the search paths the last one is searched first.
    tvr_filesys_local().search_paths.assign(paths.rbegin(), paths.rend());
    bool good = true;
    for (const std::string& file : asked.files) good = check_file(file, asked.print_trees) && good;
    return good ? exit_ok : exit_failed;
}

void add_check(CLI::App& app, command_run& chosen) {
    const auto asked = std::make_shared<check_options>();
    CLI::App* command = app.add_subcommand("check", "read scripts and say what is wrong in them");
    command->add_option("FILE", asked->files, "scripts; - is standard input")->required();
    command->add_flag("--ast", asked->print_trees, "print the syntax trees");
    command->add_option("-I", asked->search_paths, "a search path for includes, repeatable")
        ->allow_extra_args(false);
    command->add_flag("-v", asked->verbose, "tell what is loaded and how long it takes");
    command->callback([asked, &chosen] { chosen = [asked] { return check(*asked); }; });
}

}  // namespace host
