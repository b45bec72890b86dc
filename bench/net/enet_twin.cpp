// bench_net's questions, put to ENet (Debian's libenet-dev): another reliable protocol over UDP.
//
//   enet_twin stream SIZE COUNT INFLIGHT [--loss SHARE]
//   enet_twin rtt SIZE COUNT [--loss SHARE]
//
// Two processes on the loopback; each loses that share of what it receives, by ENet's own hook.

#include <enet/enet.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "../alone.h"
#include "base/clock.h"
#include "base/join.h"

namespace {

constexpr double give_up_s = 120;

double loss = 0;        // share of the datagrams
size_t on_the_way = 0;  // packets not yet acknowledged

// Called for each datagram that came in; 1 throws it away.
int lose_some(ENetHost*, ENetEvent*) {
    static std::mt19937_64 random{uint64_t(getpid())};
    return std::uniform_real_distribution<double>(0, 1)(random) < loss ? 1 : 0;
}

ENetHost* make_host(const ENetAddress* where) {
    ENetHost* host = enet_host_create(where, 1, 1, 0, 0);
    if (host == nullptr) bench_fail("no port");
    host->intercept = lose_some;
    return host;
}

void send(ENetPeer* to, const std::vector<char>& data) {
    ENetPacket* packet = enet_packet_create(data.data(), data.size(), ENET_PACKET_FLAG_RELIABLE);
    packet->freeCallback = [](ENetPacket*) { on_the_way--; };  // when all of it is acknowledged
    on_the_way++;
    if (enet_peer_send(to, 0, packet) != 0) bench_fail("cannot send");
}

// Gives back what it hears if `echo`.
[[noreturn]] void run_listener(int tell_fd, bool echo) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    ENetAddress any{};
    enet_address_set_host_ip(&any, "127.0.0.1");
    ENetHost* host = make_host(&any);
    if (write(tell_fd, &host->address.port, sizeof host->address.port) < 0) bench_fail("no pipe");
    ENetEvent event;
    while (enet_host_service(host, &event, 1000) >= 0) {
        if (event.type != ENET_EVENT_TYPE_RECEIVE) continue;
        if (echo) {
            const char* data = reinterpret_cast<const char*>(event.packet->data);
            send(event.peer, {data, data + event.packet->dataLength});
            enet_host_flush(host);
        }
        enet_packet_destroy(event.packet);
    }
    bench_fail("the listener's socket failed");
}

// What came, if it did within the time.
bool service(ENetHost* host, int wait_ms) {
    ENetEvent event;
    if (enet_host_service(host, &event, uint32_t(wait_ms)) < 0) bench_fail("the socket failed");
    if (event.type == ENET_EVENT_TYPE_DISCONNECT) bench_fail("the connection is lost");
    if (event.type == ENET_EVENT_TYPE_RECEIVE) enet_packet_destroy(event.packet);
    return event.type == ENET_EVENT_TYPE_RECEIVE;
}

void run_stream(ENetHost* host, ENetPeer* peer, size_t size, size_t count, size_t inflight) {
    const std::vector<char> data(size, 'x');
    const double begun = tvr_now_s();
    for (size_t sent = 0; sent < count || on_the_way > 0;) {
        for (; sent < count && on_the_way < inflight; sent++) send(peer, data);
        service(host, 1);
        if (tvr_now_s() - begun > give_up_s) bench_fail("it takes too long");
    }
    const double passed = tvr_now_s() - begun;
    std::printf("stream %zu %.0f msg/s %.1f MB/s\n", size, double(count) / passed,
                double(count) * double(size) / passed / 1e6);
}

void run_rtt(ENetHost* host, ENetPeer* peer, size_t size, size_t count) {
    std::vector<double> times;  // s
    const double first = tvr_now_s();
    while (times.size() < count && tvr_now_s() - first < give_up_s) {
        const double begun = tvr_now_s();
        send(peer, std::vector<char>(size, 'x'));
        while (!service(host, 1)) {
        }
        times.push_back(tvr_now_s() - begun);
    }
    bench_tell(tvr_join("rtt ", size).c_str(), times);
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() > 2 && words[words.size() - 2] == "--loss") {
        loss = std::atof(words.back().c_str());
        words.resize(words.size() - 2);
    }
    const bool rtt = words.size() == 3 && words[0] == "rtt";
    if (!rtt && !(words.size() == 4 && words[0] == "stream")) {
        bench_fail(
            "usage: enet_twin stream SIZE COUNT INFLIGHT | rtt SIZE COUNT, and --loss SHARE");
    }
    const size_t size = std::strtoull(words[1].c_str(), nullptr, 10);
    const size_t count = std::strtoull(words[2].c_str(), nullptr, 10);
    int ends[2];
    if (enet_initialize() != 0 || pipe(ends) != 0 || count == 0) bench_fail("cannot begin");
    const pid_t child = fork();
    if (child == 0) run_listener(ends[1], rtt);
    ENetAddress there{};
    enet_address_set_host_ip(&there, "127.0.0.1");
    if (child < 0 || read(ends[0], &there.port, sizeof there.port) <= 0) bench_fail("no listener");
    ENetHost* host = make_host(nullptr);
    ENetPeer* peer = enet_host_connect(host, &there, 1, 0);
    ENetEvent event;
    while (peer->state != ENET_PEER_STATE_CONNECTED) {
        if (enet_host_service(host, &event, 1000) < 0) bench_fail("they do not meet");
    }
    if (rtt)
        run_rtt(host, peer, size, count);
    else
        run_stream(host, peer, size, count, std::strtoull(words[3].c_str(), nullptr, 10));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}
