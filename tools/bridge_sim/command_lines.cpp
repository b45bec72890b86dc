#include "bridge_sim/command_lines.h"

namespace bridge_sim {

bool command_lines::next(std::string& command) {
    for (;;) {
        const size_t end = pending.find('\n');
        const bool too_long = (end == std::string::npos ? pending.size() : end) > longest;
        if (end == std::string::npos && !too_long) return false;
        const size_t length = too_long ? longest : end;
        command.assign(pending, 0, length);
        pending.erase(0, too_long ? length : length + 1);
        const bool rest_of_long = skipping;
        skipping = too_long;
        command.erase(command.find_last_not_of("\r ") + 1);
        if (!rest_of_long && !command.empty()) return true;
    }
}

}  // namespace bridge_sim
