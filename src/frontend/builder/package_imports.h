#pragma once

// The packages that one compile imports.
//
// The strict checker comes to the same imports as the builder behind it, so a package that cannot
// be loaded is tried, and told in the log, only once. One that was loaded is a namespace and asked
// for no more. Thread: one compile, under the interpreter's lock; may block on the disk.

#include <string>
#include <unordered_set>

class tvrscript;

class tvr_package_imports {
public:
    explicit tvr_package_imports(tvrscript& into) : script(into) {}

    bool load(const std::string& package);

private:
    tvrscript& script;
    std::unordered_set<std::string> failed;
};
