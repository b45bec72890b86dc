#include "command_words.h"

#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "../support/child_process.h"
#include "../support/expectation.h"

namespace {

namespace fs = std::filesystem;
using namespace test_support;

// Without brackets, and without what a usage line says behind an option: "[--stall" is "--stall",
// "--reboot@120" is "--reboot".
std::string bare(const std::string& word) {
    const size_t begin = word.find_first_not_of('[');
    if (begin == word.npos) return {};
    const size_t end = word.find_first_of(word[begin] == '-' ? "]@=" : "]", begin);
    return word.substr(begin, end == word.npos ? end : end - begin);
}

bool has_word(const std::string& text, const std::string& word) {
    std::istringstream in(text);
    for (std::string found; in >> found;) {
        std::istringstream forms(found);  // "-h,--help"
        for (std::string form; std::getline(forms, form, ',');) {
            if (form == word || form == word + ":") return true;
        }
    }
    return false;
}

bool missing(const std::string& what, const std::string& whose) {
    std::cout << whose << " has no '" << what << "'\n";
    return false;
}

bool program_has(const fs::path& program, const words& command) {
    const fs::path here = program.parent_path();
    const std::string name = program.filename().string();
    if (command.size() < 2) return true;
    if (!has_word(run_program(program, {"--help"}, here).out, command[1])) {
        return missing(command[1], name);
    }
    const std::string help = run_program(program, {command[1], "--help"}, here).out;
    for (size_t i = 2; i < command.size(); ++i) {
        const std::string word = bare(command[i]);
        if (word == "#" || word == "|") break;
        if (word.size() < 2 || word[0] != '-') continue;
        if (!has_word(help, word)) return missing(word, name + " " + command[1]);
    }
    return true;
}

// Two blanks end the command and begin what is said of it.
bool makefile_has(const fs::path& makefile, const std::string& line) {
    std::ifstream file(makefile);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    std::istringstream in(line.substr(0, line.find("  ")));
    std::string target;
    in >> target;  // make
    while (in >> target) {
        if (target.find('=') == target.npos && !has_word(text, target)) {
            return missing(target, "the Makefile");
        }
    }
    return true;
}

}  // namespace

bool commands_exist(const std::string& text, const fs::path& programs, const fs::path& makefile) {
    std::string whole = text;
    for (size_t at; (at = whole.find("\\\n")) != whole.npos;) whole.replace(at, 2, " ");
    bool good = true;
    words command;
    for (const std::string& line : lines_of(whole)) {
        std::istringstream in(line);
        // Indented further than a command: a usage line goes on.
        if (!line.starts_with(' ')) command.clear();
        for (std::string word; in >> word;) command.push_back(word);
        if (command.empty()) continue;
        const std::string program = fs::path(command[0]).filename().string();
        if (program == "tavro" || program == "bridge_sim") {
            good = program_has(programs / program, command) && good;
        } else if (program == "make") {
            good = makefile_has(makefile, line) && good;
        }
    }
    return good;
}
