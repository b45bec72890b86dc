#pragma once

// A shared library, for as long as the object lives. Modules are opened so that they stay in memory
// for ever, since their registrations do.

#include <string>

class DynamicLibrary {
public:
    DynamicLibrary() = default;
    ~DynamicLibrary() { unload(); }
    DynamicLibrary(const DynamicLibrary&) = delete;
    DynamicLibrary& operator=(const DynamicLibrary&) = delete;

    // False, with the linker's reason in `error`. A library that was loaded before goes first.
    bool load(const std::string& path, std::string& error);
    void* getSymbol(const char* name) const;  // null when there is none
    bool isLoaded() const { return handle != nullptr; }
    void unload();

private:
    void* handle = nullptr;
};
