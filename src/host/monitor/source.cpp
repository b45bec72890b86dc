#include "host/monitor/source.h"

#include <sys/stat.h>

#include "net/relay/relay.h"

namespace monitor {

source_kind kind_of_source(const std::string& name) {
    if (name == "auto") return source_kind::automatic;
    if (name == "network") return source_kind::network;
    struct stat found {};
    if (stat(name.c_str(), &found) != 0) {
        return name.starts_with("/dev/") ? source_kind::serial : source_kind::recording;
    }
    return S_ISCHR(found.st_mode) ? source_kind::serial : source_kind::recording;
}

namespace {

// Quietly: what the socket has to tell would stand in the picture.
std::shared_ptr<deckbus::session> open_network() {
    auto link = deckbus::session::open_network();
    deckbus::net::start(false);
    return link;
}

}  // namespace

std::shared_ptr<deckbus::session> open_source(const options& asked, std::string& error) {
    switch (kind_of_source(asked.source)) {
    case source_kind::automatic: return deckbus::session::open_serial("");
    case source_kind::serial: return deckbus::session::open_serial(asked.source);
    case source_kind::network: return open_network();
    case source_kind::recording: break;
    }
    struct stat found {};
    if (stat(asked.source.c_str(), &found) == 0 && S_ISDIR(found.st_mode)) {
        error = "Cannot open file: " + asked.source + " is a folder";
        return nullptr;
    }
    return deckbus::session::open_replay(asked.source, asked.speed, !asked.once, error);
}

}  // namespace monitor
