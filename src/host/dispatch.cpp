#include "host/dispatch.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>

#include "host/command.h"

namespace host {

namespace {

// A message of the parser may have several lines; a person at a shell is told one.
int say_usage(std::string message) {
    while (!message.empty() && message.back() == '\n') message.pop_back();
    std::replace(message.begin(), message.end(), '\n', ' ');
    std::fprintf(stderr, "tavro: %s\n", message.c_str());
    return exit_usage;
}

int parse_and_run(int argc, const char* const* argv) {
    CLI::App app{"tavro: live visuals and lighting that follow a DJ set", "tavro"};
    app.set_version_flag("--version", TAVRO_VERSION);
    app.require_subcommand(1);
    command_run chosen;
    add_run(app, chosen);
    add_eval(app, chosen);
    add_check(app, chosen);
    add_disasm(app, chosen);
    add_docs(app, chosen);
    add_repl(app, chosen);
    add_kernel(app, chosen);
    add_monitor(app, chosen);
    add_record(app, chosen);
    add_texture(app, chosen);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& wrong) {
        if (wrong.get_exit_code() == 0) return app.exit(wrong);  // help or version was asked for
        return say_usage(wrong.what());
    }
    return chosen();
}

}  // namespace

int dispatch(int argc, const char* const* argv) {
    try {
        return parse_and_run(argc, argv);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "tavro: %s\n", failure.what());
        return exit_failed;
    }
}

}  // namespace host
