#pragma once

// How a command joins the program: it adds its subcommand to the parser, and when the person
// asked for it, leaves what is to be run in `chosen`. Each command has a file of its own.

#include <functional>

namespace CLI {  // NOLINT(readability-identifier-naming): the parser is called so
class App;
}

namespace host {

// Exit statuses of the program.
inline constexpr int exit_ok = 0;
inline constexpr int exit_failed = 1;
inline constexpr int exit_usage = 2;

using command_run = std::function<int()>;  // the exit status

void add_check(CLI::App& app, command_run& chosen);
void add_kernel(CLI::App& app, command_run& chosen);
void add_monitor(CLI::App& app, command_run& chosen);

}  // namespace host
