#pragma once

// A serial port, and the finding of the bridge among those of the machine.
//
// Belongs to one thread; nothing here locks. Opening takes the port for this process alone.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace deckbus {

// USB vendor of the bridge's serial chip.
inline constexpr int bridge_vid = 0x1a86;

class serial_port {
public:
    struct entry {
        std::string path;         // device path
        std::string description;  // USB product text
        int vid = 0;
        int pid = 0;
    };

    serial_port() = default;
    ~serial_port() { close(); }
    serial_port(const serial_port&) = delete;
    serial_port& operator=(const serial_port&) = delete;

    // Opens the port raw, without flow control, for this process alone. On failure false, the
    // reason in `error`, and the port is closed.
    bool open(const std::string& path, int baud, std::string& error);

    // Gives the port back to everybody. What was written and has not left within 0.1 s is thrown
    // away.
    void close();

    bool is_open() const { return fd >= 0; }

    // Waits up to timeout_ms for bytes. Their number, 0 when none came, -1 when the port is gone.
    int read(uint8_t* buffer, size_t size, int timeout_ms);

    // Writes all of it, waiting up to 500 ms wherever the port is full. False when it could not.
    bool write(const void* data, size_t size);

    // The machine's USB serial ports, by path. sys_class_tty and dev_folder are other folders in
    // tests only.
    static std::vector<entry> list(const std::string& sys_class_tty = "/sys/class/tty",
                                   const std::string& dev_folder = "/dev/");

private:
    bool claim(std::string& error);
    bool configure(int baud, std::string& error);
    bool wait_for_room() const;
    void drain() const;

    int fd = -1;
    bool claimed = false;  // the exclusive mark on the port is ours to take back
};

}  // namespace deckbus
