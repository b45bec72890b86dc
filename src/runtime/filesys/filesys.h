#pragma once

// The files of an interpreter. Scripts and modules are never read past this layer, so a host can
// serve them from memory.
//
// The base knows only its search paths and finds nothing; tvr_filesys_disk reads the machine's
// files. Locking: none; an instance belongs to its interpreter's thread or to whoever holds the
// global lock. May block on the disk.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/forever.h"

class tvr_filesys {
public:
    // Adds search paths for the length of a scope, such as the folder of an including file, and
    // takes exactly these out again: what others have added meanwhile stays. They are searched
    // before all older ones, the last of them first. Scopes end in the opposite order.
    class search_path_scope {
    public:
        search_path_scope(tvr_filesys& files, std::vector<std::string> paths);
        ~search_path_scope();
        search_path_scope(const search_path_scope&) = delete;
        search_path_scope& operator=(const search_path_scope&) = delete;

    private:
        tvr_filesys& files;
        size_t first;  // where its paths stand in search_paths
        size_t count;
    };

    virtual ~tvr_filesys() = default;

    // The file's bytes; false when it cannot be read, with `out` emptied.
    virtual bool read(const std::string& path, std::string& out);
    virtual bool write(const std::string& path, std::string_view data);
    virtual bool truncate_file(const std::string& path);
    // Names inside a folder, sorted, with their folder's path in front; those of all folders below
    // as well when `deep`. Empty when the folder cannot be read.
    virtual std::vector<std::string> list(const std::string& path, bool deep);
    virtual std::vector<std::string> list_files(const std::string& path, bool deep);
    virtual std::vector<std::string> list_dirs(const std::string& path, bool deep);
    virtual bool exists(const std::string& path);
    virtual bool is_directory(const std::string& path);
    virtual bool is_file(const std::string& path);
    virtual bool mkdir(const std::string& path);   // with its parents; true if it stands then
    virtual bool remove(const std::string& path);  // a file or an empty folder
    // When a file was last changed, in ns since an epoch of the file system's own; 0 when unknown.
    // Programs are compiled anew when one of their files has another time.
    virtual int64_t modified_ns(const std::string& path);

    // read(), as a value; empty when it cannot be read.
    std::string read_file_string(const std::string& path);

    // A name that is absolute or exists as it stands comes back as it is. Otherwise each search
    // path, the last one first, is put before it; the first that exists is the result, empty
    // without one. find_files() gives all of them in that order, none of them twice.
    std::string find_file(const std::string& name);
    std::vector<std::string> find_files(const std::string& name);

    std::vector<std::string> search_paths;
};

// The machine's files. Deep lists do not follow links to folders, and pass by what cannot be read.
class tvr_filesys_disk : public tvr_filesys {
public:
    bool read(const std::string& path, std::string& out) override;
    bool write(const std::string& path, std::string_view data) override;
    bool truncate_file(const std::string& path) override;
    std::vector<std::string> list(const std::string& path, bool deep) override;
    std::vector<std::string> list_files(const std::string& path, bool deep) override;
    std::vector<std::string> list_dirs(const std::string& path, bool deep) override;
    bool exists(const std::string& path) override;
    bool is_directory(const std::string& path) override;
    bool is_file(const std::string& path) override;
    bool mkdir(const std::string& path) override;
    bool remove(const std::string& path) override;
    int64_t modified_ns(const std::string& path) override;
};

// The machine's files, for whoever has no file system of its own. Without search paths: they would
// be shared by every thread of the process, so nobody adds any.
inline tvr_filesys& tvr_filesys_machine() {
    static tvr_forever<tvr_filesys_disk> held;
    return held.get();
}

// The file system of the calling thread's interpreter, or the machine's.
tvr_filesys& tvr_filesys_local();
