#include "runtime/filesys/filesys.h"

#include <algorithm>
#include <filesystem>

#include "runtime/local/thread_local.h"

namespace {

std::string join_path(const std::string& folder, const std::string& name) {
    if (folder.empty() || folder.ends_with('/')) return folder + name;
    return folder + '/' + name;
}

std::string plain_form(const std::string& path) {
    return std::filesystem::path(path).lexically_normal().string();
}

}  // namespace

tvr_filesys::search_path_scope::search_path_scope(tvr_filesys& to, std::vector<std::string> paths)
    : files(to), first(to.search_paths.size()), count(paths.size()) {
    for (std::string& path : paths) files.search_paths.push_back(std::move(path));
}

tvr_filesys::search_path_scope::~search_path_scope() {
    auto& paths = files.search_paths;
    const size_t from = std::min(first, paths.size()), to = std::min(first + count, paths.size());
    paths.erase(paths.begin() + ptrdiff_t(from), paths.begin() + ptrdiff_t(to));
}

bool tvr_filesys::read(const std::string&, std::string& out) {
    out.clear();
    return false;
}
bool tvr_filesys::write(const std::string&, std::string_view) {
    return false;
}
bool tvr_filesys::truncate_file(const std::string&) {
    return false;
}
std::vector<std::string> tvr_filesys::list(const std::string&, bool) {
    return {};
}
std::vector<std::string> tvr_filesys::list_files(const std::string&, bool) {
    return {};
}
std::vector<std::string> tvr_filesys::list_dirs(const std::string&, bool) {
    return {};
}
bool tvr_filesys::exists(const std::string&) {
    return false;
}
bool tvr_filesys::is_directory(const std::string&) {
    return false;
}
bool tvr_filesys::is_file(const std::string&) {
    return false;
}
bool tvr_filesys::mkdir(const std::string&) {
    return false;
}
bool tvr_filesys::remove(const std::string&) {
    return false;
}
int64_t tvr_filesys::modified_ns(const std::string&) {
    return 0;
}

std::string tvr_filesys::read_file_string(const std::string& path) {
    std::string out;
    if (!read(path, out)) out.clear();
    return out;
}

std::string tvr_filesys::find_file(const std::string& name) {
    if (name.empty()) return {};
    if (name.starts_with('/') || exists(name)) return name;
    for (auto path = search_paths.rbegin(); path != search_paths.rend(); ++path) {
        std::string found = join_path(*path, name);
        if (exists(found)) return found;
    }
    return {};
}

std::vector<std::string> tvr_filesys::find_files(const std::string& name) {
    if (name.empty()) return {};
    if (name.starts_with('/')) return {name};

    std::vector<std::string> found, seen;
    const auto keep = [&](const std::string& path) {
        if (!exists(path)) return;
        std::string plain = plain_form(path);
        if (std::ranges::find(seen, plain) != seen.end()) return;
        seen.push_back(std::move(plain));
        found.push_back(path);
    };
    keep(name);
    for (auto path = search_paths.rbegin(); path != search_paths.rend(); ++path) {
        keep(join_path(*path, name));
    }
    return found;
}

tvr_filesys& tvr_filesys_local() {
    tvr_filesys* bound = tvr_local().filesys;
    return bound != nullptr ? *bound : tvr_filesys_machine();
}
