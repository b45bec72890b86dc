#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <utility>

#include "runtime/filesys/filesys.h"

namespace fs = std::filesystem;

namespace {

// A descriptor that closes itself; -1 when the file could not be opened.
class open_file {
public:
    open_file(const std::string& path, int flags) {
        constexpr mode_t everybody = 0666;  // less the process's mask
        do handle = ::open(path.c_str(), flags | O_CLOEXEC, everybody);
        while (handle < 0 && errno == EINTR);
    }
    ~open_file() { close(); }
    open_file(const open_file&) = delete;
    open_file& operator=(const open_file&) = delete;

    bool is_open() const { return handle >= 0; }

    // Bytes read; 0 at the end, -1 on failure.
    ssize_t read(char* into, size_t bytes) const {
        ssize_t got = 0;
        do got = ::read(handle, into, bytes);
        while (got < 0 && errno == EINTR);
        return got;
    }

    bool write(std::string_view data) const {
        while (!data.empty()) {
            const ssize_t written = ::write(handle, data.data(), data.size());
            if (written < 0 && errno == EINTR) continue;
            if (written <= 0) return false;
            data.remove_prefix(size_t(written));
        }
        return true;
    }

    // False when the system only now finds that it cannot keep what was written.
    bool close() { return handle < 0 || ::close(std::exchange(handle, -1)) == 0; }

    size_t size() const {
        struct stat about {};
        return ::fstat(handle, &about) == 0 && about.st_size > 0 ? size_t(about.st_size) : 0;
    }

private:
    int handle = -1;
};

// Which names of a folder somebody wants.
enum class wanted : uint8_t { all, files, folders };

bool wants(wanted kind, const fs::directory_entry& entry) {
    std::error_code failed;
    switch (kind) {
    case wanted::all: return true;
    case wanted::files: return entry.is_regular_file(failed);
    case wanted::folders: return entry.is_directory(failed);
    }
    return false;
}

std::vector<std::string> names_in(const std::string& path, bool deep, wanted kind) {
    std::vector<std::string> names, folders{path};
    while (!folders.empty()) {
        const std::string folder = std::move(folders.back());
        folders.pop_back();
        std::error_code failed;
        for (fs::directory_iterator it(folder, failed), end; !failed && it != end;
             it.increment(failed)) {
            std::error_code unknown;
            if (wants(kind, *it)) names.push_back(it->path().string());
            if (deep && !it->is_symlink(unknown) && it->is_directory(unknown)) {
                folders.push_back(it->path().string());
            }
        }
    }
    std::ranges::sort(names);
    return names;
}

}  // namespace

bool tvr_filesys_disk::read(const std::string& path, std::string& out) {
    out.clear();
    const open_file file(path, O_RDONLY);
    if (!file.is_open()) return false;

    // One byte more than the file has, so that its end shows without another piece.
    constexpr size_t piece = 64 * 1024;
    const size_t expected = file.size();
    out.resize(expected > 0 ? expected + 1 : piece);
    size_t filled = 0;
    ssize_t got = 0;
    while ((got = file.read(&out[filled], out.size() - filled)) > 0) {
        filled += size_t(got);
        if (filled == out.size()) out.resize(filled + std::max(filled, piece));
    }
    out.resize(got < 0 ? 0 : filled);
    return got == 0;
}

bool tvr_filesys_disk::write(const std::string& path, std::string_view data) {
    open_file file(path, O_WRONLY | O_CREAT | O_TRUNC);
    return file.is_open() && file.write(data) && file.close();
}

bool tvr_filesys_disk::truncate_file(const std::string& path) {
    std::error_code failed;
    fs::resize_file(path, 0, failed);
    return !failed;
}

std::vector<std::string> tvr_filesys_disk::list(const std::string& path, bool deep) {
    return names_in(path, deep, wanted::all);
}

std::vector<std::string> tvr_filesys_disk::list_files(const std::string& path, bool deep) {
    return names_in(path, deep, wanted::files);
}

std::vector<std::string> tvr_filesys_disk::list_dirs(const std::string& path, bool deep) {
    return names_in(path, deep, wanted::folders);
}

bool tvr_filesys_disk::exists(const std::string& path) {
    std::error_code failed;
    return fs::exists(path, failed);
}

bool tvr_filesys_disk::is_directory(const std::string& path) {
    std::error_code failed;
    return fs::is_directory(path, failed);
}

bool tvr_filesys_disk::is_file(const std::string& path) {
    std::error_code failed;
    return fs::is_regular_file(path, failed);
}

bool tvr_filesys_disk::mkdir(const std::string& path) {
    std::error_code failed;
    fs::create_directories(path, failed);
    return is_directory(path);
}

bool tvr_filesys_disk::remove(const std::string& path) {
    std::error_code failed;
    return fs::remove(path, failed) && !failed;
}

int64_t tvr_filesys_disk::modified_ns(const std::string& path) {
    constexpr int64_t ns_per_s = 1000000000;
    struct stat about {};
    if (::stat(path.c_str(), &about) != 0) return 0;
    return int64_t(about.st_mtim.tv_sec) * ns_per_s + about.st_mtim.tv_nsec;
}
