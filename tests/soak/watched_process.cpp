#include "watched_process.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <charconv>
#include <csignal>
#include <fstream>

namespace soak {

namespace {

// A line without an end is cut here, so that nothing piles up.
constexpr size_t longest_line = 1 << 20;

[[noreturn]] void become(const std::vector<std::string>& arguments, int out, int err) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setpgid(0, 0);  // a Ctrl-C is for the driver, which ends the others in its own order
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    std::vector<char*> argv;
    for (const std::string& word : arguments) argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
}

long entries_of(const std::string& folder) {
    DIR* const open = opendir(folder.c_str());
    if (open == nullptr) return 0;
    long count = 0;
    while (const dirent* entry = readdir(open)) count += entry->d_name[0] != '.';
    closedir(open);
    return count;
}

double resident_mib_of(const std::string& folder) {
    constexpr double bytes_per_mib = 1024 * 1024;
    std::ifstream file(folder + "/statm");
    long all = 0, resident = 0;
    file >> all >> resident;
    return double(resident) * double(sysconf(_SC_PAGESIZE)) / bytes_per_mib;
}

}  // namespace

watched_process::watched_process(std::string named, const std::vector<std::string>& arguments,
                                 line_reader to)
    : name(std::move(named)), reader(std::move(to)) {
    int out[2], err[2];
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) {
        ended = true;
        return;
    }
    pid = fork();
    if (pid == 0) become(arguments, out[1], err[1]);
    close(out[1]);
    close(err[1]);
    streams[0] = {out[0], false, {}};
    streams[1] = {err[0], true, {}};
    for (const stream& s : streams) fcntl(s.fd, F_SETFL, O_NONBLOCK);
}

watched_process::~watched_process() {
    if (pid > 0 && !ended) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    for (const stream& s : streams) {
        if (s.fd >= 0) close(s.fd);
    }
}

void watched_process::read(int wait_ms) {
    pollfd ready[2] = {{streams[0].fd, POLLIN, 0}, {streams[1].fd, POLLIN, 0}};
    if (poll(ready, 2, wait_ms) <= 0) return;
    for (size_t i = 0; i < 2; ++i) {
        if (ready[i].revents != 0) read_from(streams[i]);
    }
}

void watched_process::read_from(stream& from) {
    char data[65536];
    ssize_t got;
    while ((got = ::read(from.fd, data, sizeof data)) > 0) {
        std::string_view rest(data, size_t(got));
        for (size_t end; (end = rest.find('\n')) != rest.npos; rest.remove_prefix(end + 1)) {
            from.unfinished += rest.substr(0, end);
            reader(from.unfinished, from.is_error);
            from.unfinished.clear();
        }
        from.unfinished += rest;
        if (from.unfinished.size() > longest_line) from.unfinished.clear();
    }
    if (got != 0) return;
    close(from.fd);
    from.fd = -1;  // poll passes it by
}

bool watched_process::has_ended() {
    if (ended) return true;
    if (waitpid(pid, &status, WNOHANG) != pid) return false;
    ended = true;
    read(0);
    return true;
}

void watched_process::interrupt() const {
    if (pid > 0 && !ended) kill(pid, SIGINT);
}

sample watched_process::look(double at) const {
    if (ended) return {};
    const std::string folder = "/proc/" + std::to_string(pid);
    return {at, resident_mib_of(folder), entries_of(folder + "/fd"), entries_of(folder + "/task")};
}

std::string watched_process::bad_end() const {
    if (!ended || (pid > 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0)) return {};
    if (pid < 0) return "could not start";
    if (WIFSIGNALED(status)) return "signal " + std::to_string(WTERMSIG(status));
    return "exit status " + std::to_string(WEXITSTATUS(status));
}

std::map<std::string, int64_t> counts_in(std::string_view line) {
    std::map<std::string, int64_t> counts;
    while (!line.empty()) {
        const std::string_view word = line.substr(0, line.find(' '));
        line.remove_prefix(std::min(line.size(), word.size() + 1));
        const size_t at = word.find('=');
        int64_t value = 0;
        if (at == word.npos) continue;
        const std::string_view digits = word.substr(at + 1);
        const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), value);
        if (read.ec == std::errc()) counts[std::string(word.substr(0, at))] = value;
    }
    return counts;
}

}  // namespace soak
