#pragma once

// What a program said beside what it should have said. One thread.

#include <filesystem>
#include <string>
#include <vector>

namespace test_support {

// The content of a file, byte for byte; empty when there is none.
std::string text_of(const std::filesystem::path& file);

std::vector<std::string> lines_of(const std::string& text);

// False, with the first difference told on standard output.
bool same_output(const std::string& expected, const std::string& found);

}  // namespace test_support
