#pragma once

// The simulator as a process of its own, and a client at its port. Everything waits for its
// condition with a generous deadline, which fails a test that would otherwise hang.

#include <string>

#include "child_process.h"
#include "scratch.h"
#include "waiting.h"

namespace bridge_sim::test {

using test_support::eventually;
using test_support::scratch;

// Runs the program with these arguments. What it says is its standard error.
class sim_process {
public:
    explicit sim_process(const test_support::words& arguments);

    // Until its messages hold this text. False if it ended or the deadline passed before.
    bool says(const std::string& text) { return process.output.ever_reads(text); }

    // Until it ends by itself, or by SIGTERM. The exit status, or 128 and the signal.
    int finish() { return process.ends(); }
    int stop();

    // All that it has said up to its end, or up to what was waited for.
    const std::string& messages() const { return process.output.text(); }

private:
    test_support::piped_process process;
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

// True once something is found under the path.
bool appears(const std::string& path);

// Value behind a word of the summary, such as "sent" or "ping". -1 when it is missing.
long long count_in(const std::string& summary, const std::string& word);

}  // namespace bridge_sim::test
