#include "host/monitor/terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>

#include "host/monitor/crash_guard.h"

namespace monitor {

namespace {

// Other screen, cursor off, no line wrap.
constexpr std::string_view enter_bytes = "\x1b[?1049h\x1b[?25l\x1b[?7l\x1b[0m\x1b[2J";
// Ends a synchronised update that may be half written, then undoes enter_bytes.
constexpr std::string_view leave_bytes = "\x1b[?2026l\x1b[0m\x1b[?7h\x1b[?25h\x1b[?1049l";

constexpr int leave_patience_ms = 200;  // for a terminal that takes no bytes

int number_in(const char* variable, int otherwise) {
    const char* value = std::getenv(variable);
    const int n = value == nullptr ? 0 : std::atoi(value);
    return n > 0 ? n : otherwise;
}

// Writes what the descriptor takes, waiting a little where it is full. Best effort.
void write_patiently(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t n = ::write(fd, bytes.data(), bytes.size());
        if (n > 0) {
            bytes.remove_prefix(size_t(n));
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        pollfd full{fd, POLLOUT, 0};
        if (n == 0 || errno != EAGAIN || poll(&full, 1, leave_patience_ms) <= 0) return;
    }
}

}  // namespace

terminal::terminal() {
    const char* name = ttyname(STDOUT_FILENO);
    const int own = name == nullptr ? -1 : open(name, O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    own_out = own >= 0;
    out_fd = own_out ? own : STDOUT_FILENO;
    if (isatty(STDIN_FILENO) != 0 && tcgetattr(STDIN_FILENO, &before) == 0) {
        keys_fd = STDIN_FILENO;
    }
    enter();
}

terminal::~terminal() {
    leave();
    if (own_out) close(out_fd);
}

void terminal::enter() {
    crash_guard::arm(out_fd, leave_bytes, keys_fd, before);
    if (keys_fd >= 0) {
        termios raw = before;
        raw.c_lflag &= ~tcflag_t(ICANON | ECHO);
        raw.c_iflag &= ~tcflag_t(IXON | ICRNL);  // Ctrl-S must not freeze the picture
        raw.c_cc[VMIN] = 0;
        raw.c_cc[VTIME] = 0;
        tcsetattr(keys_fd, TCSADRAIN, &raw);
    }
    waiting.clear();
    write_patiently(out_fd, enter_bytes);
    entered = true;
}

void terminal::leave() {
    if (!entered) return;
    entered = false;
    // A picture cut in the middle of a sequence: the cancel byte ends the sequence.
    if (!waiting.empty()) write_patiently(out_fd, "\x18");
    waiting.clear();
    write_patiently(out_fd, leave_bytes);
    if (keys_fd >= 0) tcsetattr(keys_fd, TCSANOW, &before);
    crash_guard::disarm();
}

terminal::extent terminal::size() const {
    winsize found{};
    if (ioctl(out_fd, TIOCGWINSZ, &found) == 0 && found.ws_col > 0 && found.ws_row > 0) {
        return {found.ws_col, found.ws_row};
    }
    return {number_in("COLUMNS", 80), number_in("LINES", 24)};
}

bool terminal::write(const std::string& bytes) {
    waiting += bytes;
    return flush();
}

bool terminal::flush() {
    while (!waiting.empty()) {
        const ssize_t n = ::write(out_fd, waiting.data(), waiting.size());
        if (n >= 0) {
            waiting.erase(0, size_t(n));
            continue;
        }
        if (errno == EAGAIN) return true;
        if (errno != EINTR) return false;
    }
    return true;
}

std::string terminal::read_keys() const {
    std::array<char, 256> buffer;
    const ssize_t n = keys_fd < 0 ? 0 : ::read(keys_fd, buffer.data(), buffer.size());
    return n > 0 ? std::string(buffer.data(), size_t(n)) : std::string();
}

void terminal::suspend() {
    leave();
    raise(SIGSTOP);
    enter();
}

}  // namespace monitor
