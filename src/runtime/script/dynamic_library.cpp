#include "runtime/script/dynamic_library.h"

#include <dlfcn.h>

#include <utility>

// Local: a module's symbols are nobody else's. What it shares with the engine it finds in the
// host, or in its own copy.
bool DynamicLibrary::load(const std::string& path, std::string& error) {
    unload();
    handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (handle != nullptr) return true;
    const char* reason = ::dlerror();
    error = reason != nullptr ? reason : "unknown reason";
    return false;
}

void* DynamicLibrary::getSymbol(const char* name) const {
    return handle != nullptr ? ::dlsym(handle, name) : nullptr;
}

void DynamicLibrary::unload() {
    if (handle != nullptr) ::dlclose(std::exchange(handle, nullptr));
}
