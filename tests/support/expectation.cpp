#include "expectation.h"

#include <fstream>
#include <iostream>
#include <sstream>

namespace test_support {

std::string text_of(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

bool same_output(const std::string& expected, const std::string& found) {
    if (expected == found) return true;
    const std::vector<std::string> wanted = lines_of(expected), given = lines_of(found);
    size_t line = 0;
    while (line < wanted.size() && line < given.size() && wanted[line] == given[line]) ++line;
    const auto at = [&](const std::vector<std::string>& all) {
        return line < all.size() ? "'" + all[line] + "'" : std::string("the end");
    };
    std::cout << "standard output, line " << line + 1 << ": expected " << at(wanted) << ", found "
              << at(given) << "\n--- standard output:\n"
              << found;
    return false;
}

}  // namespace test_support
