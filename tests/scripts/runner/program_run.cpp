#include "program_run.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sstream>

#include "temporary_file.h"

namespace {

[[noreturn]] void become(const std::filesystem::path& program, words all,
                         const std::filesystem::path& folder) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // a time-out ends the runner, and so the script
    setenv("NO_COLOR", "1", 1);
    unsetenv("TAVRO_PATH");
    std::filesystem::current_path(folder);
    all.insert(all.begin(), program.filename().string());
    std::vector<char*> argv;
    for (std::string& word : all) argv.push_back(word.data());
    argv.push_back(nullptr);
    execv(program.c_str(), argv.data());
    std::perror(program.c_str());
    _exit(127);
}

}  // namespace

words lines_of(const std::string& text) {
    words lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

outcome run_program(const std::filesystem::path& program, const words& arguments,
                    const std::filesystem::path& folder) {
    const temporary_file out, err;
    const pid_t child = fork();
    if (child == 0) {
        dup2(out.descriptor(), STDOUT_FILENO);
        dup2(err.descriptor(), STDERR_FILENO);
        become(program, arguments, folder);
    }
    int status = -1;
    if (child < 0 || waitpid(child, &status, 0) != child)
        return {-1, "", "cannot run " + program.string()};
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
