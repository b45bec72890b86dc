#include "tavro_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utmp.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace host::test {

namespace {

constexpr std::chrono::seconds long_time{30};

}  // namespace

void become_tavro(const words& arguments) {
    std::vector<char*> argv{const_cast<char*>("tavro")};
    for (const std::string& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(TAVRO_PROGRAM, argv.data());
    _exit(127);
}

int wait_for(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string slurp(int fd) {
    std::string all;
    char buffer[4096];
    ssize_t n;
    while ((n = read(fd, buffer, sizeof buffer)) > 0) all.append(buffer, size_t(n));
    return all;
}

outcome run(const words& arguments, const std::string& input) {
    int out[2];
    std::FILE* err = std::tmpfile();
    std::FILE* in = std::tmpfile();
    if (err == nullptr || in == nullptr || pipe2(out, O_CLOEXEC) != 0) return {};
    std::fwrite(input.data(), 1, input.size(), in);
    std::rewind(in);
    const pid_t child = fork();
    if (child == 0) {
        dup2(fileno(in), 0);
        dup2(out[1], 1);
        dup2(fileno(err), 2);
        setenv("NO_COLOR", "1", 1);
        become_tavro(arguments);
    }
    close(out[1]);
    outcome result;
    result.out = slurp(out[0]);
    result.status = wait_for(child);
    close(out[0]);
    lseek(fileno(err), 0, SEEK_SET);
    result.err = slurp(fileno(err));
    std::fclose(err);
    std::fclose(in);
    return result;
}

in_pipe::in_pipe(const words& arguments, const std::string& wanted) {
    int out[2];
    if (pipe2(out, O_CLOEXEC) != 0) return;
    child = fork();
    if (child == 0) {
        dup2(out[1], 1);
        become_tavro(arguments);
    }
    close(out[1]);
    reader = out[0];
    char byte;
    while (!got.ends_with(wanted) && read(reader, &byte, 1) == 1) got += byte;
}

in_pipe::~in_pipe() {
    if (child > 0) {
        kill(child, SIGKILL);
        wait_for(child);
    }
    if (reader >= 0) close(reader);
}

int in_pipe::ends() {
    const int status = wait_for(child);
    child = -1;
    return status;
}

on_terminal::on_terminal(const words& arguments, const char* no_color) {
    winsize size{24, 80, 0, 0};
    openpty(&master, &slave, nullptr, nullptr, &size);
    tcgetattr(slave, &before);
    child = fork();
    if (child != 0) return;
    login_tty(slave);
    setenv("TERM", "xterm-256color", 1);
    if (no_color != nullptr) setenv("NO_COLOR", no_color, 1);
    // The line editing library keeps copies of lines that were given up.
    if (arguments.front() == "repl") setenv("LSAN_OPTIONS", "detect_leaks=0", 1);
    become_tavro(arguments);
}

on_terminal::~on_terminal() {
    if (child > 0) {
        kill(child, SIGKILL);
        wait_for(child);
    }
    close(master);
    close(slave);
}

bool on_terminal::reads(const std::string& wanted) {
    const auto deadline = std::chrono::steady_clock::now() + long_time;
    while (std::chrono::steady_clock::now() < deadline) {
        const size_t at = seen.find(wanted);
        if (at != std::string::npos) {
            seen.erase(0, at + wanted.size());
            return true;
        }
        pollfd ready{master, POLLIN, 0};
        char buffer[4096];
        if (poll(&ready, 1, 100) <= 0) continue;
        const ssize_t n = read(master, buffer, sizeof buffer);
        if (n <= 0) continue;
        seen.append(buffer, size_t(n));
        whole.append(buffer, size_t(n));
    }
    return false;
}

bool on_terminal::prompts() {
    if (!reads("> ")) return false;
    const auto deadline = std::chrono::steady_clock::now() + long_time;
    termios now{};
    while (tcgetattr(slave, &now) == 0 && (now.c_lflag & ICANON) != 0) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::yield();
    }
    return true;
}

void on_terminal::types(const std::string& keys) const {
    EXPECT_EQ(write(master, keys.data(), keys.size()), ssize_t(keys.size()));
}

void on_terminal::resize(unsigned short width, unsigned short height) const {
    const winsize size{height, width, 0, 0};
    ioctl(master, TIOCSWINSZ, &size);
}

bool on_terminal::settings_restored() const {
    termios now{};
    tcgetattr(slave, &now);
    return now.c_lflag == before.c_lflag && now.c_iflag == before.c_iflag;
}

int on_terminal::ends() {
    const auto deadline = std::chrono::steady_clock::now() + long_time;
    siginfo_t end{};
    while (waitid(P_PID, id_t(child), &end, WEXITED | WNOHANG | WNOWAIT) == 0 && end.si_pid == 0) {
        if (std::chrono::steady_clock::now() > deadline) kill(child, SIGKILL);
        pollfd output{master, POLLIN, 0};
        char buffer[4096];
        if (poll(&output, 1, 10) > 0 && read(master, buffer, sizeof buffer) < 0) continue;
    }
    const int status = wait_for(child);
    child = -1;
    return status;
}

}  // namespace host::test
