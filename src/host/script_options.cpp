#include "host/script_options.h"

#include <CLI/CLI.hpp>
#include <cstdio>

#include "runtime/filesys/filesys.h"
#include "runtime/log/log.h"

namespace host {

namespace {

void blank_shell_line(std::string& text) {
    if (!text.starts_with("#!")) return;
    const size_t end = text.find('\n');
    text.erase(0, end == std::string::npos ? text.size() : end);
}

}  // namespace

void add_path_options(CLI::App& command, script_options& asked) {
    command
        .add_option("-I", asked.search_paths,
                    "a search path for scripts, includes and packages, repeatable")
        ->allow_extra_args(false);
    command.add_flag("-v", asked.verbose, "tell what is loaded and how long it takes");
}

void add_run_options(CLI::App& command, script_options& asked) {
    add_path_options(command, asked);
    command.add_flag("-q", asked.quiet, "errors and what the script prints only")->excludes("-v");
    command.add_flag("--strict", asked.strict, "check types before the script runs");
    command.add_flag("--strict-errors", asked.strict_errors, "findings of that check are errors");
    command.add_option("--max-call-depth", asked.max_call_depth,
                       "calls inside of each other, 0 for unlimited (1000)");
    command
        .add_option_function<std::vector<std::string>>(
            "--allow",
            [&asked](const std::vector<std::string>& names) {
                asked.restricted = true;
                asked.allowed = names;
            },
            "restricted mode: these namespaces only, separated by commas")
        ->delimiter(',')
        ->allow_extra_args(false);
    command.add_option("--fps", asked.fps, "frames a second (60); 0 is as many as possible")
        ->check(CLI::NonNegativeNumber);
    command.add_option("--for", asked.for_seconds, "end after this many seconds")
        ->check(CLI::PositiveNumber);
}

tvrscript_config_default config_of(const script_options& asked, std::string name) {
    tvrscript_config_default config;
    config.name = std::move(name);
    config.max_call_depth = asked.max_call_depth;
    config.strict_mode = asked.strict || asked.strict_errors;
    config.strict_errors = asked.strict_errors;
    config.restricted_mode = asked.restricted;
    config.allowed_namespaces = asked.allowed;
    config.search_paths = asked.search_paths;
    config.args = asked.args;
    return config;
}

bool read_input(const std::string& path, std::string& text) {
    if (path != "-") return tvr_filesys_machine().read(path, text);
    text.clear();
    char buffer[64 * 1024];
    for (size_t got; (got = std::fread(buffer, 1, sizeof buffer, stdin)) > 0;)
        text.append(buffer, got);
    return std::ferror(stdin) == 0;
}

bool read_script(const std::string& path, std::string& text) {
    if (!read_input(path, text)) {
        if (path == "-")
            tvr_log().err("Cannot read standard input");
        else
            tvr_log().err("Cannot find script file ", path);
        return false;
    }
    blank_shell_line(text);
    return true;
}

std::string script_name(const std::string& path) {
    return path == "-" ? "<memory>" : path;
}

}  // namespace host
