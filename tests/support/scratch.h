#pragma once

// A folder of its own for a test, removed with everything in it. One thread.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace test_support {

class scratch {
public:
    scratch() : folder((std::filesystem::temp_directory_path() / "tavro_test_XXXXXX").string()) {
        if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("cannot make a folder");
    }
    ~scratch() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    scratch(const scratch&) = delete;
    scratch& operator=(const scratch&) = delete;

    // Where something of this name is in the folder; the folder and a slash for no name.
    std::string path(const std::string& name) const { return folder + "/" + name; }

    // Writes a file, with the folders in which it stands. Its path.
    std::string add(const std::string& name, const std::string& text) const {
        std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
        std::ofstream(path(name), std::ios::binary) << text;
        return path(name);
    }

private:
    std::string folder;
};

}  // namespace test_support
