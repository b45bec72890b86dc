#include "kernel/native/c_compiler.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <system_error>

#include "base/join.h"
#include "kernel/native/c_source.h"
#include "kernel/native/command.h"
#include "kernel/process.h"

namespace {

constexpr std::string_view unix_flags =
    "-O2 -shared -fPIC -fno-strict-aliasing -ffp-contract=off -fno-math-errno -w";
constexpr std::string_view msvc_flags = "/nologo /O2 /fp:precise /LD /w";

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::string find_compiler() {
    std::string chosen = variable("TVR_KERNEL_CC");
    if (!chosen.empty()) return chosen;
    for (const char* name : {"cc", "gcc", "clang"}) {
        std::string version;
        if (tvrk_run_command(tvr_join(name, " --version 2>&1"), version, {}) == 0) return name;
    }
    return "";
}

std::string find_directory() {
    const std::string own = variable("TVR_KERNEL_CACHE"), xdg = variable("XDG_CACHE_HOME"),
                      home = variable("HOME");
    const std::string candidates[] = {own, xdg.empty() ? "" : xdg + "/tavroscript/kernels",
                                      home.empty() ? "" : home + "/.cache/tavroscript/kernels"};
    for (const std::string& path : candidates) {
        if (path.empty()) continue;
        std::error_code failed;
        std::filesystem::create_directories(path, failed);
        if (std::filesystem::is_directory(path, failed)) return path;
    }
    return "";
}

struct toolchain {
    std::string compiler, directory;
};

toolchain find_toolchain() {
    tvrk_process& process = tvrk_the_process();
    tvr_lock hold(process.toolchain_mutex);
    if (!process.searched) {
        process.compiler = find_compiler();
        process.directory = find_directory();
        process.searched = true;
    }
    return {process.compiler, process.directory};
}

bool speaks_msvc(const std::string& compiler) {
    std::string name = std::filesystem::path(compiler).filename().string();
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; });
    return name == "cl.exe" || name == "clang-cl" || name == "clang-cl.exe";
}

// For the shell, whatever the path contains.
std::string quoted(const std::string& path) {
    std::string made = "'";
    for (const char c : path) {
        if (c == '\'') {
            made += "'\\''";
        } else {
            made += c;
        }
    }
    return made + "'";
}

void remove_file(const std::string& path) {
    std::error_code ignored;  // what is not there need not go
    std::filesystem::remove(path, ignored);
}

bool write_file(const std::string& path, const std::string& text) {
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) return false;
    const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    return std::fclose(file) == 0 && written;
}

tvrk_native_function load(const std::string& path, std::string& error) {
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);  // stays loaded
    if (library == nullptr) {
        error = tvr_join("cannot load ", path, ": ", dlerror());
        return nullptr;
    }
    void* entry = dlsym(library, "tvrk_jit_entry");
    if (entry == nullptr) {
        error = tvr_join("tvrk_jit_entry not found in ", path);
        dlclose(library);
    }
    return reinterpret_cast<tvrk_native_function>(entry);
}

std::string command_line(const toolchain& tools, const std::string& stem) {
    const std::string output = quoted(stem + ".so"), source = quoted(stem + ".c");
    if (!speaks_msvc(tools.compiler)) {
        return tvr_join(tools.compiler, ' ', unix_flags, " -o ", output, ' ', source, " 2>&1");
    }
    return tvr_join(tools.compiler, ' ', msvc_flags, " /Fe", output, " /Fo", quoted(stem + ".obj"),
                    ' ', source, " 2>&1");
}

// Compiles under a name of our own; renaming it makes it everybody's, whole or not at all.
bool build(const toolchain& tools, const std::string& source, const std::string& path,
           const tvrk_called_off& called_off, std::string& error) {
    const uint32_t number = tvrk_the_process().temporary_names.fetch_add(1);
    const std::string stem =
        tvr_join(path.substr(0, path.size() - 3), '.', int64_t(getpid()), '.', number);
    if (!write_file(stem + ".c", source)) {
        remove_file(stem + ".c");
        error = tvr_join("cannot write ", stem, ".c");
        return false;
    }
    std::string output;
    const int status = tvrk_run_command(command_line(tools, stem), output, called_off);
    remove_file(stem + ".c");
    for (const char* side : {".obj", ".lib", ".exp"}) {
        if (speaks_msvc(tools.compiler)) remove_file(stem + side);
    }
    if (status != 0) {
        remove_file(stem + ".so");
        error = tvr_join("C compiler failed (", status, "):\n", output);
        return false;
    }
    std::error_code failed;
    std::filesystem::rename(stem + ".so", path, failed);
    if (!failed) return true;
    remove_file(stem + ".so");
    error = tvr_join("cannot write ", path);
    return false;
}

}  // namespace

tvrk_native_function tvrk_compile_c(const std::string& source, const tvrk_called_off& called_off,
                                    std::string& error) {
    const toolchain tools = find_toolchain();
    if (tools.compiler.empty()) {
        error = "no C compiler found (set TVR_KERNEL_CC)";
        return nullptr;
    }
    if (tools.directory.empty()) {
        error = "no directory for compiled kernels (set TVR_KERNEL_CACHE)";
        return nullptr;
    }
    const std::string_view flags = speaks_msvc(tools.compiler) ? msvc_flags : unix_flags;
    const uint64_t key = tvrk_c_hash(tvr_join(tvrk_c_version, tools.compiler, flags, source));
    char name[32];
    std::snprintf(name, sizeof name, "/k_%016llx.so", static_cast<unsigned long long>(key));
    const std::string path = tools.directory + name;
    std::error_code ignored;
    if (std::filesystem::exists(path, ignored)) {
        if (const tvrk_native_function cached = load(path, error)) return cached;
        error.clear();  // what a power cut left of it is made anew
    }
    return build(tools, source, path, called_off, error) ? load(path, error) : nullptr;
}

std::string tvrk_jit_compiler() {
    return find_toolchain().compiler;
}
