#include "child_process.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "temporary_file.h"
#include "waiting.h"

namespace test_support {

namespace {

constexpr int signal_base = 128, exit_no_program = 127;

[[noreturn]] void become(const std::string& program, const words& arguments) {
    std::string name = std::filesystem::path(program).filename();
    std::vector<char*> argv{name.data()};
    for (const std::string& word : arguments) argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);
    execv(program.c_str(), argv.data());
    std::perror(program.c_str());
    _exit(exit_no_program);
}

}  // namespace

child_process::child_process(const std::string& program, const words& arguments,
                             const std::function<void()>& prepare) {
    pid = fork();
    if (pid < 0) throw std::runtime_error("cannot start " + program);
    if (pid > 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test that runs out of time leaves nothing behind
    prepare();
    become(program, arguments);
}

child_process::~child_process() {
    if (pid <= 0) return;
    kill(pid, SIGKILL);
    wait();
}

// Without a child there is nobody to ask: kill() would take -1 for everybody.
void child_process::signal(int number) const {
    if (pid > 0) kill(pid, number);
}

bool child_process::is_stopped() const {
    int status = 0;
    return waitpid(pid, &status, WUNTRACED) == pid && WIFSTOPPED(status);
}

bool child_process::has_ended() const {
    siginfo_t end{};
    return waitid(P_PID, id_t(pid), &end, WEXITED | WNOHANG | WNOWAIT) != 0 || end.si_pid != 0;
}

int child_process::ends(text_reader& output) {
    const bool ended = eventually([&] {
        output.read_some(0);
        return has_ended();
    });
    if (!ended) signal(SIGKILL);
    while (output.read_some(0)) {
    }
    return wait();
}

int child_process::wait() {
    int status = 0;
    const bool known = pid > 0 && waitpid(pid, &status, 0) == pid;
    pid = -1;
    if (!known) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : signal_base + WTERMSIG(status);
}

piped_process::piped_process(const std::string& program, const words& arguments, int stream)
    : child(program, arguments, [&] { dup2(writer, stream); }) {
    close(writer);
}

outcome run_program(const std::string& program, const words& arguments,
                    const std::filesystem::path& folder, const std::string& input) {
    const temporary_file in(input), out, err;
    child_process child(program, arguments, [&] {
        dup2(in.descriptor(), STDIN_FILENO);
        dup2(out.descriptor(), STDOUT_FILENO);
        dup2(err.descriptor(), STDERR_FILENO);
        setenv("NO_COLOR", "1", 1);
        unsetenv("TAVRO_PATH");
        if (!folder.empty()) std::filesystem::current_path(folder);
    });
    const int status = child.wait();
    return {status, out.text(), err.text()};
}

}  // namespace test_support
