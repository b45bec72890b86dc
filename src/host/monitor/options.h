#pragma once

// What a person asked of `tavro monitor`.

#include <string>

namespace monitor {

struct options {
    std::string source;      // a recording, a serial device, "auto" or "network"
    double speed = 1.0;      // of a recording
    bool once = false;       // the recording plays once, and the monitor ends with it
    double for_seconds = 0;  // ends after so long; 0 means never
    bool json = false;       // a snapshot a second instead of events
    std::string artnet;      // address to which the decks' universe goes; empty for none
    std::string png;         // file for the picture of the decks at the end; empty for none
};

// Looks and listens until it is over. The exit status.
int run(const options& asked);

}  // namespace monitor
