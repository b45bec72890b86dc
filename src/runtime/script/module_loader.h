#pragma once

// Packages: how `import x` finds, checks and takes in a native module.
//
// A package is a folder in a search path:
//
//     club/package.tvr                       what it is, see package_file.h
//     club/src/                              scripts, which join the search paths
//     club/native/linux_x64/*tvrmodule*      its library
//
// The library exports tavroglue_check(), which tells what it was built for, and tavroglue_entry(),
// which gives the process-wide instance that its registrations went to. That has to be the
// loader's own: with a second engine in the process, values and types would not be the same.
//
// One import on the interpreter's thread, under its lock. May block on the disk.

#include <string>

#include "runtime/script/dynamic_library.h"

class tvr_global_instance;
class tvrscript;
struct tvr_module_record;

class tvr_module_loader {
public:
    tvr_module_loader(tvrscript& into, tvr_global_instance& own) : script(into), instance(own) {}

    // False, with the reason in the log.
    bool import_package(const std::string& name);

private:
    std::string find_package(const std::string& name);
    bool check_subsystem(const std::string& word, const std::string& name);
    std::string find_library(const std::string& folder);
    bool load_library(const std::string& name);
    bool take_record(const std::string& name);
    void compare_builds(const tvr_module_record& record, const std::string& name);
    bool take_namespaces(const std::string& name);
    void* symbol(const char* wanted);

    tvrscript& script;
    tvr_global_instance& instance;
    DynamicLibrary library;
    std::string library_path;
    std::string sources;  // the folder of its scripts
};
