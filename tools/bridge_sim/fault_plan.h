#pragma once

// What shall go wrong: lines lost or damaged by chance, and mishaps at given times.
//
// Chance is drawn for each line from the seed and the line's place in its stream alone. So the
// same seed harms the same lines, however fast they are read and whoever asks questions.
// Pure, any thread.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "bridge_sim/board.h"

namespace bridge_sim {

struct mishap {
    enum class what { stall, reboot, unplug };

    what kind = what::stall;
    double at_s = 0;     // from the start of the board
    double lasts_s = 0;  // 0 for a reboot, which takes its own time
};

struct fault_plan {
    // True if this line is lost.
    bool drops(const sent_line& line) const;

    // Changes one byte of the line, the newline included, or none. True if it did.
    bool garbles(const sent_line& line, std::string& text) const;

    uint64_t seed = 1;
    double drop = 0;                // probability that a line is lost
    double garble = 0;              // probability that one byte of a line is damaged
    std::vector<mishap> mishaps{};  // in order of time once sort() has run

    void sort();
};

// "SECONDS@T" or, for a reboot, "T". False when the text is none of that or a number is negative.
bool parse_mishap(mishap::what kind, std::string_view text, mishap& out);

}  // namespace bridge_sim
