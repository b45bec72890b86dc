// A long night in a club, for minutes in CI and for hours by hand: the whole system at work while
// everything around it fails, watched from outside.
//
//   tavro_soak [--minutes M] [--seed N] [--quick]
//
// Where the system allows it, the night has a network of its own, so that it meets nobody else's
// nodes. SIGINT ends it early. The exit status is 0 if all is well.

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "night.h"

namespace {

// A network with nothing but its loopback. False where that is not allowed.
bool leave_the_network() {
    if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) return false;
    const int any_socket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (any_socket < 0) return false;
    ifreq loopback{};
    std::strcpy(loopback.ifr_name, "lo");
    loopback.ifr_flags = IFF_UP;
    const bool up = ioctl(any_socket, SIOCSIFFLAGS, &loopback) == 0;
    close(any_socket);
    return up;
}

}  // namespace

int main(int argc, char** argv) {
    soak::night_wish wish;
    CLI::App app("A long night in a club.", "tavro_soak");
    app.add_option("--minutes", wish.minutes, "how long")->check(CLI::Range(0.2, 10000.0));
    app.add_option("--seed", wish.seed, "of all that is random");
    app.add_flag("--quick", wish.quick, "a minute, in which everything happens more often");
    CLI11_PARSE(app, argc, argv);
    if (wish.quick && app.count("--minutes") == 0) wish.minutes = 1;
    if (!leave_the_network()) std::puts("soak: in the network of this machine");
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        std::signal(signal, [](int) { soak::end_early(); });
    }
    return soak::night(wish).run() ? 0 : 1;
}
