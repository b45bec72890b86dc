#pragma once

// The board on its port: one loop that sends what is due, takes commands and lets things go wrong.
//
//   board_script   the recording as a part to play      (board_script.h)
//   board          what is due now; answers             (board.h)
//   fault_plan     which lines are harmed, and mishaps  (fault_plan.h)
//   pty_port       the pseudo terminal and its link     (pty_port.h)
//
// One thread. SIGINT, SIGTERM and SIGHUP end the loop; they are blocked for the process while it
// runs and read from a descriptor.

#include <string>

#include "bridge_sim/board.h"
#include "bridge_sim/fault_plan.h"

namespace bridge_sim {

struct serve_wish {
    std::string link;
    std::string file;
    board_wish board;
    fault_plan faults;
};

// Serves until a signal or the end of the script. The result is the exit status; what happened
// goes to standard error, last a summary.
int serve(serve_wish wish);

}  // namespace bridge_sim
