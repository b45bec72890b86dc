#pragma once

// The program as a process: in pipes, and on a terminal of its own.

#include <sys/types.h>
#include <termios.h>

#include <string>
#include <vector>

namespace host::test {

using words = std::vector<std::string>;

struct outcome {
    int status = -1;  // exit status, or 128 and the signal
    std::string out, err;
};

// In the child of a fork: becomes the program.
[[noreturn]] void become_tavro(const words& arguments);

// Waits for the end; its status as in outcome.
int wait_for(pid_t child);

// All that comes until the other side closes.
std::string slurp(int fd);

// Runs it with its output in pipes until it ends. It reads `input`.
outcome run(const words& arguments, const std::string& input = {});

// The program with its output in a pipe, while it runs.
class in_pipe {
public:
    // Until `wanted` has come.
    in_pipe(const words& arguments, const std::string& wanted);
    ~in_pipe();
    in_pipe(const in_pipe&) = delete;
    in_pipe& operator=(const in_pipe&) = delete;

    int ends();

    pid_t child = -1;
    int reader = -1;
    std::string got;
};

// The program on a terminal of its own.
class on_terminal {
public:
    explicit on_terminal(const words& arguments, const char* no_color = nullptr);
    ~on_terminal();
    on_terminal(const on_terminal&) = delete;
    on_terminal& operator=(const on_terminal&) = delete;

    // Reads until the words have come since the last call; false after a long time without them.
    bool reads(const std::string& wanted);

    // Reads up to a prompt, and waits until the line editor has the terminal: it shows the prompt
    // a moment earlier, while the terminal would still take control keys for its own.
    bool prompts();

    // True if the words came at any time up to now.
    bool ever_read(const std::string& wanted) const {
        return whole.find(wanted) != std::string::npos;
    }

    void types(const std::string& keys) const;
    void resize(unsigned short width, unsigned short height) const;

    // True if the terminal's settings are those from before the program.
    bool settings_restored() const;

    // The status it ends with; that of a kill when it does not end in a long time.
    int ends();

    pid_t child = -1;

private:
    int master = -1, slave = -1;
    termios before{};
    std::string seen, whole;  // since the last words found; since the start
};

}  // namespace host::test
