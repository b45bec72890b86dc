// The simulated board: any recording can be played, and any bytes of a client are survived.
//
// The input is a recording up to the first zero byte, and what a client sends behind it.

#include "bridge_sim/board.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>

#include "bridge_sim/command_lines.h"

using namespace bridge_sim;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr double step_s = 0.7;
    constexpr int steps = 60;
    const std::string input(reinterpret_cast<const char*>(data), size);
    const size_t end = std::min(input.find('\0'), size);
    std::istringstream recording(input.substr(0, end));
    const board_script script = read_script(recording);
    if (script.lines.empty()) return 0;

    board device(script, {.speed = 1.0, .loop = true}, 0.0);
    command_lines incoming;
    incoming.add(std::string_view(input).substr(end));
    std::vector<sent_line> lines;
    for (int i = 0; i < steps; i++) {
        std::string command;
        if (incoming.next(command)) device.command(command, i * step_s);
        if (i == steps / 2) device.restart(i * step_s);
        device.collect(i * step_s, lines);
    }
    for (const sent_line& line : lines) {
        if (!ordered_json::accept(line.text)) std::abort();
    }
    return 0;
}
