#include "host/monitor/signals.h"

#include <poll.h>

#include <algorithm>
#include <csignal>
#include <iterator>

namespace monitor {

namespace {

constexpr int obeyed[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGCONT, SIGWINCH};
constexpr int ending[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

}  // namespace

signal_watch::signal_watch() : watched(obeyed) {
    std::signal(SIGPIPE, SIG_IGN);
}

std::vector<int> signal_watch::take() const {
    std::vector<int> result;
    while (const int signal = watched.next()) result.push_back(signal);
    return result;
}

std::vector<int> signal_watch::wait(double timeout_s) const {
    pollfd waiting{descriptor(), POLLIN, 0};
    poll(&waiting, 1, std::max(int(timeout_s * 1000.0), 0));
    return take();
}

bool signal_watch::asks_to_end(int signal) {
    return std::find(std::begin(ending), std::end(ending), signal) != std::end(ending);
}

}  // namespace monitor
