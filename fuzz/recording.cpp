// Recordings: any file gives whole lines or nothing, and they replay without harm.

#include <cstdlib>
#include <sstream>
#include <string>

#include "deck/recording.h"
#include "deck/state.h"

using namespace deckbus;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    state s;
    for (const recorded_line& line : read_recording(in)) {
        if (line.line.empty() || line.line.find('\n') != std::string::npos) std::abort();
        s.feed(line.line, line.t, false);
    }
    return 0;
}
