#include "runtime/script/global.h"

#include <algorithm>

#include "runtime/script/module_loader.h"
#include "runtime/script/script.h"

tvr_function_module::tvr_function_module(std::string_view module_name, fill_function fills)
    : name(module_name), fill(fills) {
    tvr_global().add(*this);
}

tvr_global_instance::tvr_global_instance() {
    tvr_register_core_namespaces(*this);
}

void tvr_global_instance::add(const tvr_function_module& module) {
    tvr_lock hold(mutex);
    modules.push_back(&module);
}

std::vector<const tvr_function_module*> tvr_global_instance::known_modules() const {
    tvr_lock hold(mutex);
    return modules;
}

const tvr_function_module* tvr_global_instance::find_module(std::string_view name) const {
    const auto known = known_modules();
    const auto found = std::ranges::find(known, name, &tvr_function_module::name);
    return found != known.end() ? *found : nullptr;
}

// The list is copied: what fills a namespace may register another one.
void tvr_global_instance::init_all_modules(tvrscript& script) {
    for (const tvr_function_module* module : known_modules()) script.take_module(*module);
}

bool tvr_global_instance::import_external_module(tvrscript& script, const std::string& name) {
    return tvr_module_loader(script, *this).import_package(name);
}

void tvr_global_instance::add_package_sources(const std::string& folder) {
    tvr_lock hold(mutex);
    if (std::ranges::find(source_folders, folder) != source_folders.end()) return;
    source_folders.push_back(folder);
}

std::vector<std::string> tvr_global_instance::package_sources() const {
    tvr_lock hold(mutex);
    return source_folders;
}
