#include "host/monitor/line_output.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

namespace monitor {

void line_output::add(std::string line) {
    line += '\n';
    waiting_bytes += line.size();
    lines.push_back(std::move(line));
    while (waiting_bytes > max_waiting_bytes && lines.size() > 1) {
        // A line that is partly out must be finished; the one behind it goes instead.
        const size_t victim = written_of_front > 0 ? 1 : 0;
        waiting_bytes -= lines[victim].size();
        lines.erase(lines.begin() + long(victim));
        ++lost;
    }
}

bool line_output::drain() {
    while (!closed && !lines.empty()) write_out(-1);
    return !closed;
}

// A pipe that polls as writable takes PIPE_BUF bytes without blocking.
bool line_output::write_out(int timeout_ms) {
    while (!closed) {
        pollfd out{fd, POLLOUT, 0};
        const int found = poll(&out, 1, lines.empty() ? 0 : timeout_ms);
        if (found < 0 && errno != EINTR) return fail(errno);
        if (found > 0 && (out.revents & (POLLERR | POLLNVAL)) != 0) return fail(EPIPE);
        if (found <= 0 || (out.revents & POLLOUT) == 0 || lines.empty()) break;
        const std::string& line = lines.front();
        const size_t size = std::min(line.size() - written_of_front, size_t(PIPE_BUF));
        const ssize_t n = write(fd, line.data() + written_of_front, size);
        if (n >= 0) take_from_front(size_t(n));
        if (n < 0 && errno != EINTR && errno != EAGAIN) return fail(errno);
    }
    return !closed;
}

void line_output::take_from_front(size_t bytes) {
    written_of_front += bytes;
    if (written_of_front < lines.front().size()) return;
    waiting_bytes -= lines.front().size();
    lines.pop_front();
    written_of_front = 0;
}

bool line_output::fail(int error) {
    closed = true;
    if (error != EPIPE) trouble = std::strerror(error);
    return false;
}

}  // namespace monitor
