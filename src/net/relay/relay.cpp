#include "net/relay/relay.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <system_error>
#include <thread>

#include "base/clock.h"
#include "base/forever.h"
#include "net/os_socket.h"
#include "net/relay/endpoint.h"

namespace deckbus::net {

namespace {

constexpr uint32_t rest_ms = 1;  // a turn at most so often, unless something comes

// Null when there is no socket or no port.
std::unique_ptr<endpoint> open_endpoint(bool tell) {
    tvrnet_socket_options options;
    options.tell = tell;
    auto node = std::make_unique<endpoint>(std::make_unique<GenericOSUDPSocket>(options),
                                           relay_of_process());
    node->debug = std::getenv("DECKBUS_NET_DEBUG") != nullptr;
    if (!node->udp->init()) return nullptr;
    for (int port = first_port; port <= last_port; port++) {
        if (node->udp->bind(port)) return node;
        if (node->udp->local_adr().ip.port != 0) return nullptr;  // bound, and no thread for it
    }
    return nullptr;
}

void try_again_later(relay_state& state) {
    state.retry_time = tvr_now_s() + retry_s;
    state.running = false;
}

void serve(const relay_state& state, bool tell) {
    constexpr double ms_per_s = 1000.0;
    const auto node = open_endpoint(tell);
    while (node != nullptr && state.running) {
        node->update(uint64_t(tvr_now_s() * ms_per_s));
        node->udp->wait(rest_ms);
    }
}

// What is thrown on this thread is want of memory: the node ends, and a new one takes its place,
// since nobody asks for it again. Without a port it is for callers of start() to try again.
void run(bool tell) {
    constexpr std::chrono::seconds pause{1};
    relay_state& state = relay_of_process();
    for (bool failed = true; failed;) {
        try {
            serve(state, tell);
            failed = false;
        } catch (const std::exception& failure) {
            if (tell) std::fprintf(stderr, "[deckbus net] %s\n", failure.what());
            std::this_thread::sleep_for(pause);
        }
    }
    try_again_later(state);
}

}  // namespace

relay_state& relay_of_process() {
    static tvr_forever<relay_state> held;
    return held.get();
}

void start(bool tell) {
    relay_state& state = relay_of_process();
    if (tvr_now_s() < state.retry_time) return;
    bool stands = false;
    if (!state.running.compare_exchange_strong(stands, true)) return;
    // Never joined: it serves until the process ends, and what it touches is never destroyed.
    try {
        std::thread(run, tell).detach();
    } catch (const std::system_error&) {
        try_again_later(state);
    }
}

bool started() {
    return relay_of_process().running;
}

std::string relay_name() {
    relay_state& state = relay_of_process();
    tvr_lock hold(state.relay_mutex);
    return state.relay_name;
}

}  // namespace deckbus::net
