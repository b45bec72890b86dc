#include "kernel/native/command.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "base/clock.h"

namespace {

constexpr size_t longest_output = 65536;  // bytes of the command's words that are kept
constexpr int look_around_ms = 20;        // between two questions whether it is called off
constexpr double patience_s = 1.0;        // from being asked to end to being ended

// A process group of its own, so that all can be ended that the command starts. No signal is
// blocked there, whichever the calling thread blocks.
int start_shell(const std::string& command, int output, pid_t& child) {
    posix_spawn_file_actions_t files;
    posix_spawnattr_t attributes;
    if (posix_spawn_file_actions_init(&files) != 0) return -1;
    if (posix_spawnattr_init(&attributes) != 0) {
        posix_spawn_file_actions_destroy(&files);
        return -1;
    }
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
    std::string shell = "sh", flag = "-c", text = command;
    char* const words[] = {shell.data(), flag.data(), text.data(), nullptr};
    const int failed = posix_spawn(&child, "/bin/sh", &files, &attributes, words, environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    return failed;
}

// Reads to the end, or the command would stand still.
class output_reader {
public:
    output_reader(int from, pid_t of, std::string& to) : pipe(from), group(of), output(to) {}

    void run(const tvrk_called_off& called_off) {
        pollfd asked{pipe, POLLIN, 0};
        while (true) {
            const int ready = poll(&asked, 1, called_off ? look_around_ms : -1);
            if (called_off && called_off() && !end_command()) return;
            if (ready > 0 && !read_some()) return;
        }
    }

private:
    // False at the end.
    bool read_some() {
        char buffer[512];
        const ssize_t got = read(pipe, buffer, sizeof buffer);
        if (got < 0) return errno == EINTR;
        if (output.size() < longest_output) output.append(buffer, size_t(got));
        return got > 0;
    }

    // Asked first, for compilers then take their temporary files away. False once it is ended:
    // whoever holds the output still has left the group.
    bool end_command() {
        const double now = tvr_now_s();
        if (asked_s == 0) {
            asked_s = now;
            kill(-group, SIGTERM);
        }
        if (now - asked_s <= patience_s) return true;
        kill(-group, SIGKILL);
        return false;
    }

    const int pipe;
    const pid_t group;
    std::string& output;
    double asked_s = 0;  // when the command was asked to end; 0: not yet
};

}  // namespace

int tvrk_run_command(const std::string& command, std::string& output,
                     const tvrk_called_off& called_off) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return -1;
    pid_t child = 0;
    const int failed = start_shell(command, ends[1], child);
    close(ends[1]);
    if (failed == 0) output_reader(ends[0], child, output).run(called_off);
    close(ends[0]);
    if (failed != 0) return -1;
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : status;
}
