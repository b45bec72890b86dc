#pragma once

// One test at a time on the machine's network. Nodes find each other by broadcast: a relay of one
// test would be heard, counted and spoken to by the nodes of another that runs beside it, from
// whatever build. One thread.

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>

namespace test_support {

class network_lock {
public:
    // Waits until it is free; CTest's time-out ends a wait that takes too long.
    network_lock()
        : fd(::open((std::filesystem::temp_directory_path() / "tavro_test_network").c_str(),
                    O_RDONLY | O_CREAT | O_CLOEXEC, 0644)) {
        int locked = -1;
        while (fd >= 0 && (locked = ::flock(fd, LOCK_EX)) != 0 && errno == EINTR) {
        }
        if (locked == 0) return;
        if (fd >= 0) ::close(fd);
        throw std::runtime_error("cannot lock the network for a test");
    }
    ~network_lock() { ::close(fd); }
    network_lock(const network_lock&) = delete;
    network_lock& operator=(const network_lock&) = delete;

private:
    const int fd;
};

}  // namespace test_support
