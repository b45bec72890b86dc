#pragma once

// A recording as the board's part to play: every line with its place in time, and where to find
// the metadata of each track. Pure but for the stream, any thread.

#include <istream>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace bridge_sim {

using ordered_json = nlohmann::ordered_json;

struct script_line {
    double at = 0;          // s from the first line, when the line goes out
    double clock_at = 0;    // s from the first line, what its "us" says; `at` without "us"
    bool stamped = false;   // carries "us"
    bool restarts = false;  // the recorded board began anew with this line
    std::string kind;       // "t"
    ordered_json line;      // without "rx"
};

struct board_script {
    bool knows(const std::string& id) const { return answers.count(id) > 0; }

    std::vector<script_line> lines;
    int64_t first_us = 0;  // bridge clock at the first line
    double length_s = 0;

    // For each track id the lines from its first "meta" to its "metaok", as indices.
    std::map<std::string, std::vector<size_t>> answers;
};

// Reads a recording. What is no object with a string "t" is skipped, and lines never go back in
// time. Without any usable line the script is empty.
board_script read_script(std::istream& in);

// The script in a file, empty with the reason in `error` when there is none. Blocks on the file.
board_script load_script(const std::string& path, std::string& error);

// A value of a line, or the default where it is missing or of another type.
std::string text_of(const ordered_json& line, const char* key);
int64_t integer_of(const ordered_json& line, const char* key, int64_t otherwise);

// The line's "us", 0 without one; cut to 0 and to the latest time that the board can reckon with.
int64_t clock_of(const ordered_json& line);

}  // namespace bridge_sim
