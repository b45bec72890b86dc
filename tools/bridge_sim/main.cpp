// bridge_sim: a board that is not there.

#include <cstdio>
#include <exception>

#include "base/standard_streams.h"
#include "bridge_sim/command_line.h"

int main(int argc, char** argv) {
    tvr_hold_standard_streams();
    try {
        return bridge_sim::run_command_line(argc, argv);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "bridge_sim: %s\n", e.what());
        return 1;
    }
}
