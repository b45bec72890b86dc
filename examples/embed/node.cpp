// A node of one's own on the network: tells who is there, and what they say.
//
//   node SECONDS
//
// Links tavro_net. docs/tavronet.md tells how nodes find each other.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "net/base.h"
#include "net/os_socket.h"

namespace {

uint64_t steady_ms() {
    const auto passed = std::chrono::steady_clock::now().time_since_epoch();
    return uint64_t(std::chrono::duration_cast<std::chrono::milliseconds>(passed).count());
}

void hear(const tvrnet_ip&, const uint8_t* data, size_t size, const tvrnet_pkt_header&) {
    std::printf("%.*s\n", int(size), reinterpret_cast<const char*>(data));
}

bool tell_time(const tvrnet_request&, tvrnet_answer& out) {
    const std::string text = std::to_string(steady_ms());
    out.data.assign(text.begin(), text.end());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const uint64_t end_ms = steady_ms() + uint64_t(argc > 1 ? 1000 * std::atof(argv[1]) : 0);
    tvrnet_node_options options;
    options.name = "my node";
    tvrnet_base node(std::make_unique<GenericOSUDPSocket>(), options);
    if (!node.udp->init() || !node.udp->bind(6454)) return 1;
    node.add_command("hello", hear);
    node.add_request("time", tell_time);
    while (steady_ms() < end_ms) {
        node.update(steady_ms());  // any steady clock, in ms
        for (const auto& peer : node.connected_devices()) {
            peer->send_reliable("hello", "hi", 2, tvrnet_pkt_dataformat::text, false, 0);
        }
        node.udp->wait(100);  // returns when something comes
    }
}
