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

    void on_device_connect(const std::shared_ptr<tvrnet_device>& device) override {
        log.push_back("connect " + device->name);
    }
    void on_device_connect(const std::shared_ptr<tvrnet_artnet_device>& device) override {
        log.push_back("artnet " + device->name);
    }
    void on_device_disconnect(const std::shared_ptr<tvrnet_device>&, const char* reason) override {
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

    // The whole handshake of both sides. The node's session for this peer is then `theirs`.
    bool meet(tvrnet_base& node) {
        const tvrnet_ip to = node.udp->local_adr().ip;
        tvrnet_pkt hello = packet(tvrnet_pkt_type::beacon);
        hello.header.session_id = tvrnet_no_session;
        send(to, hello);
        const tvrnet_pkt* asked = nullptr;
        for (int n = 0; n < 1000 && asked == nullptr; n++) {
            run_for(net, {&node}, 1);
            collect();
            asked = first(tvrnet_pkt_type::auth_request);
        }
        if (asked == nullptr) return false;
        theirs = asked->header.session_id;
        send(to, auth_request(session));
        send(to, auth_reply(theirs));
        run_for(net, {&node}, 5);
        collect();
        return first(tvrnet_pkt_type::auth_reply) != nullptr;
    }

    tvrnet_pkt auth_record(tvrnet_pkt_type type, uint32_t size) const {
        tvrnet_pkt p = packet(type);
        p.header.payload_size = size;
        p.payload.fill(0);
        std::memcpy(p.payload.data(), name.data(), std::min<size_t>(name.size(), 31));
        std::memcpy(p.payload.data() + 32, type_name.data(),
                    std::min<size_t>(type_name.size(), 63));
        std::memcpy(p.payload.data() + 100, &max_payload, sizeof max_payload);
        return p;
    }
    tvrnet_pkt auth_request(uint32_t given) const {
        tvrnet_pkt p = auth_record(tvrnet_pkt_type::auth_request, 108);
        p.header.session_id = given;
        std::memcpy(p.payload.data() + 104, &given, sizeof given);
        return p;
    }
    tvrnet_pkt auth_reply(uint32_t echoed) const {
        tvrnet_pkt p = auth_record(tvrnet_pkt_type::auth_reply, 104);
        p.header.session_id = echoed;
        return p;
    }

    // An ack to a command of the node.
    tvrnet_pkt_ack ack(uint64_t ticket, tvrnet_ack_status status, int64_t from = -1,
                       int64_t to = -1, uint32_t sequence = 0) const {
        tvrnet_pkt_ack a;
        a.ticket_id = ticket;
        a.status = status;
        a.first = from;
        a.last = to;
        a.sequence = sequence;
        return a;
    }
    void send_ack(tvrnet_base& node, tvrnet_pkt_ack a, uint32_t in_session) {
        a.session_id = in_session;
        a.mac = mac();
        a.seal();
        net.send(udp.local_adr().ip, node.udp->local_adr().ip, &a, sizeof a);
    }
    void send_ack(tvrnet_base& node, const tvrnet_pkt_ack& a) { send_ack(node, a, theirs); }

    // The chunks that came of a command, by name; "0 1 2".
    std::string chunks_text(uint32_t command) const {
        std::string text;
        for (const tvrnet_pkt& p : packets) {
            if (p.header.type != tvrnet_pkt_type::data || p.header.command_hash != command)
                continue;
            text += (text.empty() ? "" : " ") + std::to_string(p.header.chunk_index);
        }
        return text;
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
    uint32_t theirs = 0;    // the node's for us
    std::string name = "raw peer", type_name = "by hand";
    uint32_t max_payload = 1336;
    std::vector<tvrnet_pkt_ack> acks;
    std::vector<tvrnet_pkt_ack_request> requests;
    std::vector<tvrnet_pkt> packets;
    std::vector<std::vector<uint8_t>> frames;
};

}  // namespace net_test
