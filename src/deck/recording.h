#pragma once

// Recordings: bridge lines with the time at which each of them arrived.
//
// JSONL, one bridge line a line, with two optional keys: "rx", s at which the logger got it, and
// "us", the bridge's clock in microseconds. docs/usb-protokoll.md tells the form.
// Pure but for the file, any thread.

#include <istream>
#include <string>
#include <vector>

namespace deckbus {

struct recorded_line {
    double t = 0;      // s; "rx", else "us" where that is later, else that of the line before
    std::string line;  // as it stands in the file
};

using recording = std::vector<recorded_line>;

// Reads a whole recording into memory. Lines that are no object or lack a string "t" are skipped.
recording read_recording(std::istream& in);

// The recording in a file; empty, with the reason in `error`, when it cannot be opened or holds
// no usable line. Blocks on the file.
recording load_recording(const std::string& path, std::string& error);

}  // namespace deckbus
