#include "host/monitor/signals.h"

#include <poll.h>
#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <system_error>

namespace monitor {

namespace {

constexpr int watched[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGCONT, SIGWINCH};
constexpr int ending[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

sigset_t watched_set() {
    sigset_t set;
    sigemptyset(&set);
    for (int s : watched) sigaddset(&set, s);
    return set;
}

}  // namespace

signal_watch::signal_watch() {
    const sigset_t set = watched_set();
    fd = signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
    if (fd < 0) throw std::system_error(errno, std::generic_category(), "signalfd");
    pthread_sigmask(SIG_BLOCK, &set, &before);
    std::signal(SIGPIPE, SIG_IGN);  // a closed pipe is told by write()
}

signal_watch::~signal_watch() {
    // What is still waiting has been obeyed: the program is ending anyway.
    take();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    close(fd);
}

std::vector<int> signal_watch::take() const {
    std::vector<int> result;
    signalfd_siginfo info;
    while (read(fd, &info, sizeof info) == ssize_t(sizeof info)) {
        result.push_back(int(info.ssi_signo));
    }
    return result;
}

std::vector<int> signal_watch::wait(double timeout_s) const {
    pollfd waiting{fd, POLLIN, 0};
    poll(&waiting, 1, std::max(int(timeout_s * 1000.0), 0));
    return take();
}

void signal_watch::release() const {
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

bool signal_watch::asks_to_end(int signal) {
    return std::find(std::begin(ending), std::end(ending), signal) != std::end(ending);
}

}  // namespace monitor
