#pragma once

// A relay that is not there: plays a recording over TavroNet to whoever listens, and hands their
// commands to the board behind it.
//
//   board          what is due now; answers      (board.h)
//   relay_node     the node on the network       (relay.cpp)
//   fault socket   what goes wrong on the way    (net/fault_socket.h)
//
// One thread, and those of the socket. SIGINT, SIGTERM and SIGHUP end it.

#include <string>
#include <vector>

#include "bridge_sim/board.h"
#include "net/address.h"
#include "net/fault_socket.h"

namespace bridge_sim {

struct relay_wish {
    std::string file;
    std::string name = "bridge_sim relay";
    board_wish board;
    tvrnet_faults faults;
    std::vector<double> restarts;    // s from the start: the relay fails and comes back
    std::vector<std::string> peers;  // addresses that are called instead of all
    bool pcm = false;                // sound as packets of its own instead of lines
};

// Plays until a signal or the end of the script. The result is the exit status; what happened
// goes to standard error, last a summary.
int relay(relay_wish wish);

}  // namespace bridge_sim
