#include "frontend/builder/package_imports.h"

#include "runtime/script/global.h"

bool tvr_package_imports::load(const std::string& package) {
    if (failed.count(package) > 0) return false;
    if (tvr_global().import_external_module(script, package)) return true;
    failed.insert(package);
    return false;
}
