#pragma once

// What the simulator tells the person who started it: lines on standard error. One thread.

#include <string>

namespace bridge_sim {

void say(const std::string& message);

// Tells why it cannot go on. The exit status for that.
int fail(const std::string& why);

// Commands that no board knows. Only the first few are told, so that a client cannot flood us.
class unknown_commands {
public:
    void tell(const std::string& command);

private:
    int told = 0;
};

}  // namespace bridge_sim
