#pragma once

// The program's commands and options: `record`, `serve` and `relay`. docs/simulator.md describes
// them.

namespace bridge_sim {

// Runs one command to its end; the result is the program's exit status.
int run_command_line(int argc, char** argv);

}  // namespace bridge_sim
