#pragma once

// The bytes of a file; none of one that cannot be read.

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

inline std::string text_of(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}
