#pragma once

// `tavro check FILE...`: compiles scripts, has their types checked, and runs nothing.

#include <string>
#include <vector>

#include "host/script_options.h"

namespace host {

struct check_options {
    std::vector<std::string> files;  // "-": standard input
    script_options options;
    bool print_trees = false;  // on standard output, and nothing else
};

// exit_failed if a file does not compile; what is wrong stands in the log.
int check(const check_options& asked);

}  // namespace host
