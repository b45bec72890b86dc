#include "host/interrupter.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <limits>
#include <system_error>

#include "base/clock.h"

namespace host {

namespace {

sigset_t watched_set() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}

int checked(int descriptor, const char* what) {
    if (descriptor < 0) throw std::system_error(errno, std::generic_category(), what);
    return descriptor;
}

// For poll(): a day at a time is long enough.
int ms_until(double until) {
    constexpr double longest = 86'400'000;
    if (std::isinf(until)) return -1;
    return int(std::ceil(std::clamp((until - tvr_now_s()) * 1000.0, 0.0, longest)));
}

}  // namespace

interrupter::interrupter(double for_seconds, handler handles)
    : on_interruption(std::move(handles)) {
    const sigset_t set = watched_set();
    signals = checked(signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC), "signalfd");
    ending = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (ending < 0) ::close(signals);
    checked(ending, "eventfd");
    pthread_sigmask(SIG_BLOCK, &set, &before);
    const double until =
        for_seconds > 0 ? tvr_now_s() + for_seconds : std::numeric_limits<double>::infinity();
    thread = std::thread([this, until] { watch(until); });
}

interrupter::~interrupter() {
    eventfd_write(ending, 1);
    thread.join();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    ::close(signals);
    ::close(ending);
}

void interrupter::watch(double until) {
    for (;;) {
        pollfd ready[] = {{signals, POLLIN, 0}, {ending, POLLIN, 0}};
        ::poll(ready, 2, ms_until(until));
        if ((ready[1].revents & POLLIN) != 0) return;
        signalfd_siginfo info{};
        int signal = 0;
        if (::read(signals, &info, sizeof info) == ssize_t(sizeof info)) {
            signal = int(info.ssi_signo);
        } else if (tvr_now_s() < until) {
            continue;
        }
        if (signal == 0) until = std::numeric_limits<double>::infinity();
        if (on_interruption(signal) == answer::go_on) continue;
        // Nobody else takes them, so they find this thread.
        const sigset_t set = watched_set();
        pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
        until = std::numeric_limits<double>::infinity();
    }
}

}  // namespace host
