// How fast two nodes on one machine are.
//
//   bench_net stream SIZE COUNT INFLIGHT   reliable commands, at most INFLIGHT not yet acknowledged
//   bench_net rtt SIZE COUNT               questions and answers, one at a time
//   --threads                              with the socket's own threads, as the relay has them
//   --loss SHARE                           each node loses that share of what it sends, 0 to 1
//
// It forks, one node in each process, with MACs of their own. They talk through the loopback, by
// sendmmsg and recvmmsg.

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "../alone.h"
#include "base/clock.h"
#include "base/join.h"
#include "net/base.h"
#include "net/fault_socket.h"
#include "net/os_socket.h"

namespace {

constexpr auto buffer_format = tvrnet_pkt_dataformat::buffer;
constexpr double give_up_s = 120;

uint64_t clock_ms() {
    return uint64_t(tvr_now_s() * 1000.0);
}

struct wish {
    std::string what;
    size_t size = 0, count = 0, inflight = 1;
    bool threads = false;
    double loss = 0;
};

// A node on any free port of this machine.
struct bench_node : tvrnet_base {
    bench_node(const wish& asked, uint64_t number, std::vector<tvrnet_ip> peers)
        : tvrnet_base(make_socket(asked, number), make_options(std::move(peers))) {
        if (!udp->init() || !udp->bind(0)) bench_fail("no port");
    }

    static std::unique_ptr<GenericUDPSocket> make_socket(const wish& asked, uint64_t number) {
        tvrnet_socket_options options;
        options.mac = tvrnet_made_up_mac(uint64_t(getpid()) << 8 | number);
        options.threads = asked.threads;
        options.tell = false;
        auto made = std::make_unique<GenericOSUDPSocket>(options);
        if (asked.loss <= 0) return made;
        const tvrnet_faults faults{.seed = number, .loss = asked.loss};
        return std::make_unique<tvrnet_fault_socket>(std::move(made), faults);
    }
    static tvrnet_node_options make_options(std::vector<tvrnet_ip> peers) {
        tvrnet_node_options made;
        made.name = "bench_net";
        made.poll_interval_ms = peers.empty() ? 0 : 100;
        made.peers = std::move(peers);
        return made;
    }

    void on_device_disconnect(const std::shared_ptr<tvrnet_device>&, const char* reason) override {
        std::fprintf(stderr, "bench_net: disconnected: %s\n", reason);
    }

    // One turn, and a rest until there is something to do.
    void turn() {
        update(clock_ms());
        udp->wait(1);
    }
};

uint8_t byte_at(size_t i) {
    return uint8_t(i * 13 + i / 256);
}

// Listens until it is killed; tells its port, and what it heard whenever it is asked.
[[noreturn]] void run_listener(const wish& asked, int tell_fd) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    bench_node node(asked, 1, {});
    uint64_t heard = 0;
    node.add_command(
        "line", [&](const tvrnet_ip&, const uint8_t* data, size_t size, const tvrnet_pkt_header&) {
            const bool good =
                size == asked.size &&
                (size == 0 || (data[0] == byte_at(0) && data[size / 2] == byte_at(size / 2) &&
                               data[size - 1] == byte_at(size - 1)));
            if (!good) bench_fail("a command arrived damaged");
            heard++;
        });
    node.add_request("echo", [](const tvrnet_request& request, tvrnet_answer& out) {
        out.data.assign(request.data, request.data + request.size);
        return true;
    });
    node.add_request("heard", [&](const tvrnet_request&, tvrnet_answer& out) {
        out.data.resize(sizeof heard);
        std::memcpy(out.data.data(), &heard, sizeof heard);
        return true;
    });
    const uint16_t port = node.udp->local_adr().ip.port;
    if (write(tell_fd, &port, sizeof port) != sizeof port) bench_fail("no pipe");
    for (;;) node.turn();
}

struct talker {
    talker(const wish& asked, uint16_t port) : node(asked, 2, {tvrnet_ip{{127, 0, 0, 1}, port}}) {
        const double begun = tvr_now_s();
        while (device == nullptr || !device->init_done || !device->init_device_answered ||
               device->commands_on_their_way() > 0) {
            node.turn();
            const auto all = node.connected_devices();
            device = all.empty() ? nullptr : all.front();
            if (tvr_now_s() - begun > give_up_s) bench_fail("the nodes do not meet");
        }
    }

