#pragma once

// A plan as a recording: every line that a bridge would have sent, with the time at which it
// came. Pure but for the stream, any thread.

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "bridge_sim/set_plan.h"

namespace bridge_sim {

struct bridge_line {
    int64_t us = 0;         // bridge clock
    bool stamped = true;    // carries "us"; the parts of a blob do not
    std::string open_text;  // without the closing brace
};

using line_list = std::vector<bridge_line>;

// The lines in order of time. The same plan gives the same lines, but for the artwork's payload,
// which is libjpeg's.
line_list record_lines(const set_plan& plan);

// Writes the lines with "us" and "rx". False when the stream fails.
bool write_recording(std::ostream& out, const line_list& lines);

}  // namespace bridge_sim
