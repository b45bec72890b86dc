#include "text_reader.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "waiting.h"

namespace test_support {

int text_reader::open_pipe() {
    int both[2];
    if (pipe2(both, O_CLOEXEC) != 0) throw std::runtime_error("cannot make a pipe");
    fd = both[0];
    return both[1];
}

bool text_reader::reads(const std::string& wanted) {
    const size_t at = find(wanted, found);
    if (at == std::string::npos) return false;
    found = at + wanted.size();
    return true;
}

bool text_reader::ever_reads(const std::string& wanted) {
    return find(wanted, 0) != std::string::npos;
}

std::string text_reader::rest() {
    while (read_some(int(deadline.count()))) {
    }
    return all.substr(found);
}

bool text_reader::read_some(int timeout_ms) {
    pollfd ready{fd, POLLIN, 0};
    if (poll(&ready, 1, timeout_ms) <= 0) return false;
    char buffer[65536];
    const ssize_t got = read(fd, buffer, sizeof buffer);
    if (got > 0) all.append(buffer, size_t(got));
    return got > 0;
}

void text_reader::close() {
    if (fd >= 0) ::close(fd);
    fd = -1;
}

// Whoever draws for ever never falls silent, so the time is limited as a whole.
size_t text_reader::find(const std::string& wanted, size_t from) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    size_t at;
    while ((at = all.find(wanted, from)) == std::string::npos) {
        from = std::max(from, all.size() - std::min(all.size(), wanted.size()));
        if (std::chrono::steady_clock::now() > end || !read_some(int(deadline.count()))) break;
    }
    return at;
}

}  // namespace test_support
