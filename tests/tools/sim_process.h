#pragma once

// The simulator as a process of its own, and a client at its port. Everything waits for its
// condition with a generous deadline, which fails a test that would otherwise hang.

#include <functional>
#include <string>
#include <vector>

namespace bridge_sim::test {

constexpr int deadline_ms = 60000;

// A directory of its own for a test, removed with everything in it.
class scratch {
public:
    scratch();
    ~scratch();
    std::string path(const std::string& name) const { return directory + "/" + name; }

private:
    std::string directory;
};

// Runs the program with these arguments.
class sim_process {
public:
    explicit sim_process(const std::vector<std::string>& arguments);
    ~sim_process();  // kills it if it still runs
    sim_process(const sim_process&) = delete;
    sim_process& operator=(const sim_process&) = delete;

    // Until its messages hold this text. False if it ended or stayed silent.
    bool says(const std::string& text);

    // Until it ends by itself, or by SIGTERM. The exit status; -1 when it did not end properly.
    int finish();
    int stop();

    const std::string& messages() const { return said; }

private:
    bool read_some();

    int pid = -1, errors = -1;
    std::string said;
};

// A client that opens the port as the host's program does.
class port_client {
public:
    explicit port_client(const std::string& link);
    ~port_client() { close(); }
    port_client(const port_client&) = delete;
    port_client& operator=(const port_client&) = delete;

    bool is_open() const { return fd >= 0; }
    void close();
    bool write(const std::string& text);

    // The next whole line, without its newline. False on a hang-up.
    bool read_line(std::string& line);

    // Reads until a line holds this text.
    bool sees(const std::string& text);

private:
    int fd = -1;
    std::string pending;
};

// True once the condition holds.
bool eventually(const std::function<bool()>& condition);

// True once something is found under the path.
bool appears(const std::string& path);

// Value behind a word of the summary, such as "sent" or "ping". -1 when it is missing.
long long count_in(const std::string& summary, const std::string& word);

}  // namespace bridge_sim::test
