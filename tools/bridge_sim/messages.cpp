#include "bridge_sim/messages.h"

#include <cstdio>

#include "bridge_sim/line_writer.h"

namespace bridge_sim {

void say(const std::string& message) {
    std::fprintf(stderr, "bridge_sim: %s\n", message.c_str());
}

int fail(const std::string& why) {
    say(why);
    return 1;
}

void unknown_commands::tell(const std::string& command) {
    constexpr int most = 20;
    constexpr size_t shown = 80;
    if (told++ >= most) return;
    say("unknown command \"" + json_escape(command.substr(0, shown)) + "\"");
}

}  // namespace bridge_sim
