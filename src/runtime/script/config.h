#pragma once

// How a host wants its interpreter.

#include <cstdint>
#include <string>
#include <vector>

class tvr_filesys;
class tvr_log_base;

struct tvrscript_config_default {
    static constexpr const char* version = "3.2";

    // Writes the configuration to the log, a label and a value a line.
    void print() const;

    std::string name;
    tvr_filesys* filesys = nullptr;  // null: the machine's files; must outlive the interpreter
    tvr_log_base* log = nullptr;     // null: the terminal's log; must outlive the interpreter
    uint32_t max_call_depth = 1000;  // 0: unlimited
    bool strict_mode = false;
    bool strict_errors = false;  // strict warnings are errors
    bool restricted_mode = false;
    std::vector<std::string>
        allowed_namespaces;         // in restricted mode; a name allows what is below it
    std::vector<std::string> args;  // what std.args() gives

    // Folders for scripts, includes and packages, the first one searched first. With the machine's
    // files, those in $TAVRO_PATH and the installed packages come behind them. While a program is
    // compiled, its own folder comes before all.
    std::vector<std::string> search_paths;
};
