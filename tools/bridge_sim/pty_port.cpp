#include "bridge_sim/pty_port.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

namespace bridge_sim {

namespace {

std::string reason(const std::string& what) {
    return what + ": " + std::strerror(errno);
}

// The terminal starts raw, so that a client which sets nothing gets no echo. Opening and closing
// it once also makes a client's absence visible: before the first close there is no hang-up.
bool make_raw(const std::string& path, std::string& error) {
    const int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        error = reason("Cannot open " + path);
        return false;
    }
    termios mode{};
    bool done = tcgetattr(fd, &mode) == 0;
    cfmakeraw(&mode);
    done = done && tcsetattr(fd, TCSANOW, &mode) == 0;
    if (!done) error = reason("Cannot configure " + path);
    ::close(fd);
    return done;
}

}  // namespace

bool pty_port::plug(std::string& error) {
    // The new terminal exists before the old one goes: so they never share a name, and a client
    // that has the old name cannot open the new terminal by it.
    const int old = master;
    buffer.clear();
    const bool done = open_terminal(error) && make_link(error);
    if (old >= 0) ::close(old);
    if (!done) unplug();
    return done;
}

bool pty_port::open_terminal(std::string& error) {
    master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    char name[64];
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0 ||
        ptsname_r(master, name, sizeof name) != 0) {
        error = reason("Cannot make a pseudo terminal");
        return false;
    }
    slave_path = name;
    return make_raw(slave_path, error);
}

// The link changes in one step: a client finds the old terminal or the new one.
bool pty_port::make_link(std::string& error) {
    struct stat info {};
    if (lstat(link_path.c_str(), &info) == 0 && !S_ISLNK(info.st_mode)) {
        error = link_path + " exists and is no symbolic link";
        return false;
    }
    const std::string fresh = link_path + "." + std::to_string(getpid());
    ::unlink(fresh.c_str());
    if (symlink(slave_path.c_str(), fresh.c_str()) != 0 ||
        rename(fresh.c_str(), link_path.c_str()) != 0) {
        error = reason("Cannot make the link " + link_path);
        ::unlink(fresh.c_str());
        return false;
    }
    return true;
}

void pty_port::unplug() {
    if (master < 0) return;
    char target[128];
    const ssize_t length = readlink(link_path.c_str(), target, sizeof target);
    if (length > 0 && std::string_view(target, size_t(length)) == slave_path) {
        ::unlink(link_path.c_str());
    }
    ::close(master);
    master = -1;
    buffer.clear();
}

bool pty_port::has_client() const {
    if (master < 0) return false;
    pollfd p{master, 0, 0};
    return poll(&p, 1, 0) >= 0 && (p.revents & (POLLHUP | POLLERR | POLLNVAL)) == 0;
}

bool pty_port::send(std::string_view line) {
    if (buffer.size() + line.size() > buffer_bytes) flush();
    if (buffer.size() + line.size() > buffer_bytes) return false;
    buffer += line;
    return true;
}

void pty_port::flush() {
    size_t written = 0;
    while (written < buffer.size() && master >= 0) {
        const ssize_t n = ::write(master, buffer.data() + written, buffer.size() - written);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        written += size_t(n);
    }
    buffer.erase(0, written);
}

void pty_port::receive(std::string& out) {
    char data[4096];
    while (master >= 0) {
        const ssize_t got = ::read(master, data, sizeof data);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return;
        out.append(data, size_t(got));
    }
}

}  // namespace bridge_sim
