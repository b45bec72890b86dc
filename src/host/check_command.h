#pragma once

// `tavro check FILE...`: reads scripts up to their syntax trees and runs nothing.

#include <string>
#include <vector>

namespace host {

struct check_options {
    std::vector<std::string> files;         // "-": standard input
    std::vector<std::string> search_paths;  // for includes, the first one first
    bool print_trees = false;               // on standard output
    bool verbose = false;                   // the engine's own log lines too
};

// exit_failed if a file does not compile; what is wrong stands in the log.
int check(const check_options& asked);

}  // namespace host
