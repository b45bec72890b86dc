#include "frontend/syntax/source_files.h"

#include <filesystem>

#include "runtime/filesys/filesys.h"

namespace {

using std::filesystem::path;

constexpr const char* script_extension = ".tvio";

path absolute_path(const path& of) {
    std::error_code failed;
    const path absolute = std::filesystem::absolute(of, failed);
    return (failed ? of : absolute).lexically_normal();
}

}  // namespace

std::string tvr_folder_of(const std::string& file) {
    return file == tvr_memory_path ? "" : path(file).parent_path().string();
}

std::string tvr_absolute_folder_of(const std::string& file) {
    if (file == tvr_memory_path) return ".";
    return absolute_path(file).parent_path().string();
}

std::string tvr_unique_path(const std::string& file) {
    return file == tvr_memory_path ? file : absolute_path(file).string();
}

std::string tvr_find_include(const std::string& folder, std::string name) {
    if (name.empty()) return {};
    if (!path(name).has_extension()) name += script_extension;
    tvr_filesys& files = tvr_filesys_local();
    const std::string beside = (path(folder) / name).string();
    return files.exists(beside) ? beside : files.find_file(name);
}

std::string resolve_source_file(const std::string& name) {
    if (name.empty()) return {};
    tvr_filesys& files = tvr_filesys_local();
    for (const char* ending : {"", ".tvio", ".tvx", "/__init__.tvio", "/__init__.tvx"}) {
        std::string found = files.find_file(name + ending);
        // A folder of that name is no script: its __init__ file is.
        if (!found.empty() && !files.is_directory(found)) return found;
    }
    return {};
}

bool resolve_source_text(const std::string& name, std::string& text) {
    const std::string file = resolve_source_file(name);
    return !file.empty() && tvr_filesys_local().read(file, text);
}
