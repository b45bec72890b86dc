#pragma once

// Nodes on a simulated network, and a peer whose every packet the test writes by hand.

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "net/base.h"
#include "sim_network.h"

namespace net_test {

class sim_node : public tvrnet_base {
public:
    sim_node(sim_network& net, uint8_t number, tvrnet_global_s& ids,
             const tvrnet_node_options& asked = {})
        : tvrnet_base(std::make_unique<sim_socket>(net, number), asked, ids) {}

    void on_device_connect(std::shared_ptr<tvrnet_device> device) override {
        log.push_back("connect " + device->name);
    }
    void on_device_connect(std::shared_ptr<tvrnet_artnet_device> device) override {
        log.push_back("artnet " + device->name);
    }
    void on_device_disconnect(std::shared_ptr<tvrnet_device>, const char* reason) override {
        log.push_back(reason);
    }

    tvrnet_mac mac() const { return udp->local_adr().mac; }
    tvrnet_ip ip() const { return udp->local_adr().ip; }
    std::shared_ptr<tvrnet_device> peer(const tvrnet_mac& other) {
        return find_device(other.bytes.data());
    }
    sim_socket& socket() { return static_cast<sim_socket&>(*udp); }

    std::vector<std::string> log;  // what the node told
};

// Ids that are the same in each run.
struct sim_ids : tvrnet_global_s {
    explicit sim_ids(uint32_t first_session = 1000) { last_session = first_session; }
};

inline tvrnet_node_options named(const std::string& name) {
    tvrnet_node_options options;
    options.name = name;
    options.type_name = "test node";
    return options;
}

// Lets time go by until the condition holds, at most so long. Each millisecond every node has its
// turn.
inline bool run_until(sim_network& net, const std::vector<tvrnet_base*>& nodes, uint64_t at_most_ms,
                      const std::function<bool()>& done) {
    for (uint64_t n = 0; n < at_most_ms; n++) {
        if (done()) return true;
        net.step();
        for (tvrnet_base* node : nodes) node->update(net.now);
    }
    return done();
}

inline void run_for(sim_network& net, const std::vector<tvrnet_base*>& nodes, uint64_t ms) {
    run_until(net, nodes, ms, [] { return false; });
}

// Two nodes that have met.
struct sim_pair {
    explicit sim_pair(uint64_t seed = 1, const sim_faults& faults = {})
        : net(seed, faults), a(net, 1, ids_a, named("node a")), b(net, 2, ids_b, named("node b")) {}

    bool meet(uint64_t at_most_ms = 60000) {
        return run_until(net, nodes(), at_most_ms,
                         [this] { return a.peer(b.mac()) && b.peer(a.mac()); });
    }
    bool until(uint64_t at_most_ms, const std::function<bool()>& done) {
        return run_until(net, nodes(), at_most_ms, done);
    }
    void run(uint64_t ms) { run_for(net, nodes(), ms); }
    std::vector<tvrnet_base*> nodes() { return {&a, &b}; }

    sim_network net;
    sim_ids ids_a{1000}, ids_b{2000};
    sim_node a, b;
};

// A peer by hand, in the place of node 9.
class raw_peer {
public:
    explicit raw_peer(sim_network& network) : net(network), udp(network, 9) {}

    tvrnet_mac mac() const { return udp.local_adr().mac; }

    // A packet of this peer, to be completed and sent.
    tvrnet_pkt packet(tvrnet_pkt_type type) const {
        tvrnet_pkt p;
        p.header.type = type;
        p.header.source = mac();
        p.header.session_id = session;
        return p;
    }

    tvrnet_pkt chunk(uint64_t ticket, uint32_t command, uint32_t index, uint32_t last,
                     uint64_t total, uint32_t payload) const {
        tvrnet_pkt p = packet(tvrnet_pkt_type::data);
        p.header.ticket_id = ticket;
        p.header.command_hash = command;
        p.header.chunk_index = index;
        p.header.last_chunk = last;
        p.header.total_size = total;
        p.header.payload_size = payload;
        std::fill(p.payload.begin(), p.payload.end(), uint8_t('a' + index % 26));
        return p;
    }

    void send(const tvrnet_ip& to, tvrnet_pkt p) {
        const size_t length = p.packet_end();
        net.send(udp.local_adr().ip, to, &p, length);
    }

    template <typename SMALL>
    void send_small(const tvrnet_ip& to, SMALL p) {
        p.mac = mac();
        p.session_id = session;
        p.seal();
        net.send(udp.local_adr().ip, to, &p, sizeof p);
    }

    // All that arrived since the last call.
    void collect() {
        acks.clear();
        requests.clear();
        packets.clear();
        tvrnet_ip from;
        int type = 0;
        size_t length = 0;
        while (uint8_t* data = udp.read_packet(from, &type, &length)) {
            switch (tvrnet_pkt_type(type)) {
            case tvrnet_pkt_type::ack: std::memcpy(&acks.emplace_back(), data, length); break;
            case tvrnet_pkt_type::ack_request:
                std::memcpy(&requests.emplace_back(), data, length);
                break;
            case tvrnet_pkt_type::artnet:
            case tvrnet_pkt_type::artnet_poll: frames.emplace_back(data, data + length); break;
            default: std::memcpy(static_cast<void*>(&packets.emplace_back()), data, length); break;
            }
        }
    }

    // "3(-1,-1) 4(0,2)": the acks that came, in order.
    std::string acks_text() const {
        std::string text;
        for (const tvrnet_pkt_ack& ack : acks) {
            text += (text.empty() ? "" : " ") + std::to_string(int(ack.status)) + "(" +
                    std::to_string(ack.first) + "," + std::to_string(ack.last) + ")";
        }
        return text;
    }

    const tvrnet_pkt* first(tvrnet_pkt_type type) const {
        for (const tvrnet_pkt& p : packets) {
            if (p.header.type == type) return &p;
        }
        return nullptr;
    }

    sim_network& net;
    sim_socket udp;
    uint32_t session = 77;  // ours for the node
    std::vector<tvrnet_pkt_ack> acks;
    std::vector<tvrnet_pkt_ack_request> requests;
    std::vector<tvrnet_pkt> packets;
    std::vector<std::vector<uint8_t>> frames;
};

}  // namespace net_test
