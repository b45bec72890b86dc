#include "runtime/script/module_loader.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string_view>

#include "runtime/log/log.h"
#include "runtime/script/global.h"
#include "runtime/script/package_file.h"
#include "runtime/script/script.h"

namespace {

constexpr const char* package_file_name = "package.tvr";
constexpr const char* platform_folder = "native/linux_x64/";
constexpr std::string_view library_mark = "tvrmodule";

std::string subsystem_of(const tvr_module_record& record) {
    return {record.subsystem, ::strnlen(record.subsystem, sizeof record.subsystem)};
}

}  // namespace

bool tvr_module_loader::import_package(const std::string& name) {
    tvr_log_base& log = script.log();
    if (!script.is_namespace_allowed(name)) {
        log.err("Cannot import namespace '", name, "'");
        return false;
    }
    log.log("Loading external module: ", name);
    const std::string folder = find_package(name);
    if (folder.empty()) return false;

    tvr_filesys& files = script.file_sys();
    sources = folder + "src";
    if (std::ranges::find(files.search_paths, sources) == files.search_paths.end()) {
        log.log("Adding module source path to search paths: ", sources);
        files.search_paths.push_back(sources);
    }
    tvr_package_file package;
    std::string wrong;
    if (!package.parse(files.read_file_string(folder + package_file_name), wrong)) {
        log.err("Cannot read ", folder, package_file_name, ": ", wrong);
        return false;
    }
    if (!check_subsystem(package.subsystem(), name)) return false;
    library_path = find_library(folder + platform_folder);
    return !library_path.empty() && load_library(name) && take_record(name) &&
           take_namespaces(name);
}

// The package's folder with a slash at its end; empty when there is none.
std::string tvr_module_loader::find_package(const std::string& name) {
    std::vector<std::string> found;
    for (const std::string& file : script.file_sys().find_files(name + "/" + package_file_name)) {
        found.push_back(file.substr(0, file.size() - std::strlen(package_file_name)));
    }
    if (found.empty()) {
        script.log().err("No ", package_file_name, " found for module '", name, "'.");
        return {};
    }
    if (found.size() > 1) {
        script.log().warn("Multiple package.tvr files found for module '", name,
                          "'. Using the first one found (TODO internal: add version check, "
                          "select newest!).");
    }
    return found.front();
}

bool tvr_module_loader::check_subsystem(const std::string& word, const std::string& name) {
    if (word == "MODULE_INTERNAL") return true;
    if (word == "MODULE_CABI") {
        script.log().err("TODO: load CABI modules ", name);
    } else {
        script.log().err("Unknown module subsystem '", word, "' for module '", name, "'.");
    }
    return false;
}

std::string tvr_module_loader::find_library(const std::string& folder) {
    const std::vector<std::string> all = script.file_sys().list_files(folder, false);
    script.log().log("Checking ", all.size(), " files in module platform dir: ", folder);
    for (const std::string& file : all) {
        const std::string name = std::filesystem::path(file).filename().string();
        if (name.find(library_mark) != std::string::npos) return file;
    }
    script.log().err("No module library found in ", folder);
    return {};
}

bool tvr_module_loader::load_library(const std::string& name) {
    script.log().log("Loading module library: ", library_path);
    std::string reason;
    if (library.load(library_path, reason)) return true;
    script.log().err("Cannot load the library of module '", name, "': ", reason);
    return false;
}

void* tvr_module_loader::symbol(const char* wanted) {
    void* found = library.getSymbol(wanted);
    if (found == nullptr) script.log().err(library_path, " does not export ", wanted, "()");
    return found;
}

bool tvr_module_loader::take_record(const std::string& name) {
    const auto check = reinterpret_cast<tavroglue_check_function>(symbol("tavroglue_check"));
    if (check == nullptr) return false;
    const tvr_module_record* record = check();
    if (record == nullptr) {
        script.log().err("tavroglue_check() returned null");
        return false;
    }
    if (!check_subsystem(subsystem_of(*record), name)) return false;
    compare_builds(*record, name);
    return true;
}

void tvr_module_loader::compare_builds(const tvr_module_record& record, const std::string& name) {
    constexpr uint64_t own = tvr_module_record::this_build;
    tvr_log_base& log = script.log();
    if (record.build > own) {
        log.warn("Module '", name, "' was built with a newer version of TavroScript (",
                 record.build, ") than the current runtime (", own,
                 "). Loading might fail or crash.");
    } else if (record.build < own) {
        log.warn("Module '", name, "' was built with an older version of TavroScript (",
                 record.build, ", current ", own, "). Please upgrade the package.");
    } else {
        log.log("Module '", name, "' compatibility check passed (version ", record.build, ").");
    }
}

bool tvr_module_loader::take_namespaces(const std::string& name) {
    const auto entry = reinterpret_cast<tavroglue_entry_function>(symbol("tavroglue_entry"));
    if (entry == nullptr) return false;
    tvr_global_instance* of_module = entry();
    if (of_module == nullptr) {
        script.log().err("tavroglue() returned null");
        return false;
    }
    if (of_module != &instance) {
        script.log().err("Module '", name,
                         "' brought an engine of its own: the program that "
                         "loads it does not export its engine's symbols.");
        return false;
    }
    instance.init_all_modules(script);
    instance.add_package_sources(sources);
    return true;
}
