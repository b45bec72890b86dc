// How long a line takes from a relay's send to the session that it feeds.
//
//   relay_latency [COUNT]
//
// It forks: the child is a relay that sends a line each millisecond, the parent runs the endpoint
// as the module does, thread, rests and all. A line carries its number, the moment at which each
// was sent stands in shared memory, and the session's event bears the time at which it was fed.

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "../alone.h"
#include "base/clock.h"
#include "base/join.h"
#include "deck/session.h"
#include "net/base.h"
#include "net/os_socket.h"
#include "net/relay/relay.h"

namespace {

constexpr double give_up_s = 60;
constexpr double ms_per_s = 1000.0;
constexpr int our_player = 61;  // other relays on this network speak of lower ones

// The port that the endpoint is going to take: the first that is free. Endpoints of other programs
// on this machine hold others.
uint16_t port_of_endpoint() {
    tvrnet_socket_options options;
    options.threads = options.tell = false;
    GenericOSUDPSocket trial(options);
    if (!trial.init()) bench_fail("no socket");
    for (int port = deckbus::net::first_port; port <= deckbus::net::last_port; port++) {
        if (trial.bind(port)) return uint16_t(port);
    }
    bench_fail("no port");
}

// Sends its lines to the endpoint at that port of this machine.
[[noreturn]] void be_relay(uint16_t port, size_t count, double* sent_at) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    tvrnet_socket_options socket;
    socket.mac = tvrnet_made_up_mac(uint64_t(getpid()));
    socket.tell = false;
    tvrnet_node_options options;
    options.name = "relay_latency";
    options.poll_interval_ms = 100;
    options.peers = {{{127, 0, 0, 1}, port}};
    tvrnet_base node(std::make_unique<GenericOSUDPSocket>(socket), options);
    if (!node.udp->init() || !node.udp->bind(0)) bench_fail("no port");
    double due = 0;
    for (size_t next = 0;;) {
        const double now = tvr_now_s();
        const auto devices = node.connected_devices();
        if (!devices.empty() && next < count && now >= due) {
            const std::string line =
                tvr_join(R"({"t":"beat","n":)", our_player, R"(,"bpm":12800,"beat":)", next, "}");
            sent_at[next++] = tvr_now_s();
            devices[0]->send_reliable("deckbus", line.data(), line.size(),
                                      tvrnet_pkt_dataformat::text, false, 0);
            due = now + 1 / ms_per_s;
        }
        node.update(uint64_t(tvr_now_s() * ms_per_s));
        node.udp->wait(1);
    }
}

std::vector<double> latencies_s(deckbus::session& session, deckbus::event_queue& queue,
                                size_t count, const double* sent_at) {
    std::vector<double> times;
    const double begun = tvr_now_s();
    while (times.size() < count) {
        if (tvr_now_s() - begun > give_up_s) bench_fail("lines are missing");
        for (const deckbus::event& e : session.take(queue)) {
            if (e.kind != "beat" || e.data.at("n") != our_player) continue;
            times.push_back(e.t - sent_at[e.data.at("beat").get<size_t>()]);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return times;
}

}  // namespace

int main(int argc, char** argv) {
    const size_t count = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 5000;
    if (count == 0) bench_fail("how many lines?");
    void* shared = mmap(nullptr, count * sizeof(double), PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) bench_fail("no memory");
    auto* sent_at = static_cast<double*>(shared);
    const uint16_t port = port_of_endpoint();
    const pid_t child = fork();
    if (child < 0) bench_fail("no process");
    if (child == 0) be_relay(port, count, sent_at);
    const auto session = deckbus::session::open_network();
    const auto queue = session->attach();
    deckbus::net::start(false);
    bench_tell(tvr_join("line ", count).c_str(), latencies_s(*session, *queue, count, sent_at));
    std::fflush(stdout);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    std::_Exit(0);  // the endpoint's thread never ends
}
