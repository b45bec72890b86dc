#pragma once

// From the word on the command line to a session.

#include <memory>
#include <string>

#include "deck/session.h"
#include "host/monitor/options.h"

namespace monitor {

enum class source_kind { automatic, serial, recording, network };

// "auto" is the first bridge that is found, "network" a relay on the network. A character device is
// serial, and so is a path in /dev/ that does not exist, since a bridge may still be plugged in.
// All else is a recording.
source_kind kind_of_source(const std::string& name);

// Null, with the reason in `error`, for a recording that cannot be played. A serial session is
// always opened: it tries to connect until somebody ends it. That of the network waits for a
// relay, and its node runs from then on.
std::shared_ptr<deckbus::session> open_source(const options& asked, std::string& error);

}  // namespace monitor
