#include "sim_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace bridge_sim::test {

sim_process::sim_process(const test_support::words& arguments)
    : process(BRIDGE_SIM, arguments, STDERR_FILENO) {}

int sim_process::stop() {
    process.child.signal(SIGTERM);
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
        if (poll(&p, 1, int(test_support::deadline.count())) <= 0) return false;
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
