#pragma once

// Lines on their way into a pipe or file, without ever waiting for whoever reads them.
//
// A reader that is slow for a while loses nothing; one that has stopped loses the oldest lines,
// and their number is kept. One thread.

#include <cstddef>
#include <deque>
#include <string>

namespace monitor {

class line_output {
public:
    static constexpr size_t max_waiting_bytes = 8 << 20;

    explicit line_output(int descriptor) : fd(descriptor) {}

    // Queues a line; it comes without its end.
    void add(std::string line);

    // Writes what the reader takes now. False once nothing can be written any more.
    bool pump() { return write_out(0); }

    // Writes everything, waiting for the reader as long as it takes.
    bool drain();

    bool open() const { return !closed; }

    // Why writing failed; empty when the reader simply went away.
    const std::string& problem() const { return trouble; }

    size_t lost_lines() const { return lost; }

private:
    bool write_out(int timeout_ms);
    void take_from_front(size_t bytes);
    bool fail(int error);

    int fd;
    std::deque<std::string> lines;
    size_t waiting_bytes = 0;
    size_t written_of_front = 0;  // bytes of the first line that are out already
    size_t lost = 0;
    bool closed = false;
    std::string trouble;
};

}  // namespace monitor
