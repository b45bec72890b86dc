#pragma once

// One run of a program, and how what it said differs from what it should have. One thread.

#include <filesystem>
#include <string>
#include <vector>

using words = std::vector<std::string>;

words lines_of(const std::string& text);

struct outcome {
    int status = -1;  // exit status, or 128 and the signal
    std::string out, err;
};

// Runs it with these arguments in a folder, without colours, until it ends.
outcome run_program(const std::filesystem::path& program, const words& arguments,
                    const std::filesystem::path& folder);

// False, with the first difference told on standard output.
bool same_output(const std::string& expected, const std::string& found);
