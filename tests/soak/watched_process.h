#pragma once

// A process that is watched from outside: what it says is counted line by line and not kept, and
// /proc tells what it holds.
//
// Single-threaded, like all of the driver: read() is called often enough that the pipes never fill.

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace soak {

struct sample {
    double at = 0;            // s since the start of the night
    double resident_mib = 0;  // resident memory
    long descriptors = 0;     // open
    long threads = 0;
};

class watched_process {
public:
    // Sees every whole line, of standard output and of standard error.
    using line_reader = std::function<void(std::string_view line, bool is_error)>;

    watched_process(std::string named, const std::vector<std::string>& arguments, line_reader to);
    ~watched_process();  // kills it if it still runs
    watched_process(const watched_process&) = delete;
    watched_process& operator=(const watched_process&) = delete;

    // Takes what has been written; waits for it up to so many ms.
    void read(int wait_ms);

    // True once the process has ended; everything it said has been read then.
    bool has_ended();

    // Sends SIGINT.
    void interrupt() const;

    // What it holds now; all 0 once it has ended.
    sample look(double at) const;

    // "exit status 1", "signal 11"; empty for a good end or none yet.
    std::string bad_end() const;

    const std::string name;

private:
    struct stream {
        int fd = -1;
        bool is_error = false;
        std::string unfinished;  // line
    };

    void read_from(stream& from);

    line_reader reader;
    stream streams[2];
    pid_t pid = -1;
    bool ended = false;
    int status = 0;  // as waitpid tells, once it has ended
};

// "frames=12 beats=3" as numbers by name; words of another form are left out.
std::map<std::string, int64_t> counts_in(std::string_view line);

}  // namespace soak
