#pragma once

// What all interpreters of the process share: the registrations of native modules.
//
// There is one instance, made at first use and never destroyed. The engine's own namespaces are
// registered when it is made, by plain calls; a module's library registers itself by a static
// tvr_function_module when it is loaded. Any thread; its mutex is held alone.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/forever.h"
#include "base/sync.h"

class tvr_namespace;
class tvrscript;

// A registration: a namespace's path and what fills it. Made static in a module, it registers
// itself when the library is loaded, and stays for ever:
//
//     const tvr_function_module club_module("club", [](tvr_namespace& n) { ... });
class tvr_function_module {
public:
    using fill_function = void (*)(tvr_namespace&);

    tvr_function_module(std::string_view module_name, fill_function fills);
    // For the engine's own, which are added by hand while the process-wide instance is made.
    struct unregistered {};
    tvr_function_module(std::string_view module_name, fill_function fills, unregistered)
        : name(module_name), fill(fills) {}
    tvr_function_module(const tvr_function_module&) = delete;
    tvr_function_module& operator=(const tvr_function_module&) = delete;

    const std::string_view name;
    const fill_function fill;
};

// What a native module's library says of itself; see tavroglue_check.
struct tvr_module_record {
    static constexpr uint64_t this_build = 3001;

    uint64_t build = this_build;
    uint64_t version_major = 1;
    uint64_t version_minor = 1;
    char subsystem[56] = "MODULE_INTERNAL";
    uint64_t interface_version = 1;
    uint64_t reserved[3] = {};
};
static_assert(sizeof(tvr_module_record) == 112);

class tvr_global_instance {
public:
    tvr_global_instance();

    void add(const tvr_function_module& module) TVR_EXCLUDES(mutex);
    const tvr_function_module* find_module(std::string_view name) const TVR_EXCLUDES(mutex);

    // Fills an interpreter's tree with every registered namespace that it does not have yet.
    void init_all_modules(tvrscript& script) TVR_EXCLUDES(mutex);

    // Finds a package in the search paths, loads its library and takes its namespaces into the
    // interpreter; see module_loader.h. False, with the reason in the log. May block on the disk.
    bool import_external_module(tvrscript& script, const std::string& name);

    // The folders of scripts of the packages that were loaded: every interpreter that knows their
    // namespaces searches them too.
    void add_package_sources(const std::string& folder) TVR_EXCLUDES(mutex);
    std::vector<std::string> package_sources() const TVR_EXCLUDES(mutex);

private:
    std::vector<const tvr_function_module*> known_modules() const TVR_EXCLUDES(mutex);

    mutable tvr_mutex mutex;
    std::vector<const tvr_function_module*> modules TVR_GUARDED_BY(mutex);
    std::vector<std::string> source_folders TVR_GUARDED_BY(mutex);
};

// Adds the namespaces of the standard library; stdobj/. Called when the instance is made.
void tvr_register_core_namespaces(tvr_global_instance& instance);

// What a native module's library exports, with C linkage and under these names.
using tavroglue_check_function = const tvr_module_record* (*)();
using tavroglue_entry_function = tvr_global_instance* (*)();

inline tvr_global_instance& tvr_global() {
    static tvr_forever<tvr_global_instance> held;
    return held.get();
}
