#pragma once

// Whether the commands of a text exist, as far as one can tell without running them.

#include <filesystem>
#include <string>

// Of each line: tavro and bridge_sim, with or without a path, have the subcommand and its options
// (by their --help); make has the targets (by the Makefile). Says on standard output what is not
// so. Other commands pass.
bool commands_exist(const std::string& text, const std::filesystem::path& programs,
                    const std::filesystem::path& makefile);
