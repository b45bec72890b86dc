#pragma once

// Both ends of a pseudo terminal, closed at the end. One thread.

#include <fcntl.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

namespace test_support {

struct pseudo_terminal {
    enum class mode { line, raw };  // as a shell finds it, or as a board's port: bytes unchanged

    explicit pseudo_terminal(mode wanted) {
        char name[128];
        termios raw{};
        cfmakeraw(&raw);
        const winsize size{24, 80, 0, 0};
        if (openpty(&master, &slave, name, wanted == mode::raw ? &raw : nullptr, &size) != 0)
            throw std::runtime_error("cannot make a pseudo terminal");
        path = name;
        for (const int fd : {master, slave}) fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
    ~pseudo_terminal() {
        close(master);
        close(slave);
    }
    pseudo_terminal(const pseudo_terminal&) = delete;
    pseudo_terminal& operator=(const pseudo_terminal&) = delete;

    int master = -1, slave = -1;
    std::string path;  // of the slave
};

}  // namespace test_support
