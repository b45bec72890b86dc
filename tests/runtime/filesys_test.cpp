// Files: search paths, a file system in memory, and the machine's own.

#include "runtime/filesys/filesys.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <map>

namespace {

using names = std::vector<std::string>;

// Serves from a map, as a host may.
class filesys_map : public tvr_filesys {
public:
    bool read(const std::string& path, std::string& out) override {
        const auto found = files.find(path);
        out = found != files.end() ? found->second : "left over";
        return found != files.end();
    }
    bool exists(const std::string& path) override { return files.count(path) > 0; }

    std::map<std::string, std::string> files;
};

TEST(filesys, finds_by_search_path) {
    filesys_map map;
    for (const char* path : {"here", "/abs", "old/a", "new/a", "old/here", "new/b", "slash/c"}) {
        map.files[path] = "";
    }
    map.search_paths = {"old", "slash/", "new", "./old"};
    struct row {
        const char* name;
        std::string first;
        names all;
    };
    const row rows[] = {
        {"here", "here", {"here", "old/here"}},
        {"/abs", "/abs", {"/abs"}},
        {"/missing", "/missing", {"/missing"}},
        {"a", "new/a", {"new/a", "old/a"}},
        {"b", "new/b", {"new/b"}},
        {"c", "slash/c", {"slash/c"}},
        {"missing", "", {}},
        {"", "", {}},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.name);
        EXPECT_EQ(map.find_file(r.name), r.first);
        EXPECT_EQ(map.find_files(r.name), r.all);
    }
    map.files["./old/a"] = "";  // the same place as old/a
    EXPECT_EQ(map.find_files("a"), (names{"./old/a", "new/a"}));
    EXPECT_EQ(map.read_file_string("missing"), "");
}

TEST(filesys, scopes_of_search_paths_nest) {
    tvr_filesys files;
    files.search_paths = {"base"};
    {
        const tvr_filesys::search_path_scope outer(files, {"a", "b"});
        {
            const tvr_filesys::search_path_scope inner(files, {"c"});
            EXPECT_EQ(files.search_paths, (names{"base", "a", "b", "c"}));
            files.search_paths.emplace_back("imported");
        }
        EXPECT_EQ(files.search_paths, (names{"base", "a", "b", "imported"}));
    }
    EXPECT_EQ(files.search_paths, (names{"base", "imported"}));
    {
        const tvr_filesys::search_path_scope scope(files, {"a"});
        files.search_paths.clear();
    }
    EXPECT_EQ(files.search_paths, names{});
}

TEST(filesys, the_base_finds_nothing) {
    tvr_filesys files;
    files.search_paths = {"/"};
    std::string out = "left over";
    EXPECT_FALSE(files.read("/etc/passwd", out));
    EXPECT_EQ(out, "");
    EXPECT_EQ(files.find_file("etc"), "");
    EXPECT_FALSE(files.write("/x", "") || files.mkdir("/x") || files.remove("/x") ||
                 files.truncate_file("/x") || files.is_file("/x") || files.is_directory("/"));
    EXPECT_TRUE(files.list("/", true).empty() && files.list_files("/", false).empty() &&
                files.list_dirs("/", false).empty());
    EXPECT_EQ(files.modified_ns("/"), 0);
}

class filesys_disk : public testing::Test {
protected:
    void SetUp() override {
        root = std::filesystem::temp_directory_path() / ("filesys-" + std::to_string(::getpid()));
        std::filesystem::create_directories(root);
    }
    void TearDown() override { std::filesystem::remove_all(root); }

    std::string at(const std::string& name) const { return (root / name).string(); }
    names below(const names& all) const {
        names out;
        for (const std::string& path : all) out.push_back(path.substr(root.string().size()));
        return out;
    }

    std::filesystem::path root;
    tvr_filesys_disk disk;
};

TEST_F(filesys_disk, reads_what_it_wrote) {
    std::string big(300000, 'x');
    big += std::string("\0\r\n\xff", 4);
    for (const std::string& content : {std::string(), std::string("a\n"), big}) {
        EXPECT_TRUE(disk.write(at("file"), content));
        EXPECT_EQ(disk.read_file_string(at("file")), content);
    }
    EXPECT_GT(disk.modified_ns(at("file")), 0);
    EXPECT_TRUE(disk.truncate_file(at("file")));
    std::string out = "left over";
    EXPECT_TRUE(disk.read(at("file"), out));
    EXPECT_EQ(out, "");
    EXPECT_GT(disk.read_file_string("/proc/self/status").size(), 0u);  // says that it has no size
}

TEST_F(filesys_disk, lists_folders_and_passes_by_what_it_cannot_read) {
    EXPECT_TRUE(disk.mkdir(at("a/b")));
    EXPECT_TRUE(disk.mkdir(at("a/b")));
    for (const char* name : {"a/b/deep", "a/file", "top"}) EXPECT_TRUE(disk.write(at(name), ""));
    std::filesystem::create_symlink(root, root / "a/loop");
    std::filesystem::create_symlink("nowhere", root / "broken");
    EXPECT_EQ(below(disk.list(root, false)), (names{"/a", "/broken", "/top"}));
    EXPECT_EQ(below(disk.list(root, true)),
              (names{"/a", "/a/b", "/a/b/deep", "/a/file", "/a/loop", "/broken", "/top"}));
    EXPECT_EQ(below(disk.list_files(root, true)), (names{"/a/b/deep", "/a/file", "/top"}));
    EXPECT_EQ(below(disk.list_dirs(root, true)), (names{"/a", "/a/b", "/a/loop"}));
    EXPECT_EQ(below(disk.list_dirs(root, false)), names{"/a"});
}

TEST_F(filesys_disk, fails_without_an_exception) {
    const std::string endless(100000, 'x'), inside_a_file = at("file/x");
    EXPECT_TRUE(disk.write(at("file"), "a"));
    for (const std::string& path : {std::string(), at("missing"), inside_a_file, endless}) {
        SCOPED_TRACE(path.substr(0, 100));
        std::string out = "left over";
        EXPECT_FALSE(disk.read(path, out));
        EXPECT_EQ(out, "");
        EXPECT_FALSE(disk.exists(path) || disk.is_file(path) || disk.is_directory(path));
        EXPECT_FALSE(disk.truncate_file(path) || disk.remove(path));
        EXPECT_TRUE(disk.list(path, true).empty());
        EXPECT_EQ(disk.modified_ns(path), 0);
    }
    std::string out;
    EXPECT_FALSE(disk.read(root, out));
    EXPECT_FALSE(disk.write(root, "a") || disk.mkdir(inside_a_file) || disk.remove(root));
    EXPECT_TRUE(disk.list(at("file"), false).empty());
    EXPECT_TRUE(disk.remove(at("file")));
    EXPECT_FALSE(disk.write("/dev/full", "a"));
}

}  // namespace