    // The answer to a question, which has come when this returns.
    std::vector<uint8_t> ask(const char* command, const std::vector<uint8_t>& data) {
        bool done = false;
        std::vector<uint8_t> answer;
        const auto take = [&](const uint8_t* bytes, size_t size, tvrnet_pkt_dataformat, bool good) {
            if (!good) bench_fail("no answer");
            answer.assign(bytes, bytes + size);
            done = true;
        };
        device->send_get(command, data.data(), data.size(), buffer_format, take, 60000);
        while (!done) {
            node.update(clock_ms());
            if (!done) node.udp->wait(1);
        }
        return answer;
    }

    bench_node node;
    std::shared_ptr<tvrnet_device> device;
};

std::vector<uint8_t> payload(size_t size) {
    std::vector<uint8_t> data(size);
    for (size_t i = 0; i < size; i++) data[i] = byte_at(i);
    return data;
}

void run_stream(const wish& asked, talker& me) {
    const std::vector<uint8_t> data = payload(asked.size);
    const double begun = tvr_now_s();
    for (size_t sent = 0; sent < asked.count || me.device->commands_on_their_way() > 0;) {
        while (sent < asked.count && me.device->commands_on_their_way() < asked.inflight) {
            if (me.device->send_reliable("line", data.data(), data.size(), buffer_format, false,
                                         0) == tvrnet_no_ticket) {
                bench_fail("the connection is lost");
            }
            sent++;
        }
        me.node.update(clock_ms());
        if (me.device->must_wait()) me.node.udp->wait(1);
    }
    const double passed = tvr_now_s() - begun;
    uint64_t heard = 0;
    const std::vector<uint8_t> answer = me.ask("heard", {});
    if (answer.size() == sizeof heard) std::memcpy(&heard, answer.data(), sizeof heard);
    if (heard != asked.count) bench_fail("not every command arrived exactly once");
    std::printf("stream %zu %.0f msg/s %.1f MB/s\n", asked.size, double(asked.count) / passed,
                double(asked.count) * double(asked.size) / passed / 1e6);
}

void run_rtt(const wish& asked, talker& me) {
    const std::vector<uint8_t> data = payload(asked.size);
    std::vector<double> times;  // s
    for (size_t i = 0; i < asked.count; i++) {
        const double begun = tvr_now_s();
        if (me.ask("echo", data) != data) bench_fail("an answer arrived damaged");
        times.push_back(tvr_now_s() - begun);
    }
    bench_tell(tvr_join("rtt ", asked.size).c_str(), times);
}

bool read_wish(int argc, char** argv, wish& asked) {
    std::vector<std::string> words(argv + 1, argv + argc);
    const auto threads = std::find(words.begin(), words.end(), "--threads");
    asked.threads = threads != words.end();
    if (asked.threads) words.erase(threads);
    const auto loss = std::find(words.begin(), words.end(), "--loss");
    if (loss != words.end()) {
        if (loss + 1 == words.end()) return false;
        asked.loss = std::atof(loss[1].c_str());
        words.erase(loss, loss + 2);
    }
    if (words.size() < 3) return false;
    asked.what = words[0];
    asked.size = std::strtoull(words[1].c_str(), nullptr, 10);
    asked.count = std::strtoull(words[2].c_str(), nullptr, 10);
    if (asked.count == 0) return false;
    if (asked.what == "rtt") return words.size() == 3;
    if (asked.what != "stream" || words.size() != 4) return false;
    asked.inflight = std::strtoull(words[3].c_str(), nullptr, 10);
    return asked.inflight > 0;
}

}  // namespace

int main(int argc, char** argv) {
    wish asked;
    if (!read_wish(argc, argv, asked)) {
        std::fprintf(stderr,
                     "usage: bench_net stream SIZE COUNT INFLIGHT [--threads] [--loss SHARE]\n"
                     "       bench_net rtt SIZE COUNT [--threads] [--loss SHARE]\n");
        return 2;
    }
    int ends[2];
    if (pipe(ends) != 0) bench_fail("no pipe");
    const pid_t child = fork();
    if (child < 0) bench_fail("no process");
    if (child == 0) run_listener(asked, ends[1]);
    close(ends[1]);
    uint16_t port = 0;
    if (read(ends[0], &port, sizeof port) != sizeof port) bench_fail("the listener did not start");
    {
        talker me(asked, port);
        if (asked.what == "rtt")
            run_rtt(asked, me);
        else
            run_stream(asked, me);
    }
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    return 0;
}
