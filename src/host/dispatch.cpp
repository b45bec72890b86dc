#include "host/dispatch.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
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

std::string no_command(int argc, const char* const* argv) {
    const std::string hint = "; tavro --help tells which there are";
    if (argc < 2) return "A command is missing" + hint;
    return std::string(argv[1]) + " is no command" + hint;
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
        return say_usage(app.get_subcommands().empty() ? no_command(argc, argv) : wrong.what());
    }
    return chosen();
}

// What was printed by way of the C library may wait in its buffer still, and its reader be gone.
int finish_output(int status) {
    errno = 0;
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
    const std::string reason = errno == 0 ? "" : std::string(": ") + std::strerror(errno);
    return fail("Cannot write to standard output" + reason);
}

}  // namespace

int fail(const std::string& why) {
    std::fprintf(stderr, "tavro: %s\n", why.c_str());
    return exit_failed;
}

int dispatch(int argc, const char* const* argv) {
    try {
        return finish_output(parse_and_run(argc, argv));
    } catch (const std::exception& failure) {
        return fail(failure.what());
    }
}

}  // namespace host
