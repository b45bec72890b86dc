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

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "temporary_file.h"

namespace {

namespace fs = std::filesystem;
using words = std::vector<std::string>;

std::string text_of(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

words lines_of(const std::string& text) {
    words lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

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

struct outcome {
    int status = -1;  // exit status, or 128 and the signal
    std::string out, err;
};

[[noreturn]] void become_tavro(const fs::path& tavro, const fs::path& script,
                               const script_head& head) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // a time-out ends the runner, and so the script
    setenv("NO_COLOR", "1", 1);
    unsetenv("TAVRO_PATH");
    fs::current_path(script.parent_path());
    words all{"tavro", "run"};
    all.insert(all.end(), head.options.begin(), head.options.end());
    all.push_back(script.filename());
    all.insert(all.end(), head.args.begin(), head.args.end());
    std::vector<char*> argv;
    for (std::string& word : all) argv.push_back(word.data());
    argv.push_back(nullptr);
    execv(tavro.c_str(), argv.data());
    std::perror(tavro.c_str());
    _exit(127);
}

outcome run(const fs::path& tavro, const fs::path& script, const script_head& head) {
    const temporary_file out, err;
    const pid_t child = fork();
    if (child == 0) {
        dup2(out.descriptor(), STDOUT_FILENO);
        dup2(err.descriptor(), STDERR_FILENO);
        become_tavro(tavro, script, head);
    }
    int status = -1;
    if (child < 0 || waitpid(child, &status, 0) != child) return {-1, "", "cannot run tavro"};
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), out.text(),
            err.text()};
}

bool same_output(const std::string& expected, const std::string& found) {
    if (expected == found) return true;
    const words wanted = lines_of(expected), given = lines_of(found);
    size_t line = 0;
    while (line < wanted.size() && line < given.size() && wanted[line] == given[line]) ++line;
    const auto at = [&](const words& all) {
        return line < all.size() ? "'" + all[line] + "'" : std::string("the end");
    };
    std::cout << "standard output, line " << line + 1 << ": expected " << at(wanted) << ", found "
              << at(given) << "\n--- standard output:\n"
              << found;
    return false;
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
    const outcome found = run(tavro, script, head);
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
