#pragma once

// A network that exists only in a test: two or more sockets, and between them loss, duplication,
// reordering, delay and partition, all from one seed. Time goes by when the test says so.

#include <algorithm>
#include <array>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <queue>
#include <random>
#include <vector>

#include "net/socket.h"

namespace net_test {

struct sim_faults {
    double loss = 0;
    double duplicate = 0;
    uint32_t delay_ms = 0;   // of every datagram
    uint32_t jitter_ms = 0;  // and up to so much more, so that datagrams overtake each other
};

class sim_socket;

// A datagram on its way, or in the hands of a spy.
struct sim_datagram {
    tvrnet_ip from, to;
    std::vector<uint8_t> bytes;
};

class sim_network {
public:
    explicit sim_network(uint64_t seed = 1, const sim_faults& suffered = {})
        : faults(suffered), random(seed) {}

    void send(const tvrnet_ip& from, const tvrnet_ip& to, const void* data, size_t length);

    // One millisecond goes by: what is due arrives.
    void step();

    uint64_t now = 1000;  // ms
    sim_faults faults;
    bool parted = false;                           // nothing arrives
    std::function<void(const sim_datagram&)> spy;  // sees all that is sent
    std::vector<sim_socket*> sockets;
    uint64_t sent = 0;

private:
    struct in_flight {
        uint64_t due, order;
        sim_datagram datagram;
        bool operator>(const in_flight& other) const {
            return due != other.due ? due > other.due : order > other.order;
        }
    };

    bool chance(double probability) {
        return std::uniform_real_distribution<double>(0, 1)(random) < probability;
    }
    void deliver(const sim_datagram& datagram);

    std::mt19937_64 random;
    std::priority_queue<in_flight, std::vector<in_flight>, std::greater<>> flying;
};

class sim_socket final : public GenericUDPSocket {
public:
    sim_socket(sim_network& network, uint8_t number, uint16_t port = tvrnet_default_port)
        : GenericUDPSocket(tvrnet_mac{{0x02, 0, 0, 0, 0, number}}), net(network) {
        set_local_ip({{10, 0, 0, number}, port});
        net.sockets.push_back(this);
    }
    ~sim_socket() override { std::erase(net.sockets, this); }

    bool init() override { return true; }
    bool bind(int) override { return true; }
    void invalidate_threads() override {}
    bool send_packet_diagnostic(const tvrnet_ip& to, const void* data, size_t length) override {
        net.send(local_adr().ip, to, data, length);
        return true;
    }
    void send_packet_to_interface(const tvrnet_ip& to, const void* data, size_t length) override {
        net.send(local_adr().ip, to, data, length);
    }
    void flush_send_buffer() override {}
    void wait(uint32_t) override {}
    void update(uint64_t) override {}

    uint8_t* read_packet(tvrnet_ip& from, int* type, size_t* length) override {
        if (inbox.empty()) return nullptr;
        lent = std::move(inbox.front());
        inbox.pop_front();
        from = lent.from;
        *type = lent.type;
        *length = lent.length;
        return lent.bytes.data();
    }

    void arrive(const tvrnet_ip& from, const std::vector<uint8_t>& bytes) {
        letter l;
        if (bytes.size() > l.bytes.size()) return;
        std::copy(bytes.begin(), bytes.end(), l.bytes.begin());
        l.from = from;
        l.length = bytes.size();
        if (preprocess_packet(from, l.bytes.data(), l.length, net.now, &l.type) == 0) {
            inbox.push_back(l);
        }
    }

    bool full = false;  // refuses what is sent

private:
    struct letter {
        alignas(16) std::array<uint8_t, 1408> bytes;
        tvrnet_ip from;
        int type = 0;
        size_t length = 0;
    };

    bool submit(tvrnet_lane, const tvrnet_ip& to, const void* data, size_t length) override {
        if (full) return false;
        net.send(local_adr().ip, to, data, length);
        return true;
    }
    uint32_t packets_sent_to(const tvrnet_ip&) override { return 0; }

    sim_network& net;
    std::deque<letter> inbox;
    letter lent;
};

inline void sim_network::send(const tvrnet_ip& from, const tvrnet_ip& to, const void* data,
                              size_t length) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    sim_datagram datagram{from, to, {bytes, bytes + length}};
    if (spy) spy(datagram);
    sent++;
    const int copies = chance(faults.duplicate) ? 2 : 1;
    for (int i = 0; i < copies; i++) {
        if (parted || chance(faults.loss)) continue;
        const uint64_t jitter = faults.jitter_ms == 0 ? 0 : random() % (faults.jitter_ms + 1);
        flying.push({now + faults.delay_ms + jitter, sent, datagram});
    }
}

inline void sim_network::step() {
    now++;
    while (!flying.empty() && flying.top().due < now) {
        const sim_datagram arrived = flying.top().datagram;
        flying.pop();
        if (!parted) deliver(arrived);
    }
}

inline void sim_network::deliver(const sim_datagram& datagram) {
    constexpr std::array<uint8_t, 4> everybody{255, 255, 255, 255};
    for (sim_socket* socket : sockets) {
        const tvrnet_ip own = socket->local_adr().ip;
        if (own.port != datagram.to.port) continue;
        if (datagram.to.address != everybody && datagram.to.address != own.address) continue;
        socket->arrive(datagram.from, datagram.bytes);
    }
}

}  // namespace net_test
