#pragma once

// How a command joins the program: it adds its subcommand to the parser, and when the person
// asked for it, leaves what is to be run in `chosen`. Each command has a file of its own.
//
// What the commands with scripts share:
//
//   script_options.h  their options, and where files are looked for
//   script_log.h      what goes to standard output and what to standard error
//   script_runner.h   the loop around an interpreter
//   interrupter.h     signals and the end of the time

#include <functional>
#include <string>

namespace CLI {  // NOLINT(readability-identifier-naming): the parser is called so
class App;
}

namespace host {

// Exit statuses of the program.
inline constexpr int exit_ok = 0;
inline constexpr int exit_failed = 1;
inline constexpr int exit_usage = 2;

// Tells a person in one line why a command cannot go on. exit_failed.
int fail(const std::string& why);

using command_run = std::function<int()>;  // the exit status

void add_run(CLI::App& app, command_run& chosen);
void add_eval(CLI::App& app, command_run& chosen);
void add_check(CLI::App& app, command_run& chosen);
void add_disasm(CLI::App& app, command_run& chosen);
void add_docs(CLI::App& app, command_run& chosen);
void add_repl(CLI::App& app, command_run& chosen);
void add_kernel(CLI::App& app, command_run& chosen);
void add_monitor(CLI::App& app, command_run& chosen);
void add_record(CLI::App& app, command_run& chosen);
void add_texture(CLI::App& app, command_run& chosen);

}  // namespace host
