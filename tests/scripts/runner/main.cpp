// Runs one script file through `tavro run` and holds what it says against what stands beside it.
//
//     script_runner TAVRO name.tvio
//
//     name.out   standard output, byte for byte
//     name.err   lines that have to occur in standard error, in this order; without this file
//                nothing may stand there, so that warnings and reports of leaks are seen
//
// The script begins with comments that tell how to run it, each of which may be missing:
//
//     // status: 1                   the exit status, 0 where nothing is said
//     // options: --max-call-depth 50
//     // args: one two
//
// It runs in its own folder, so that reports show short paths.

#include <filesystem>
#include <iostream>
#include <sstream>
#include <string>

#include "file_text.h"
#include "tavro_run.h"

namespace {

namespace fs = std::filesystem;

words words_of(const std::string& text) {
    words found;
    std::istringstream in(text);
    for (std::string word; in >> word;) found.push_back(word);
    return found;
}

struct script_head {
    int status = 0;
    words options, args;
};

script_head head_of(const fs::path& script) {
    script_head head;
    for (const std::string& line : lines_of(text_of(script))) {
        const size_t colon = line.find(": ");
        const std::string key = line.substr(0, colon);
        const std::string value = colon == std::string::npos ? "" : line.substr(colon + 2);
        if (key == "// status")
            head.status = std::stoi(value);
        else if (key == "// options")
            head.options = words_of(value);
        else if (key == "// args")
            head.args = words_of(value);
        else if (!line.starts_with("#!"))
            break;
    }
    return head;
}

bool holds_in_order(const std::string& expected, const std::string& found) {
    size_t from = 0;
    for (const std::string& line : lines_of(expected)) {
        const size_t at = found.find(line, from);
        if (at == std::string::npos) {
            std::cout << "standard error lacks '" << line << "' behind byte " << from << "\n";
            return false;
        }
        from = at + line.size();
    }
    return true;
}

bool same_errors(const fs::path& expectation, const std::string& found) {
    if (fs::exists(expectation)) return holds_in_order(text_of(expectation), found);
    if (!found.empty()) std::cout << "nothing was expected on standard error\n";
    return found.empty();
}

bool passes(const fs::path& tavro, const fs::path& script) {
    const script_head head = head_of(script);
    words arguments{"run"};
    arguments.insert(arguments.end(), head.options.begin(), head.options.end());
    arguments.push_back(script.filename());
    arguments.insert(arguments.end(), head.args.begin(), head.args.end());
    const outcome found = run_tavro(tavro, arguments, script.parent_path());
    bool good = same_output(text_of(fs::path(script).replace_extension(".out")), found.out);
    good = same_errors(fs::path(script).replace_extension(".err"), found.err) && good;
    if (found.status != head.status) {
        std::cout << "status: expected " << head.status << ", found " << found.status << "\n";
        good = false;
    }
    if (!good) std::cout << "--- standard error:\n" << found.err;
    return good;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: script_runner TAVRO SCRIPT\n";
        return 2;
    }
    try {
        return passes(fs::absolute(argv[1]), fs::absolute(argv[2])) ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << "script_runner: " << error.what() << "\n";
        return 2;
    }
}
