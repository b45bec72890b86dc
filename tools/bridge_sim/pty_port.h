#pragma once

// A serial port that is not there: a pseudo terminal behind a link of a chosen name.
//
// The board's end never blocks. A client opens the link like any serial port. Each client gets a
// terminal of its own, since the exclusive mode that one has set, and what it has not read, would
// stay for the next. Not thread-safe: one thread owns it.

#include <cstdint>
#include <string>
#include <string_view>

namespace bridge_sim {

class pty_port {
public:
    static constexpr size_t buffer_bytes = 32768;

    explicit pty_port(std::string link) : link_path(std::move(link)) {}
    ~pty_port() { unplug(); }
    pty_port(const pty_port&) = delete;
    pty_port& operator=(const pty_port&) = delete;

    // Makes a fresh terminal and points the link to it; clients of the one before see a hang-up.
    // A link that is there already is replaced, anything else under its name is an error. False
    // with the reason in `error`.
    bool plug(std::string& error);

    // Closes the terminal and removes the link if it is still ours. Clients see a hang-up.
    void unplug();

    bool plugged() const { return master >= 0; }
    int fd() const { return master; }  // for poll(), -1 while unplugged

    // Whether a client has the port open at this moment.
    bool has_client() const;

    // Puts a line with its newline on its way, or loses it as a whole when the buffer is full
    // because the client does not read. True if it is on its way.
    bool send(std::string_view line);

    // Writes what is still in the buffer, as far as the terminal takes it.
    void flush();

    bool stuck() const { return !buffer.empty(); }

    // What the client has written, appended to `out`.
    void receive(std::string& out);

    const std::string& terminal() const { return slave_path; }

private:
    bool open_terminal(std::string& error);
    bool make_link(std::string& error);

    std::string link_path, slave_path;
    int master = -1;
    std::string buffer;  // whole lines, the first perhaps without its beginning
};

}  // namespace bridge_sim
