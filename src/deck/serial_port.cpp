#include "deck/serial_port.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "base/clock.h"

namespace deckbus {

namespace {

struct baud_code {
    int baud;
    speed_t code;
};

constexpr baud_code baud_codes[] = {
    {9600, B9600},       {19200, B19200},     {38400, B38400},     {57600, B57600},
    {115200, B115200},   {230400, B230400},   {460800, B460800},   {921600, B921600},
    {1000000, B1000000}, {1500000, B1500000}, {2000000, B2000000}, {3000000, B3000000},
};

const baud_code* find_baud(int baud) {
    const auto* found = std::find_if(std::begin(baud_codes), std::end(baud_codes),
                                     [&](const baud_code& b) { return b.baud == baud; });
    return found == std::end(baud_codes) ? nullptr : found;
}

std::string open_problem(int code) {
    if (code == EACCES) return "Permission denied (add the user to the dialout group)";
    if (code == EBUSY) return "Port busy";
    return std::string("Cannot open port: ") + std::strerror(code);
}

std::string first_line(const std::filesystem::path& file) {
    std::ifstream in(file);
    std::string line;
    std::getline(in, line);
    return line;
}

int hex_line(const std::filesystem::path& file) {
    return int(std::strtol(first_line(file).c_str(), nullptr, 16));
}

// Reads what USB says of a tty, from the nearest folder above its device that knows.
void describe(const std::filesystem::path& device, serial_port::entry& port) {
    constexpr int levels = 6;
    std::error_code failed;
    std::filesystem::path folder = std::filesystem::canonical(device, failed);
    if (failed) return;
    for (int i = 0; i <= levels; ++i, folder = folder.parent_path()) {
        if (!std::filesystem::exists(folder / "idVendor", failed)) continue;
        port.vid = hex_line(folder / "idVendor");
        port.pid = hex_line(folder / "idProduct");
        port.description = first_line(folder / "product");
        return;
    }
}

}  // namespace

bool serial_port::open(const std::string& path, int baud, std::string& error) {
    close();
    if (find_baud(baud) == nullptr) {
        error = "Baud rate " + std::to_string(baud) + " not supported";
        return false;
    }
    fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        error = open_problem(errno);
        return false;
    }
    if (claim(error) && configure(baud, error)) return true;
    close();
    return false;
}

// Takes the port for this process. Root passes TIOCEXCL, so the lock comes on top of it.
bool serial_port::claim(std::string& error) {
    if (::ioctl(fd, TIOCEXCL) < 0 && errno == EBUSY) {
        error = "Port busy";
        return false;
    }
    claimed = true;
    if (::flock(fd, LOCK_EX | LOCK_NB) < 0 && errno == EWOULDBLOCK) {
        error = "Port busy (is bridge.py or a serial monitor running?)";
        claimed = false;  // the mark is the owner's: taking it back would let others in
        return false;
    }
    return true;
}

bool serial_port::configure(int baud, std::string& error) {
    termios tty{};
    if (::tcgetattr(fd, &tty) < 0) {
        error = std::string("Not a serial port: ") + std::strerror(errno);
        return false;
    }
    ::cfmakeraw(&tty);
    tty.c_cc[VMIN] = 0;
    tty.c_cc[VTIME] = 0;
    tty.c_iflag &= ~tcflag_t(IXON | IXOFF | IXANY);
    tty.c_cflag &= ~tcflag_t(CRTSCTS | CSTOPB | PARENB | HUPCL);
    tty.c_cflag |= CS8 | CREAD | CLOCAL;
    const speed_t speed = find_baud(baud)->code;
    ::cfsetispeed(&tty, speed);
    ::cfsetospeed(&tty, speed);
    if (::tcsetattr(fd, TCSANOW, &tty) < 0) {
        error = std::string("Cannot configure port: ") + std::strerror(errno);
        return false;
    }
    // Both lines low, or the board is held in reset. A pty has none; that is no fault.
    const int lines = TIOCM_DTR | TIOCM_RTS;
    ::ioctl(fd, TIOCMBIC, &lines);
    return true;
}

// Gives what was written a moment to leave: a last command is worth the wait.
void serial_port::drain() const {
    constexpr double patience_s = 0.1;
    constexpr std::chrono::milliseconds pause{1};
    const double until = tvr_now_s() + patience_s;
    int unsent = 0;
    while (::ioctl(fd, TIOCOUTQ, &unsent) == 0 && unsent > 0 && tvr_now_s() < until) {
        std::this_thread::sleep_for(pause);
    }
}

void serial_port::close() {
    if (fd < 0) return;
    if (claimed) {
        // The driver of a board that takes nothing more would keep close() waiting for half a
        // minute for what was written and not sent, and with it whoever ends the session.
        drain();
        ::tcflush(fd, TCOFLUSH);
        // On a pty the exclusive mark outlives the closing and would keep everybody but root out.
        ::ioctl(fd, TIOCNXCL);
    }
    ::close(fd);
    fd = -1;
    claimed = false;
}

int serial_port::read(uint8_t* buffer, size_t size, int timeout_ms) {
    if (fd < 0) return -1;
    pollfd waiting{fd, POLLIN, 0};
    const int ready = ::poll(&waiting, 1, timeout_ms);
    if (ready < 0) return errno == EINTR ? 0 : -1;
    if (ready == 0) return 0;
    if ((waiting.revents & (POLLERR | POLLHUP | POLLNVAL)) != 0) return -1;  // unplugged
    const ssize_t got = ::read(fd, buffer, size);
    if (got < 0) return errno == EAGAIN || errno == EINTR ? 0 : -1;
    return got == 0 ? -1 : int(got);  // ready and nothing there: end of file
}

// False when the port took nothing for so long, however many signals came meanwhile.
bool serial_port::wait_for_room() const {
    constexpr double patience_s = 0.5, ms_per_s = 1000.0;
    const double until = tvr_now_s() + patience_s;
    for (;;) {
        pollfd waiting{fd, POLLOUT, 0};
        const double left_s = std::max(until - tvr_now_s(), 0.0);
        const int ready = ::poll(&waiting, 1, int(left_s * ms_per_s));
        if (ready > 0) return true;
        if (ready == 0 || errno != EINTR) return false;
    }
}

bool serial_port::write(const void* data, size_t size) {
    if (fd < 0) return size == 0;
    const auto* rest = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t put = ::write(fd, rest, size);
        if (put > 0) {
            rest += put;
            size -= size_t(put);
            continue;
        }
        if (put < 0 && errno != EAGAIN && errno != EINTR) return false;
        if (!wait_for_room()) return false;
    }
    return true;
}

std::vector<serial_port::entry> serial_port::list(const std::string& sys_class_tty,
                                                  const std::string& dev_folder) {
    std::vector<entry> ports;
    std::error_code failed;
    std::filesystem::directory_iterator tty(sys_class_tty, failed);
    for (; !failed && tty != std::filesystem::directory_iterator(); tty.increment(failed)) {
        const std::string name = tty->path().filename().string();
        if (name.rfind("ttyACM", 0) != 0 && name.rfind("ttyUSB", 0) != 0) continue;
        entry port;
        port.path = dev_folder + name;
        describe(tty->path() / "device", port);
        ports.push_back(std::move(port));
    }
    std::sort(ports.begin(), ports.end(),
              [](const entry& a, const entry& b) { return a.path < b.path; });
    return ports;
}

}  // namespace deckbus
