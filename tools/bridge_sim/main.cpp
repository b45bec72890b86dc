// bridge_sim: a board that is not there.

#include <exception>

#include "base/standard_streams.h"
#include "bridge_sim/command_line.h"
#include "bridge_sim/messages.h"

int main(int argc, char** argv) {
    tvr_hold_standard_streams();
    try {
        return bridge_sim::run_command_line(argc, argv);
    } catch (const std::exception& e) {
        return bridge_sim::fail(e.what());
    }
}
