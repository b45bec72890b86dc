#pragma once

// Bytes from a client, cut into commands. Pure, one thread.

#include <string>
#include <string_view>

namespace bridge_sim {

class command_lines {
public:
    // Longer ones are no commands; they are cut here and go on to be refused.
    static constexpr size_t longest = 1024;

    void add(std::string_view data) { pending += data; }

    // The next command, without newline, carriage return and blanks at its end. False when no
    // whole line is left.
    bool next(std::string& command);

    void clear() { pending.clear(); }

private:
    std::string pending;
    bool skipping = false;  // inside a line that was too long
};

}  // namespace bridge_sim
