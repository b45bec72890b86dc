#pragma once

// The terminal while the monitor has it: other screen, no cursor, keys without echo.
//
// Everything is put back when the object goes, before a stop by Ctrl-Z, and when the program
// crashes. Keys that send signals go on doing so: signal_watch reads them.
//
// Writing never blocks: what a slow terminal does not take waits here, and no new picture is due
// meanwhile. One object at a time; belongs to the monitor's thread.

#include <termios.h>

#include <string>

namespace monitor {

class terminal {
public:
    // Standard output is a terminal.
    terminal();
    ~terminal();
    terminal(const terminal&) = delete;
    terminal& operator=(const terminal&) = delete;

    struct extent {
        int width, height;
    };

    // The window's size in cells.
    extent size() const;

    // Queues a picture and writes what the terminal takes. False when the terminal is gone.
    bool write(const std::string& bytes);

    // Writes more of what waits. False when the terminal is gone.
    bool flush();

    // True when everything queued has been written, and a new picture is due.
    bool ready() const { return waiting.empty(); }

    // The descriptor to poll for keys; -1 when standard input is no terminal.
    int input() const { return keys_fd; }
    int output() const { return out_fd; }

    // The bytes of the keys pressed; does not block.
    std::string read_keys() const;

    // Puts everything back, stops this process, and takes the terminal again when it goes on.
    void suspend();

private:
    void enter();
    void leave();

    int out_fd = 1;
    int keys_fd = -1;
    bool own_out = false;  // out_fd is ours, non-blocking without touching the shell's
    bool entered = false;
    termios before{};
    std::string waiting;  // bytes that the terminal has not taken yet
};

}  // namespace monitor
