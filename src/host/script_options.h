#pragma once

// What a person asked of a script, and where its files are looked for.

#include <cstdint>
#include <string>
#include <vector>

#include "runtime/script/config.h"

namespace CLI {  // NOLINT(readability-identifier-naming): the parser is called so
class App;
}

namespace host {

struct script_options {
    std::vector<std::string> search_paths;  // the first one first
    bool strict = false;
    bool strict_errors = false;
    uint32_t max_call_depth = 1000;  // 0: unlimited
    bool restricted = false;
    std::vector<std::string> allowed;  // namespaces, when restricted
    double fps = 60;                   // calls of update() a second; 0: as often as it pays
    double for_seconds = 0;            // 0: without end
    bool verbose = false;
    bool quiet = false;
    std::vector<std::string> args;  // of the script
};

// Options that all commands with scripts share: -I, -v.
void add_path_options(CLI::App& command, script_options& asked);

// All options of `run` and `eval`.
void add_run_options(CLI::App& command, script_options& asked);

// How an interpreter for these options begins, but for its log.
tvrscript_config_default config_of(const script_options& asked, std::string name);

// What a file holds, or standard input for "-". False when it cannot be read. May block.
bool read_input(const std::string& path, std::string& text);

// A script's text; "-" is standard input. The first line of an executable script is for the shell:
// it is blanked, and its place stays for line numbers. False, with a message in the log, when it
// cannot be read. May block.
bool read_script(const std::string& path, std::string& text);

// How reports call a script: standard input has no path.
std::string script_name(const std::string& path);

}  // namespace host
