#pragma once

// The tavro program as a process: in pipes, and on a terminal of its own.

#include <termios.h>

#include <string>

#include "child_process.h"
#include "pseudo_terminal.h"
#include "text_reader.h"

namespace host::test {

using test_support::outcome;
using test_support::words;

// Runs it with its output in files until it ends. It reads `input`.
outcome run(const words& arguments, const std::string& input = {});

// Runs it as `run` does, but with this redirection of the shell, such as ">&-".
outcome run_redirected(const std::string& redirection, const words& arguments,
                       const std::string& input = {});

// The program with its output in a pipe, while it runs.
struct in_pipe : test_support::piped_process {
    // Until `wanted` has come.
    explicit in_pipe(const words& arguments, const std::string& wanted = {});
};

// The program on a terminal of its own, 80 by 24 at first.
struct on_terminal {
    explicit on_terminal(const words& arguments, const char* no_color = nullptr);

    bool reads(const std::string& wanted) { return output.reads(wanted); }

    // Reads up to a prompt, and waits until the line editor has the terminal: it shows the prompt
    // a moment earlier, while the terminal would still take control keys for its own.
    bool prompts();

    void types(const std::string& keys) const;
    void resize(unsigned short width, unsigned short height) const;

    // True if the terminal's settings are those from before the program.
    bool settings_restored() const;

    int ends() { return child.ends(output); }

    test_support::pseudo_terminal terminal{test_support::pseudo_terminal::mode::line};
    const termios before;
    test_support::text_reader output;
    test_support::child_process child;
};

}  // namespace host::test
