#include "sim_process.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace bridge_sim::test {

bool eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(deadline_ms);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

scratch::scratch() {
    char name[] = "/tmp/bridge_sim_test_XXXXXX";
    directory = mkdtemp(name);
}

scratch::~scratch() {
    std::filesystem::remove_all(directory);
}

sim_process::sim_process(const std::vector<std::string>& arguments) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return;
    std::vector<char*> argv;
    std::string program = BRIDGE_SIM;
    argv.push_back(program.data());
    std::vector<std::string> copies = arguments;
    for (std::string& argument : copies) argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid = fork();
    if (pid == 0) {
        dup2(ends[1], STDERR_FILENO);
        execv(argv[0], argv.data());
        _exit(127);
    }
    ::close(ends[1]);
    errors = ends[0];
}

sim_process::~sim_process() {
    if (pid > 0) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    ::close(errors);
}

bool sim_process::read_some() {
    pollfd p{errors, POLLIN, 0};
    char data[4096];
    if (poll(&p, 1, deadline_ms) <= 0) return false;
    const ssize_t got = ::read(errors, data, sizeof data);
    if (got > 0) said.append(data, size_t(got));
    return got > 0;
}

bool sim_process::says(const std::string& text) {
    while (said.find(text) == std::string::npos) {
        if (!read_some()) return false;
    }
    return true;
}

int sim_process::finish() {
    while (read_some()) {
    }
    int status = 0;
    if (!eventually([&] { return waitpid(pid, &status, WNOHANG) != 0; })) return -1;
    pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int sim_process::stop() {
    kill(pid, SIGTERM);
    return finish();
}

port_client::port_client(const std::string& link) {
    fd = ::open(link.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    termios mode{};
    const bool terminal = fd >= 0 && tcgetattr(fd, &mode) == 0;
    cfmakeraw(&mode);
    if (!terminal || ioctl(fd, TIOCEXCL) != 0 || tcsetattr(fd, TCSANOW, &mode) != 0) close();
}

void port_client::close() {
    if (fd >= 0) ::close(fd);
    fd = -1;
}

bool port_client::write(const std::string& text) {
    return ::write(fd, text.data(), text.size()) == ssize_t(text.size());
}

bool port_client::read_line(std::string& line) {
    size_t end;
    while ((end = pending.find('\n')) == std::string::npos) {
        pollfd p{fd, POLLIN, 0};
        char data[65536];
        if (poll(&p, 1, deadline_ms) <= 0) return false;
        const ssize_t got = ::read(fd, data, sizeof data);
        if (got <= 0) return false;
        pending.append(data, size_t(got));
    }
    line.assign(pending, 0, end);
    pending.erase(0, end + 1);
    return true;
}

bool port_client::sees(const std::string& text) {
    for (std::string line; read_line(line);) {
        if (line.find(text) != std::string::npos) return true;
    }
    return false;
}

bool appears(const std::string& path) {
    return eventually([&] { return access(path.c_str(), F_OK) == 0; });
}

long long count_in(const std::string& summary, const std::string& word) {
    const size_t at = summary.find(word + " ", summary.find("bridge_sim: sent "));
    return at == std::string::npos ? -1 : std::atoll(summary.c_str() + at + word.size() + 1);
}

}  // namespace bridge_sim::test
