#pragma once

// Writes the lines of a session into a file, each with the time of its arrival.
//
// The session's thread hands lines over under the session's mutex and never waits for a disk. The
// recorder's owner takes them out and writes them, a few times a second; what the computer holds
// back goes to the disk once a second, so a crash costs that much at most.

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "deck/session.h"

namespace host {

// A board's line as it stands in a recording: "rx" in front, in s. What is no object stays as it
// is, for people; whoever plays the recording skips it.
std::string recorded_line(std::string_view line, double rx);

class line_recorder {
public:
    static constexpr size_t most_waiting = 64 << 20;  // bytes; the oldest lines go above it

    // Takes the session's lines from now on. One recorder for a session.
    explicit line_recorder(std::shared_ptr<deckbus::session> from);
    ~line_recorder();  // writes nothing any more
    line_recorder(const line_recorder&) = delete;
    line_recorder& operator=(const line_recorder&) = delete;

    // Makes the file; one that exists already is left alone. False, with the reason in `error`.
    bool create(const std::string& path, std::string& error);

    // Writes what has come since the last time. False, with the reason in `error`, when the disk
    // does not take it. May block.
    bool write(std::string& error);

    // Writes the rest, and gives the file back. As write().
    bool finish(std::string& error);

    uint64_t lines() const { return written_lines; }
    uint64_t bytes() const { return written_bytes; }
    uint64_t lost() const;  // lines that came faster than the disk took them

private:
    struct arrived {
        std::string line;
        double t;  // s, steady clock
    };

    void take(std::string_view line, double t);  // by the session's thread, with its mutex
    bool put(std::string_view text, std::string& error);
    bool flush(std::string& error);

    const std::shared_ptr<deckbus::session> session;
    const double started;          // s, steady clock; 0 of "rx"
    std::vector<arrived> waiting;  // and the two below: with the session's mutex
    size_t waiting_bytes = 0;
    uint64_t lost_lines = 0;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file{nullptr, &std::fclose};
    std::string name;
    uint64_t written_lines = 0, written_bytes = 0;
    double last_flush = 0;  // s
};

}  // namespace host
