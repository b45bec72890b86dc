#include "host/interrupter.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <limits>
#include <system_error>

#include "base/clock.h"

namespace host {

namespace {

constexpr int watched[] = {SIGINT, SIGTERM};

int open_event() {
    const int descriptor = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
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
    : on_interruption(std::move(handles)), signals(watched), ending(open_event()) {
    const double until =
        for_seconds > 0 ? tvr_now_s() + for_seconds : std::numeric_limits<double>::infinity();
    thread = std::thread([this, until] { watch(until); });
}

interrupter::~interrupter() {
    eventfd_write(ending, 1);
    thread.join();
    ::close(ending);
}

void interrupter::watch(double until) {
    for (;;) {
        pollfd ready[] = {{signals.descriptor(), POLLIN, 0}, {ending, POLLIN, 0}};
        ::poll(ready, 2, ms_until(until));
        if ((ready[1].revents & POLLIN) != 0) return;
        const int signal = signals.next();
        if (signal == 0 && tvr_now_s() < until) continue;
        if (signal == 0) until = std::numeric_limits<double>::infinity();
        if (on_interruption(signal) == answer::go_on) continue;
        signals.let_through();  // nobody else takes them, so they find this thread
        until = std::numeric_limits<double>::infinity();
    }
}

}  // namespace host
