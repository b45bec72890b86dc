// Datagrams of hostile peers, of every type and length: a node survives them, keeps its bounds, and
// still hears whoever speaks properly.
//
// The input is a row of datagrams: a byte that says how it is sealed and how much time goes by, two
// bytes of length, the bytes. Half of them get hashes that are right, so that what is behind the
// checks is reached.

#include <cstring>
#include <span>

#include "../tests/net/sim_node.h"
#include "net/hash.h"
#include "require.h"

using namespace net_test;

namespace {

template <typename SMALL>
bool seal_small(std::vector<uint8_t>& bytes) {
    if (bytes.size() != sizeof(SMALL)) return false;
    SMALL p;
    const auto magic = p.magic;
    std::memcpy(&p, bytes.data(), sizeof p);
    p.magic = magic;
    p.seal();
    std::memcpy(bytes.data(), &p, sizeof p);
    return true;
}

// Magic, sizes and hashes as they must be; all else as it came.
void seal(std::vector<uint8_t>& bytes, const raw_peer& peer, bool from_peer) {
    if (seal_small<tvrnet_pkt_ack>(bytes) || seal_small<tvrnet_pkt_ack_request>(bytes) ||
        seal_small<tvrnet_pkt_diagnostic>(bytes) ||
        seal_small<tvrnet_pkt_diagnostic_request>(bytes)) {
        return;
    }
    if (bytes.size() < sizeof(tvrnet_pkt_header) || bytes.size() > sizeof(tvrnet_pkt)) return;
    tvrnet_pkt p;
    std::memcpy(static_cast<void*>(&p), bytes.data(), bytes.size());
    p.header.magic = tvrnet_pkt_header().magic;
    p.header.payload_size = uint32_t(bytes.size() - sizeof(tvrnet_pkt_header));
    if (from_peer) {
        p.header.source = peer.mac();
        p.header.session_id = peer.session;
    }
    p.packet_end();
    std::memcpy(bytes.data(), &p, bytes.size());
}

// A node with everything on that peers can reach, and a peer that it knows.
struct fuzzed_node {
    fuzzed_node() {
        node.limits.max_endpoints = 16;
        node.artnet.listen();
        node.add_command("line", [&](const tvrnet_ip&, const uint8_t*, size_t length,
                                     const tvrnet_pkt_header&) { heard += length == 3 ? 1 : 0; });
        node.add_request("ask", [](const tvrnet_request& asked, tvrnet_answer& out) {
            out.data.assign(asked.data, asked.data + asked.size);
            return true;
        });
    }

    void take(std::vector<uint8_t> bytes, uint8_t how) {
        if ((how & 1) != 0) seal(bytes, peer, (how & 2) != 0);
        net.send(peer.udp.local_adr().ip, node.ip(), bytes.data(), bytes.size());
        run_for(net, {&node}, 1 + (how >> 5));
        peer.collect();
    }

    // Whatever happened before.
    void hears_a_new_peer_once() {
        peer.session = 0x7A7A7A7A;
        peer.send(node.ip(), peer.auth_request(peer.session));
        run_for(net, {&node}, 5);
        const int before = heard;
        const uint64_t ticket = 0x123456789ABC;
        for (int n = 0; n < 2; n++) {
            peer.send(node.ip(), peer.chunk(ticket, tvrnet_hash("line"), 0, 0, 3, 3));
        }
        run_for(net, {&node}, 5);
        require(heard == before + 1);
    }

    sim_network net;
    sim_ids ids;
    sim_node node{net, 1, ids, named("fuzzed")};
    raw_peer peer{net};
    int heard = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzed_node subject;
    require(subject.peer.meet(subject.node));
    std::span<const uint8_t> rest(data, size);
    while (rest.size() > 3) {
        const uint8_t how = rest[0];
        const size_t length = std::min<size_t>(rest[1] | rest[2] << 8, rest.size() - 3);
        std::vector<uint8_t> bytes(rest.begin() + 3, rest.begin() + 3 + ptrdiff_t(length));
        rest = rest.subspan(3 + length);
        subject.take(bytes, how);
    }
    require(subject.node.device_count() <= 2);
    subject.hears_a_new_peer_once();
    return 0;
}
